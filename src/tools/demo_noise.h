#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace tarnvale::demo {

// Noise from whole-number hashes and the four basic operations alone: no library function whose
// last bit differs between machines stands in it, so a landscape is the same everywhere.

[[nodiscard]] constexpr std::uint32_t Mix(std::uint32_t h) noexcept {
    h ^= h >> 16;
    h *= 0x45d9f3b7U;
    h ^= h >> 15;
    h *= 0x2f86e6a5U;
    h ^= h >> 16;
    return h;
}

[[nodiscard]] constexpr std::uint32_t Hash(int x, int y, std::uint32_t seed) noexcept {
    return Mix(static_cast<std::uint32_t>(x) * 0x9e3779b1U +
               Mix(static_cast<std::uint32_t>(y) * 0x85ebca77U + seed));
}

/// @return 0 <= value < 1
[[nodiscard]] constexpr float ToUnit(std::uint32_t h) noexcept {
    return static_cast<float>(h >> 8) * (1.0F / 16777216.0F);
}

/// @return the whole number at or below `v`; for |v| < 2^31
[[nodiscard]] inline int Floor(float v) noexcept {
    const int whole = static_cast<int>(v);
    return whole - static_cast<int>(v < static_cast<float>(whole));
}

[[nodiscard]] constexpr float Lerp(float a, float b, float t) noexcept {
    return a + (b - a) * t;
}

[[nodiscard]] constexpr float Clamp01(float v) noexcept {
    return v < 0.0F ? 0.0F : (v > 1.0F ? 1.0F : v);
}

/// 0 below `from`, 1 above `to`, smooth between; `from` may be the greater of the two.
[[nodiscard]] constexpr float Smooth(float from, float to, float v) noexcept {
    const float t = Clamp01((v - from) * (1.0F / (to - from)));
    return t * t * (3.0F - 2.0F * t);
}

/// e^-v for v >= 0, to about 1 %
[[nodiscard]] constexpr float Fade(float v) noexcept {
    const float q = 1.0F + v * (1.0F / 16.0F) + v * v * (1.0F / 512.0F) + v * v * v / 24576.0F;
    const float q2 = q * q;
    const float q4 = q2 * q2;
    const float q8 = q4 * q4;
    return 1.0F / (q8 * q8);
}

/// Gradient noise with lattice step 1, about -0.7 to 0.7.
[[nodiscard]] inline float Noise(float x, float y, std::uint32_t seed) noexcept {
    const int ix = Floor(x);
    const int iy = Floor(y);
    const float fx = x - static_cast<float>(ix);
    const float fy = y - static_cast<float>(iy);
    const auto corner = [&](int cx, int cy) {
        const std::uint32_t h = Hash(ix + cx, iy + cy, seed);
        const float gx = static_cast<float>(h & 0xffffU) * (2.0F / 65535.0F) - 1.0F;
        const float gy = static_cast<float>(h >> 16) * (2.0F / 65535.0F) - 1.0F;
        return gx * (fx - static_cast<float>(cx)) + gy * (fy - static_cast<float>(cy));
    };
    const float u = fx * fx * fx * (fx * (fx * 6.0F - 15.0F) + 10.0F);
    const float v = fy * fy * fy * (fy * (fy * 6.0F - 15.0F) + 10.0F);
    return 1.2F * Lerp(Lerp(corner(0, 0), corner(1, 0), u), Lerp(corner(0, 1), corner(1, 1), u), v);
}

/// Sum of `octaves` of Noise, each turned against the last so that no lattice shows; about -1 to 1.
[[nodiscard]] inline float Fractal(float x, float y, int octaves, std::uint32_t seed,
                                   float gain = 0.5F) noexcept {
    float sum = 0.0F;
    float amplitude = 1.0F;
    for (int octave = 0; octave < octaves; ++octave) {
        sum += amplitude * Noise(x, y, seed + static_cast<std::uint32_t>(octave) * 0x3c6ef35fU);
        const float turned = 1.6F * x - 1.2F * y;
        y = 1.2F * x + 1.6F * y;
        x = turned;
        amplitude *= gain;
    }
    return sum;
}

/// Like Fractal with sharp crests; 0 to about 1, high on the crests.
[[nodiscard]] inline float Ridged(float x, float y, int octaves, std::uint32_t seed) noexcept {
    float sum = 0.0F;
    float amplitude = 0.55F;
    float weight = 1.0F;
    for (int octave = 0; octave < octaves; ++octave) {
        const float n = Noise(x, y, seed + static_cast<std::uint32_t>(octave) * 0x3c6ef35fU);
        float crest = 1.0F - 1.7F * (n < 0.0F ? -n : n);
        crest = crest < 0.0F ? 0.0F : crest * crest;
        sum += amplitude * weight * crest;
        weight = Clamp01(crest * 1.6F);
        const float turned = 1.6F * x - 1.2F * y;
        y = 1.2F * x + 1.6F * y;
        x = turned;
        amplitude *= 0.5F;
    }
    return sum;
}

}  // namespace tarnvale::demo
