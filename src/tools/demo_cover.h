#pragma once

#include <array>
#include <cstdint>

#include "tools/demo_grid.h"
#include "tools/demo_water.h"

namespace tarnvale::demo {

/// What the painter must know of a place besides its ground. Smooth, so a coarse grid holds it.
enum class Layer : std::uint8_t {
    Light,  // part of the sky that is seen, and sunlight: 0 dark to about 1
    Wet,    // 0 dry to 1 wet
    Wood,   // how well trees grow: 0 to 1
    Farm,   // how well fields do: 0 to 1
    Above,  // metres over the valley floor, at most 200
    Sea,    // metres to the sea, -400 to 400; negative at sea
    Tint,   // rock and soil, -1 cold to 1 warm
    Stir,   // large, slow variation, about -1 to 1
};
inline constexpr std::size_t kLayers = 8;

using Cover = Grid<std::array<float, kLayers>>;

/// Number of times that MakeCover calls `step`.
inline constexpr int kCoverSteps = 2;

/// @return one entry for each sample of `waters`; empty if `step` answered false
[[nodiscard]] Cover MakeCover(std::uint32_t seed, const Waters& waters, const Workers& workers,
                              const Step& step);

}  // namespace tarnvale::demo
