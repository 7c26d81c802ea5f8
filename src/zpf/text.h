#pragma once

#include <cstddef>
#include <string_view>

#include "base/types.h"

namespace tarnvale::ZPF {

inline constexpr std::size_t kNameCharacters = 16;
inline constexpr std::size_t kDescriptionCharacters = 64;

/// @return `text` with what is no UTF-8 replaced by U+FFFD, so that nobody above meets a broken
/// string
[[nodiscard]] QNSTRING ValidUtf8(std::string_view text);
/// @return as ValidUtf8, control characters made spaces, at most `characters` characters
[[nodiscard]] QNSTRING OneLine(std::string_view text, std::size_t characters);
/// Compares without regard to the case of the letters A to Z.
[[nodiscard]] bool SameName(std::string_view a, std::string_view b);
/// @return whether SQL may use `name` as a table of tiles: letters, digits and underscores, at most
/// 63,
///         no digit first, and none of the prefixes that are kept for the store's own tables
[[nodiscard]] bool IsTileTableName(std::string_view name);

}  // namespace tarnvale::ZPF
