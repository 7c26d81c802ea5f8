#include "tools/skyclouds.h"

#include <algorithm>
#include <cmath>

#include "tools/demo_noise.h"

namespace tarnvale::sky {

namespace {

using demo::Clamp01;
using demo::Lerp;
using demo::Smooth;

constexpr float kBase = 1.5F, kCeiling = 2.6F;  // kilometres above the eye
constexpr float kFarthest = 90;                 // beyond it haze has swallowed every cloud
constexpr int kSteps = 16;
constexpr float kThick = 9;  // dimming per kilometre of full cloud

float Noise3(float x, float y, float z, std::uint32_t seed) {
    const int ix = demo::Floor(x), iy = demo::Floor(y), iz = demo::Floor(z);
    const float fx = x - static_cast<float>(ix), fy = y - static_cast<float>(iy),
                fz = z - static_cast<float>(iz);
    const auto corner = [&](int cx, int cy, int cz) {
        const std::uint32_t layer = seed + static_cast<std::uint32_t>(iz + cz) * 0xc2b2ae35U;
        const std::uint32_t h = demo::Hash(ix + cx, iy + cy, layer);
        const auto part = [h](int shift) {
            return static_cast<float>(h >> shift & 0x3ffU) * (2.0F / 1023.0F) - 1.0F;
        };
        return part(0) * (fx - static_cast<float>(cx)) + part(10) * (fy - static_cast<float>(cy)) +
               part(20) * (fz - static_cast<float>(cz));
    };
    const auto ease = [](float t) { return t * t * t * (t * (t * 6.0F - 15.0F) + 10.0F); };
    const float u = ease(fx), v = ease(fy), w = ease(fz);
    const auto side = [&](int cz) {
        return Lerp(Lerp(corner(0, 0, cz), corner(1, 0, cz), u),
                    Lerp(corner(0, 1, cz), corner(1, 1, cz), u), v);
    };
    return 1.1F * Lerp(side(0), side(1), w);
}

struct Place {
    float x = 0, y = 0, z = 0;  // kilometres from under the eye; z above it
};

/// The way along a direction to a height above the eye, over the round earth.
float PathUp(const Direction& d, float height) {
    const float down = d.z * Air::kEarth;
    return -down + std::sqrt(down * down + 2 * Air::kEarth * height);
}

/// How wide clouds lie; below 0 there are none. Few overhead, where one looks at both halves of the
/// sky at once and would see that they are alike.
float HeapCover(float x, float y) {
    const float overhead = 1 - Smooth(0.5F, 1.9F, std::hypot(x, y));
    return Twofold(x, y, 1 / 0.42F,
                   [](float u, float v) {
                       return demo::Fractal(u * 0.42F + 7.6F, v * 0.42F - 5.2F, 3, 11U);
                   }) -
           0.05F - 1.2F * overhead;
}

/// @param detail  octaves of the fine shape, less far away and for shadows
float HeapDensity(const Place& p, int detail) {
    const float up = (p.z - kBase) / (kCeiling - kBase);
    if (up <= 0 || up >= 1) return 0;
    const float cover = HeapCover(p.x, p.y);
    // Flat below, and rising where there is much of it.
    const float shape = cover * 1.6F - Smooth(0.15F, 1.0F, up) * 0.75F;
    if (shape < -0.45F) return 0;
    const float fine = Lerp(0.36F, 0.52F, up) * Twofold(p.x, p.y, 1 / 1.5F, [&](float x, float y) {
                           return Fractal3(x * 1.5F, y * 1.5F, p.z * 1.7F, detail, 23U);
                       });
    return Clamp01((shape + fine) * 2.2F) * Smooth(0, 0.08F, up);
}

}  // namespace

float Fractal3(float x, float y, float z, int octaves, unsigned seed) {
    float sum = 0, amplitude = 1;
    for (int octave = 0; octave < octaves; ++octave) {
        sum += amplitude * Noise3(x, y, z, seed + static_cast<std::uint32_t>(octave) * 0x3c6ef35fU);
        const float turned = 1.64F * x - 1.22F * y;
        y = 1.22F * x + 1.64F * y + 0.31F;
        x = turned;
        z = 2.04F * z + 0.17F;
        amplitude *= 0.52F;
    }
    return sum;
}

Veil HeapClouds(const Air& air, const Light& around, const Direction& d, float grain) {
    Veil veil;
    const float from = PathUp(d, kBase);
    if (from > kFarthest) return veil;
    const float to = std::min(PathUp(d, kCeiling), from + 14);
    const float step = (to - from) / kSteps;
    const float cosine = d.Dot(air.Sun());
    const Light sun = air.SunAt(2);
    const int detail = from > 30 ? 2 : (from > 10 ? 3 : 4);
    for (int i = 0; i < kSteps && veil.passes > 0.02F; ++i) {
        const float path = from + (static_cast<float>(i) + grain) * step;
        const float bend = path * path * (1 - d.z * d.z) / (2 * Air::kEarth);
        const Place p{d.x * path, d.y * path, d.z * path + bend};
        const float density = HeapDensity(p, detail);
        if (density <= 0.01F) continue;
        // How much cloud lies towards the sun.
        float shade = 0;
        constexpr float kShadow[3] = {0.09F, 0.28F, 0.65F};
        float before = 0;
        for (const float reach : kShadow) {
            const float s = 0.5F * (before + reach);
            shade += HeapDensity(
                         {p.x + air.Sun().x * s, p.y + air.Sun().y * s, p.z + air.Sun().z * s}, 2) *
                     (reach - before);
            before = reach;
        }
        // Light that is scattered again and again gets deeper and forgets where it came from.
        float reached = 0, share = 1, dim = 1, forward = 0.7F;
        for (int again = 0; again < 4; ++again) {
            reached +=
                share * std::exp(-shade * kThick * dim) *
                (0.75F * ForwardPhase(cosine, forward) + 0.25F * ForwardPhase(cosine, -0.2F));
            share *= 0.72F;
            dim *= 0.38F;
            forward *= 0.5F;
        }
        const float up = Clamp01((p.z - kBase) / (kCeiling - kBase));
        const Light here = sun * (reached * 1.05F) + around * Lerp(0.55F, 1.0F, up);
        const float passes = std::exp(-density * kThick * step);
        veil.light += here * (veil.passes * (1 - passes));
        veil.passes *= passes;
    }
    // Far clouds fade into the haze before them.
    const float haze = Smooth(10, kFarthest, from);
    const float keep = (1 - haze) * (1 - haze);
    const float covered = 1 - veil.passes;
    veil.light = veil.light * keep;
    veil.passes = 1 - covered * keep;
    return veil;
}

Veil HighClouds(const Air& air, const Light& around, const Direction& d) {
    Veil veil;
    constexpr float kHeight = 6;
    const float path = PathUp(d, kHeight);
    const float x = d.x * path / kHeight, y = d.y * path / kHeight;
    // What is smaller than a pixel would only flicker.
    const int octaves = path > 140 ? 3 : (path > 60 ? 5 : 7);
    const float bentX = x + 0.5F * demo::Fractal(x * 0.35F, y * 0.35F, 3, 71U);
    const float bentY = y + 0.5F * demo::Fractal(x * 0.35F + 9, y * 0.35F, 3, 72U);
    const float streaks = demo::Fractal(bentX * 0.55F, bentY * 1.5F, octaves, 73U, 0.56F);
    const float patches = demo::Fractal(bentX * 0.22F - 4, bentY * 0.3F, 4, 74U);
    const float ripples = demo::Fractal(bentX * 2.6F, bentY * 3.8F, std::min(octaves, 4), 75U);
    // Fewer where the sky is mirrored, in the north, around the sun and between them overhead:
    // nobody is to see the mirror.
    const float level = std::hypot(d.x, d.y);
    const float gap = std::max(1 - Smooth(0.02F, 0.6F, std::abs(d.x) / std::max(level, 1e-6F)),
                               1.4F * (1 - Smooth(0.1F, 0.8F, level)));
    const float thin =
        Smooth(-0.02F, 0.85F, streaks + 0.75F * patches - 0.05F - 0.75F * gap) * 0.8F;
    const float lumps = Smooth(0.22F, 0.8F, 0.62F * ripples + 0.9F * patches - gap) * 1.3F;
    const float fade = 1 - Smooth(120, 330, path);
    const float depth = (thin + lumps) * fade;
    const float passes = std::exp(-depth);
    const float cosine = d.Dot(air.Sun());
    const float phase = 0.6F * ForwardPhase(cosine, 0.72F) + 0.4F * ForwardPhase(cosine, 0.15F);
    // Thick parts stand in their own shade.
    const float own = std::exp(-lumps * 0.7F);
    const Light lit = air.SunAt(kHeight) * (phase * 2.2F * own + 0.10F) + around * 0.55F;
    veil.passes = passes;
    veil.light = lit * (1 - passes);
    return veil;
}

}  // namespace tarnvale::sky
