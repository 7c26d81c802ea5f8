#pragma once

#include <string_view>

namespace tarnvale {

/// @return whether `text` is well-formed UTF-8: no overlong form, no surrogate, nothing above
/// U+10FFFF
[[nodiscard]] bool IsUtf8(std::string_view text) noexcept;

}  // namespace tarnvale
