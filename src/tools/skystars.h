#pragma once

#include <vector>

#include "tools/skyair.h"

namespace tarnvale::sky {

/// A night without a moon: stars by magnitude, the Milky Way, and the faint light of the air.
class Night {
public:
    /// @param pixel  radians that a pixel of the picture covers: stars are no smaller
    explicit Night(float pixel);

    [[nodiscard]] Light Radiance(const Direction& d) const;

private:
    struct Star {
        Direction at;
        Light light;
        float reach = 0;  // radians, beyond which it isn't seen
    };
    void Sort(const std::vector<Star>& stars);

    static constexpr int kCells = 64;  // boxes along both axes, seen from above
    float pixel_;
    std::vector<Star> stars_;  // by cell
    std::vector<int> first_;   // of each cell, and the end
};

}  // namespace tarnvale::sky
