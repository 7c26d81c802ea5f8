#include "zpf/text.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "base/utf8.h"

namespace tarnvale::ZPF {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// @return bytes of the sound UTF-8 character at the start of `text`, 0 if there is none
std::size_t CharacterLength(std::string_view text) {
    for (std::size_t length = 1; length <= std::min<std::size_t>(text.size(), 4); ++length) {
        if (IsUtf8(text.substr(0, length))) return length;
    }
    return 0;
}

}  // namespace

QNSTRING ValidUtf8(std::string_view text) {
    QNSTRING valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        valid += length == 0 ? kReplacement : text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return valid;
}

QNSTRING OneLine(std::string_view text, std::size_t characters) {
    QNSTRING line;
    for (; !text.empty() && characters > 0; --characters) {
        const std::size_t length = CharacterLength(text);
        const auto first = static_cast<std::uint8_t>(text.front());
        if (length == 0) {
            line += kReplacement;
        } else if (first < 0x20 || first == 0x7F) {
            line += ' ';
        } else {
            line += text.substr(0, length);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return line;
}

bool SameName(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, Lower, Lower);
}

bool IsTileTableName(std::string_view name) {
    if (name.empty() || name.size() > 63 || (name.front() >= '0' && name.front() <= '9'))
        return false;
    const auto plain = [](char c) {
        return (Lower(c) >= 'a' && Lower(c) <= 'z') || (c >= '0' && c <= '9') || c == '_';
    };
    if (!std::ranges::all_of(name, plain)) return false;
    constexpr std::array<std::string_view, 4> kKept{"sqlite_", "gpkg_", "rtree_", "zpf_"};
    return std::ranges::none_of(kKept, [name](std::string_view prefix) {
        return SameName(name.substr(0, prefix.size()), prefix);
    });
}

}  // namespace tarnvale::ZPF
