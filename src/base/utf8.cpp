#include "base/utf8.h"

#include <cstddef>
#include <cstdint>

namespace tarnvale {

bool IsUtf8(std::string_view text) noexcept {
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<std::uint8_t>(text[i++]);
        if (lead < 0x80) continue;
        const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
        if (lead < 0xC2 || lead > 0xF4) return false;
        std::uint32_t point = lead & (0x3FU >> more);
        for (int k = 0; k < more; ++k) {
            if (i == text.size()) return false;
            const auto next = static_cast<std::uint8_t>(text[i++]);
            if ((next & 0xC0) != 0x80) return false;
            point = (point << 6) | (next & 0x3FU);
        }
        const std::uint32_t least = more == 1 ? 0x80U : more == 2 ? 0x800U : 0x10000U;
        if (point < least || point > 0x10FFFF || (point >= 0xD800 && point < 0xE000)) return false;
    }
    return true;
}

}  // namespace tarnvale
