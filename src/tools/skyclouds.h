#pragma once

#include "tools/skyair.h"

namespace tarnvale::sky {

/// What lies between the eye and the sky behind: seen = behind * passes + light.
struct Veil {
    Light light;
    float passes = 1;
};

/// Heaps of cloud with gaps between them, from 1.5 to 2.6 kilometres above the eye.
/// @param grain  0 to 1, another one for each pixel: hides the steps of the reckoning
[[nodiscard]] Veil HeapClouds(const Air& air, const Light& around, const Direction& d, float grain);

/// Thin clouds in streaks and ripples, 6 kilometres above the eye, lit from far away.
[[nodiscard]] Veil HighClouds(const Air& air, const Light& around, const Direction& d);

/// Fractal noise in space, about -1 to 1.
[[nodiscard]] float Fractal3(float x, float y, float z, int octaves, unsigned seed);

}  // namespace tarnvale::sky
