#include "tools/skyair.h"

#include <algorithm>
#include <cmath>

namespace tarnvale::sky {

namespace {

constexpr float kPi = 3.14159265F;
constexpr float kObserver = 0.9F;  // height that the sky is seen from
constexpr float kMoleculeScale = 8, kHazeScale = 1.2F;
// Per kilometre at sea level, for light of 680, 550 and 440 nm.
constexpr Light kMolecules{5.8e-3F, 13.5e-3F, 33.1e-3F};
constexpr float kHazeScatter = 4.0e-3F, kHazeDim = 4.44e-3F;
constexpr Light kOzone{0.65e-3F, 1.881e-3F, 0.085e-3F};  // where it is densest
constexpr float kHazeForward = 0.76F;
constexpr float kAgain = 0.075F;  // share of light that is scattered more than once, per steradian
constexpr int kSteps = 32, kSunSteps = 14;

Light Exp(const Light& depth) {
    return {std::exp(-depth.r), std::exp(-depth.g), std::exp(-depth.b)};
}

float MoleculePhase(float cosine) {
    return 3.0F / (16.0F * kPi) * (1 + cosine * cosine);
}

/// From a height along a direction to the height `top`; 0 where that lies below.
float PathTo(float height, float sine, float top) {
    const float from = Air::kEarth + height, to = Air::kEarth + top;
    const float root = from * from * (sine * sine - 1) + to * to;
    return root <= 0 ? 0 : std::max(0.0F, -from * sine + std::sqrt(root));
}

float HeightAfter(float height, float sine, float path) {
    const double from = static_cast<double>(Air::kEarth) + height;
    return static_cast<float>(
        std::sqrt(from * from + static_cast<double>(path) * path + 2.0 * from * sine * path) -
        Air::kEarth);
}

}  // namespace

float ForwardPhase(float cosine, float g) {
    const float square = g * g;
    const float base = std::max(1 + square - 2 * g * cosine, 1e-4F);
    return (1 - square) / (4 * kPi * base * std::sqrt(base));
}

Air::Air(float sunElevation, float haze) : haze_(haze) {
    const float e = sunElevation * kPi / 180;
    sun_ = {0, -std::cos(e), std::sin(e)};
    table_.resize(static_cast<std::size_t>(kAcross + 1) * (kUp + 1));
    for (int up = 0; up <= kUp; ++up) {
        const float share = static_cast<float>(up) / kUp;
        const float elevation = share * share * kPi / 2;  // closer together near the horizon
        for (int across = 0; across <= kAcross; ++across) {
            const float azimuth = static_cast<float>(across) / kAcross * kPi;
            const float level = std::cos(elevation);
            table_[static_cast<std::size_t>(up * (kAcross + 1) + across)] =
                Integrate({level * std::sin(azimuth), level * std::cos(azimuth),
                           std::max(std::sin(elevation), 1e-3F)});
        }
    }
}

Light Air::DensityAt(float height) const {
    const float h = std::max(height, 0.0F);
    return {std::exp(-h / kMoleculeScale), haze_ * std::exp(-h / kHazeScale),
            std::max(0.0F, 1 - std::abs(h - 25) / 15)};
}

Light Air::Dimmed(float height, const Direction& towards) const {
    // Below the horizon the ground is in the way; a little below it light is bent around.
    const float down = std::sqrt(std::max(0.0F, 2 * height / kEarth)) + 0.012F;
    if (towards.z < -down) return {};
    const float path = PathTo(height, towards.z, kTop);
    Light depth;
    float before = 0;
    for (int i = 1; i <= kSunSteps; ++i) {
        const float share = static_cast<float>(i) / kSunSteps;
        const float after = path * share * share;
        const Light density = DensityAt(HeightAfter(height, towards.z, 0.5F * (before + after)));
        const float step = after - before;
        const float haze = density.g * kHazeDim;
        depth += (kMolecules * density.r + Light{haze, haze, haze} + kOzone * density.b) * step;
        before = after;
    }
    const float edge = std::clamp((towards.z + down) / 0.01F, 0.0F, 1.0F);
    return Exp(depth) * edge;
}

Air::Scattered Air::Integrate(const Direction& d) const {
    const float path = PathTo(kObserver, d.z, kTop);
    Scattered sum;
    Light depth;
    float before = 0;
    const Direction raised{0, 0, 1};
    for (int i = 1; i <= kSteps; ++i) {
        const float share = static_cast<float>(i) / kSteps;
        const float after = path * share * share;
        const float step = after - before, middle = 0.5F * (before + after);
        const float height = HeightAfter(kObserver, d.z, middle);
        const Light density = DensityAt(height);
        const float haze = density.g * kHazeDim;
        const Light here =
            (kMolecules * density.r + Light{haze, haze, haze} + kOzone * density.b) * step;
        const Light way = Exp(depth + here * 0.5F);
        depth += here;
        before = after;
        // The sun as it stands over that place, which is away over the round earth.
        const float turn = middle * d.y * -1 / kEarth;
        const Direction sun{0, sun_.y, sun_.z + turn * -sun_.y};
        const Light lit = Dimmed(height, sun) * way * step;
        sum.molecules += kMolecules * lit * density.r;
        sum.haze += lit * (density.g * kHazeScatter);
        const Light soft =
            Mix(Dimmed(height, {0, sun.y, sun.z + 0.08F}),
                Dimmed(height, raised) * std::clamp(0.1F + sun.z, 0.0F, 1.0F), 0.35F);
        const float hazeAgain = density.g * kHazeScatter;
        sum.again += (kMolecules * density.r + Light{hazeAgain, hazeAgain, hazeAgain}) * soft *
                     way * (step * kAgain);
    }
    return sum;
}

Light Air::Radiance(const Direction& d) const {
    const float elevation = std::asin(std::clamp(d.z, 0.0F, 1.0F));
    const float azimuth = std::atan2(std::abs(d.x), d.y);
    const float up = std::sqrt(elevation / (kPi / 2)) * kUp;
    const float across = azimuth / kPi * kAcross;
    const int row = std::min(static_cast<int>(up), kUp - 1);
    const int column = std::min(static_cast<int>(across), kAcross - 1);
    const float v = up - static_cast<float>(row), u = across - static_cast<float>(column);
    const auto at = [&](int i, int j) -> const Scattered& {
        return table_[static_cast<std::size_t>((row + j) * (kAcross + 1) + column + i)];
    };
    const auto blend = [&](Light Scattered::*part) {
        return Mix(Mix(at(0, 0).*part, at(1, 0).*part, u), Mix(at(0, 1).*part, at(1, 1).*part, u),
                   v);
    };
    const float cosine = d.Dot(sun_);
    return blend(&Scattered::molecules) * MoleculePhase(cosine) +
           blend(&Scattered::haze) * ForwardPhase(cosine, kHazeForward) + blend(&Scattered::again);
}

Light Air::SunAt(float height) const {
    return Dimmed(height, sun_);
}

Light Air::SunDisc(const Direction& d, float radiusDegrees) const {
    const float away = std::acos(std::clamp(d.Dot(sun_), -1.0F, 1.0F)) * 180 / kPi / radiusDegrees;
    if (away > 40) return {};
    const float disc = std::clamp((1.15F - away) / 0.3F, 0.0F, 1.0F);
    const float glow = 0.012F / (0.35F + away * away * 0.25F) * std::max(0.0F, 1 - away / 40);
    return SunAt(kObserver) * (disc * 2.0F + glow);
}

}  // namespace tarnvale::sky
