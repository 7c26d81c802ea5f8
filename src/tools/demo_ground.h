#pragma once

#include <cstdint>
#include <vector>

#include "tools/demo_grid.h"
#include "tools/demo_water.h"

namespace tarnvale::demo {

/// The landscape at its full number of samples.
struct Terrain {
    Grid<float> bed;             // ground, under water too, metres
    Grid<std::uint8_t> lake;     // number of the lake at or next to the sample, 0: none
    Grid<std::int16_t> heights;  // surface of ground and water, metres
};

/// Number of times that MakeTerrain calls `step`.
inline constexpr int kTerrainSteps = 3;

/// Fills in what lies between the samples of `waters`: gullies, rocks, river beds.
/// @param size  samples along each side, 2^n + 1
/// @return `heights` is empty if `step` answered false
[[nodiscard]] Terrain MakeTerrain(std::uint32_t seed, int size, const Waters& waters,
                                  const Workers& workers, const Step& step);

}  // namespace tarnvale::demo
