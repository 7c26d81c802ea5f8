#pragma once

#include <cmath>

#include "tools/demo_noise.h"
#include "tools/skyair.h"

namespace tarnvale::sky {

/// A field over the sky made to be the same half a turn on, so that half a sky can go around twice:
/// where the half begins, the field fades over from what it is at the half's end.
/// @param x, y   eastward, northward
/// @param reach  over which the field's values have to do with each other
/// @param field  float (float x, float y)
template <typename Field>
[[nodiscard]] float Twofold(float x, float y, float reach, const Field& field) {
    constexpr float kFadeOver = 0.7F;  // radians
    if (x < 0 || (x == 0 && y < 0)) {
        x = -x;
        y = -y;
    }
    if (x >= y * kFadeOver) return field(x, y);
    const float share = demo::Smooth(0, kFadeOver, std::atan2(x, y));
    // Two fields that have nothing to do with each other are less rough together than each alone;
    // near the zenith they are nearly the same.
    const float alike = std::exp(-4 * (x * x + y * y) / (reach * reach));
    const float rough =
        std::sqrt(share * share + (1 - share) * (1 - share) + 2 * share * (1 - share) * alike);
    return (share * field(x, y) + (1 - share) * field(-x, -y)) / rough;
}

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
