#include "tools/skystars.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "tools/demo_noise.h"
#include "tools/skyclouds.h"

namespace tarnvale::sky {

namespace {

using demo::Clamp01;
using demo::Lerp;
using demo::Smooth;

constexpr int kStars = 16000;      // over the whole sphere, most of them hardly to be seen
constexpr float kFaintest = 7.0F;  // magnitude
constexpr float kBrightest = -0.9F;
constexpr float kMagnitudeZero = 3.2F;  // light of a star of magnitude 0 at its middle
/// Numbers from 0 to 1 by a key and a turn.
float Dice(int key, std::uint32_t turn) {
    return demo::ToUnit(demo::Hash(key, 77, turn));
}

Light StarColour(float warm) {
    // From blue-white over white to orange.
    if (warm < 0.5F) return Mix({0.72F, 0.82F, 1.0F}, {1, 0.98F, 0.95F}, warm * 2);
    return Mix({1, 0.98F, 0.95F}, {1.0F, 0.74F, 0.5F}, (warm - 0.5F) * 2);
}

int CellOf(float value, int cells) {
    return std::clamp(static_cast<int>((value + 1) * 0.5F * static_cast<float>(cells)), 0,
                      cells - 1);
}

/// The Milky Way, from the east through the zenith to the west, torn by dust along its middle.
Light MilkyWay(const Direction& d) {
    // It winds a little, half a turn on to the other side, where its middle lies the other way.
    const auto wind = [&](float x, float y) {
        return Fractal3(x * 1.3F, y * 1.3F, d.z * 1.3F, 2, 300U);
    };
    const float off = (d.y + 0.05F * (wind(d.x, d.y) - wind(-d.x, -d.y))) / 0.17F;
    const float band = std::exp(-off * off);
    if (band < 0.004F) return {};
    const float clumps = Twofold(d.x, d.y, 1 / 7.0F, [&](float x, float y) {
        return Fractal3(x * 7, y * 7, d.z * 7, 6, 301U);
    });
    const float lanes = Twofold(d.x, d.y, 1 / 4.4F, [&](float x, float y) {
        return Fractal3(x * 4.4F + 9, y * 4.4F, d.z * 4.4F, 7, 302U);
    });
    const float middle = std::exp(-off * off * 5);
    const float dust = demo::Smooth(-0.12F, 0.42F, lanes + 0.10F) * middle * 0.85F;
    const float light = band * (0.75F + 0.8F * clumps) * (1 - dust);
    const Light colour = Mix({0.62F, 0.72F, 1.0F}, {1.0F, 0.88F, 0.74F}, middle * 0.75F);
    return colour * (std::max(0.0F, light) * 0.034F);
}

}  // namespace

Night::Night(float pixel) : pixel_(pixel) {
    std::vector<Star> stars;
    stars.reserve(std::size_t{2} * kStars);
    for (int i = 0; i < kStars; ++i) {
        const float z = Dice(i, 1), turn = 3.1415927F * Dice(i, 2);
        const float level = std::sqrt(std::max(0.0F, 1 - z * z));
        Star star;
        star.at = {level * std::sin(turn), level * std::cos(turn), z};
        // Three times as many for each magnitude fainter.
        const float magnitude =
            std::max(kBrightest, kFaintest + std::log(std::max(Dice(i, 3), 1e-6F)) / 1.1F);
        const float light = kMagnitudeZero * std::pow(10.0F, -0.4F * magnitude);
        // Bright ones look larger; what they have too much of is spread.
        const float size = pixel_ * Lerp(0.62F, 1.35F, Clamp01((3.0F - magnitude) / 4));
        star.light = StarColour(Dice(i, 4)) * std::min(light * 1.6F + 0.012F, 2.2F);
        star.reach = size;
        stars.push_back(star);
        star.at = {-star.at.x, -star.at.y, z};  // half a turn on
        stars.push_back(star);
    }
    Sort(stars);
}

void Night::Sort(const std::vector<Star>& stars) {
    const auto cell = [](const Direction& at) {
        return CellOf(at.x, kCells) * kCells + CellOf(at.y, kCells);
    };
    first_.assign(static_cast<std::size_t>(kCells) * kCells + 1, 0);
    for (const Star& star : stars) ++first_[static_cast<std::size_t>(cell(star.at)) + 1];
    for (std::size_t i = 1; i < first_.size(); ++i) first_[i] += first_[i - 1];
    stars_.resize(stars.size());
    std::vector<int> next(first_.begin(), first_.end() - 1);
    for (const Star& star : stars) {
        stars_[static_cast<std::size_t>(next[static_cast<std::size_t>(cell(star.at))]++)] = star;
    }
}

Light Night::Radiance(const Direction& d) const {
    // The air shines a little, most where one looks through much of it.
    const float low = 1 - d.z;
    Light light =
        Mix({0.0032F, 0.0048F, 0.0105F}, {0.0125F, 0.0165F, 0.0215F}, low * low * low * low);
    // Haze swallows stars near the horizon.
    const float clear = Smooth(0.0F, 0.22F, d.z);
    light += MilkyWay(d) * clear;
    const int x = CellOf(d.x, kCells), y = CellOf(d.y, kCells);
    for (int i = std::max(x - 1, 0); i <= std::min(x + 1, kCells - 1); ++i) {
        for (int j = std::max(y - 1, 0); j <= std::min(y + 1, kCells - 1); ++j) {
            const auto cell = static_cast<std::size_t>(i * kCells + j);
            for (int k = first_[cell]; k < first_[cell + 1]; ++k) {
                const Star& star = stars_[static_cast<std::size_t>(k)];
                const float dx = d.x - star.at.x, dy = d.y - star.at.y, dz = d.z - star.at.z;
                const float off = (dx * dx + dy * dy + dz * dz) / (star.reach * star.reach);
                if (off < 12) light += star.light * (std::exp(-off) * clear);
            }
        }
    }
    return light;
}

}  // namespace tarnvale::sky
