#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/color.h"

namespace tarnvale {

/// Values as text, in the settings store and on command lines. Numbers are written so that they
/// read back bit for bit, always with a decimal point whatever the locale; a COLOR is its four
/// words "red,green,blue,flags"; a truth value is "true" or "false".
[[nodiscard]] std::string FormatValue(std::int32_t value);
[[nodiscard]] std::string FormatValue(float value);
[[nodiscard]] std::string FormatValue(double value);
[[nodiscard]] std::string FormatValue(bool value);
[[nodiscard]] std::string FormatValue(const COLOR& value);
[[nodiscard]] std::string FormatValue(const std::string& value);

/// Reads the whole of `text`, blanks around a number aside; "1" and "0" count as truth values too.
/// @return false, `value` untouched, if it is something else, out of the type's range or not finite
[[nodiscard]] bool ParseValue(std::string_view text, std::int32_t& value);
[[nodiscard]] bool ParseValue(std::string_view text, float& value);
[[nodiscard]] bool ParseValue(std::string_view text, double& value);
[[nodiscard]] bool ParseValue(std::string_view text, bool& value);
[[nodiscard]] bool ParseValue(std::string_view text, COLOR& value);
[[nodiscard]] bool ParseValue(std::string_view text, std::string& value);

/// @return `text` without blanks and tabs at either end
[[nodiscard]] std::string_view Trimmed(std::string_view text) noexcept;

}  // namespace tarnvale
