#pragma once

#include "graphics/graphicssystem.h"

namespace tarnvale {

/// What an alpha test lets pass, in the 256 steps that a picture has: as if the reference and the
/// pixel's alpha were rounded to them first.
struct AlphaRange {
    int low = 0, high = 255;
    bool outside = false;  ///< what lies outside passes instead

    /// @param alpha  0 to 1
    [[nodiscard]] bool Passes(float alpha) const noexcept;
    [[nodiscard]] bool PassesAll() const noexcept { return !outside && low <= 0 && high >= 255; }
    /// Nothing passes that would let the ground through.
    [[nodiscard]] bool PassesOpaqueOnly() const noexcept { return !outside && low >= 255; }
};
[[nodiscard]] AlphaRange RangeOf(AlphaFunction function, float reference) noexcept;

}  // namespace tarnvale
