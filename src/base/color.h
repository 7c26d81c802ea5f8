#pragma once

#include <cstdint>

namespace tarnvale {

/// Colour of the whole system: three 16-bit channels, then a word of flags (bit 7, bit 3) with the
/// transparency in its high byte (0 opaque, 255 clear).
struct COLOR {
    std::uint16_t red = 0, green = 0, blue = 0, word = 0;

    static constexpr std::uint16_t kAutomaticFlag = 0x80, kClearFlag = 0x08;

    /// @return 0 opaque to 255 clear
    [[nodiscard]] constexpr int Transparency() const noexcept {
        return (word & kClearFlag) != 0 && (word & kAutomaticFlag) == 0 ? 255 : word >> 8;
    }
    [[nodiscard]] constexpr float Red() const noexcept { return ToFloat(red); }
    [[nodiscard]] constexpr float Green() const noexcept { return ToFloat(green); }
    [[nodiscard]] constexpr float Blue() const noexcept { return ToFloat(blue); }
    [[nodiscard]] constexpr float Alpha() const noexcept {
        return 1.0F - static_cast<float>(Transparency()) * 0.003921569F;
    }
    friend constexpr bool operator==(const COLOR&, const COLOR&) = default;

    /// White as scratch meshes and tiles carry it.
    [[nodiscard]] static constexpr COLOR Plain() noexcept { return {0xFF00, 0xFF00, 0xFF00, 1}; }

private:
    static constexpr float ToFloat(std::uint16_t channel) noexcept {
        return static_cast<float>(channel) * 1.5259022e-05F;  // 1/65535
    }
};
static_assert(sizeof(COLOR) == 8);

}  // namespace tarnvale
