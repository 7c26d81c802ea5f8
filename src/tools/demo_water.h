#pragma once

#include <cstdint>
#include <vector>

#include "tools/demo_grid.h"
#include "tools/demo_relief.h"

namespace tarnvale::demo {

/// A straight piece of a river, from its upper to its lower end.
struct RiverPiece {
    float x0, y0, x1, y1;  // metres from the north-west corner
    float z0, z1;          // height of the water, metres; z1 <= z0
    float width0, width1;  // metres
};

/// The landscape's ground and water at the resolution of its erosion.
struct Waters {
    Grid<float> bed;            // ground, under water too, metres
    Grid<float> floor;          // height of the valley floor that a place drains to, metres
    Grid<float> water;          // land drained, weighted by its rain, square kilometres
    Grid<float> sea;            // distance to the sea, metres; negative at sea: to the land
    Grid<std::uint8_t> lake;    // number of the lake at or next to the cell, 0: none
    std::vector<float> levels;  // of each lake, whole metres; entry 0 unused
    std::vector<RiverPiece> rivers;
};

/// Number of times that MakeWaters calls `step`.
inline constexpr int kWaterSteps = 4;

/// Widens valleys, scoops out lakes, gives the sea its floor and finds the rivers.
/// @param heights  as from MakeRelief
/// @return `bed` is empty if `step` answered false
[[nodiscard]] Waters MakeWaters(std::uint32_t seed, Grid<float> heights, const Workers& workers,
                                const Step& step);

}  // namespace tarnvale::demo
