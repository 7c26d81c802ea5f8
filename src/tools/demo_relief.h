#pragma once

#include <cstdint>
#include <functional>

#include "tools/demo_grid.h"

namespace tarnvale::demo {

/// Width and height of the landscape, metres.
inline constexpr float kExtent = 40960.0F;

/// Counts work and hears of the user's wish to stop. @return false to stop.
using Step = std::function<bool()>;

/// Number of times that MakeRelief calls `step`.
inline constexpr int kReliefSteps = 25;

/// Raises land out of the sea and lets rain wear it down until valleys, ridges and plains have
/// formed.
/// @param samples  side of the result, 2^n + 1, at least 65
/// @return elevations in metres, sea bed below 0; every place on land drains to the sea or over the
///         border, but for small pits. Empty if `step` answered false.
[[nodiscard]] Grid<float> MakeRelief(std::uint32_t seed, int samples, const Workers& workers,
                                     const Step& step);

}  // namespace tarnvale::demo
