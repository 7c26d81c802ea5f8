#include "tools/demo_cover.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>

namespace tarnvale::demo {
namespace {

// Logarithm to the base of 2, to 0.1, for v > 0.
float Log2(float v) {
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(v);
    const float fraction = std::bit_cast<float>((bits & 0x007fffffU) | 0x3f800000U);
    return static_cast<float>(static_cast<int>(bits >> 23) - 127) + fraction - 1.0F;
}

class CoverMaker {
public:
    CoverMaker(std::uint32_t seed, const Waters& waters, const Workers& workers)
        : seed_(seed),
          waters_(waters),
          workers_(workers),
          side_(waters.bed.Side()),
          cell_(kExtent / static_cast<float>(side_ - 1)),
          surface_(side_),
          cover_(side_) {
        workers_.Rows(side_, [&](int y) {
            for (int x = 0; x < side_; ++x) {
                const std::size_t i = surface_.Index(x, y);
                surface_[i] = std::max(waters_.bed[i], waters_.levels[waters_.lake[i]]);
            }
        });
    }

    /// How much sky a place sees, and whether the evening sun in the north-west reaches it.
    void Light() {
        constexpr std::array<int, 8> kDx{1, 1, 0, -1, -1, -1, 0, 1};
        constexpr std::array<int, 8> kDy{0, 1, 1, 1, 0, -1, -1, -1};
        constexpr std::array<float, 8> kSteps{45.0F,  90.0F,  160.0F,  280.0F,
                                              480.0F, 800.0F, 1300.0F, 2100.0F};
        workers_.Rows(side_, [&](int y) {
            for (int x = 0; x < side_; ++x) {
                const float here = surface_.At(x, y);
                float hidden = 0.0F;
                for (std::size_t d = 0; d < kDx.size(); ++d) {
                    const float length = (d & 1U) != 0 ? 1.41421356F * cell_ : cell_;
                    float steepest = 0.0F;
                    for (const float metres : kSteps) {
                        const int hops = std::max(1, Floor(metres / length + 0.5F));
                        const float rise =
                            surface_.Clamped(x + hops * kDx[d], y + hops * kDy[d]) - here;
                        steepest = std::max(steepest, rise / (static_cast<float>(hops) * length));
                    }
                    hidden += steepest / std::sqrt(1.0F + steepest * steepest);
                }
                float shade = 0.0F;
                const float diagonal = 1.41421356F * cell_;
                const int farthest = Floor(2600.0F / diagonal);
                for (int hops = 1; hops <= farthest; hops += 1 + hops / 6) {
                    const float rise = surface_.Clamped(x - hops, y - hops) - here;
                    const float distance = static_cast<float>(hops) * diagonal;
                    shade = std::max(shade, rise / distance);
                }
                const float sky = 1.0F - hidden / 8.0F;
                const float sun = 1.0F - Smooth(0.62F, 1.05F, shade);
                cover_.At(x, y)[static_cast<std::size_t>(Layer::Light)] =
                    (0.30F + 0.70F * sky) * (0.74F + 0.26F * sun);
            }
        });
    }

    void Growth() {
        workers_.Rows(side_, [&](int y) {
            for (int x = 0; x < side_; ++x) {
                const std::size_t i = surface_.Index(x, y);
                const float wx = cell_ * static_cast<float>(x);
                const float wy = cell_ * static_cast<float>(y);
                const float height = surface_[i];
                const float gx =
                    (surface_.Clamped(x + 1, y) - surface_.Clamped(x - 1, y)) / (2.0F * cell_);
                const float gy =
                    (surface_.Clamped(x, y + 1) - surface_.Clamped(x, y - 1)) / (2.0F * cell_);
                const float slope = std::sqrt(gx * gx + gy * gy);
                const float above = std::clamp(waters_.bed[i] - waters_.floor[i], 0.0F, 200.0F);
                const float sea = std::clamp(waters_.sea[i], -400.0F, 400.0F);
                const float regions = Fractal(wx / 5200.0F, wy / 5200.0F, 4, seed_ + 81);
                const float tint = Fractal(wx / 3900.0F + 4.2F, wy / 3900.0F, 4, seed_ + 82);
                const float stir = Fractal(wx / 1300.0F, wy / 1300.0F + 7.7F, 4, seed_ + 83);

                // Water gathers in hollows, clouds rain on the slopes that face the sea, sun dries
                // the southern ones.
                const float gathered = Clamp01(0.09F * (Log2(waters_.water[i]) + 8.0F));
                const float facing = 0.35F * (gx - gy) - 0.25F * gy;
                const float wet = Clamp01(0.36F + 0.35F * gathered + 0.25F * regions +
                                          0.10F * stir + 0.12F * Smooth(0.0F, 900.0F, height) -
                                          0.12F * std::clamp(facing, -1.0F, 1.0F) +
                                          0.15F * Smooth(20.0F, 0.0F, above));
                const float timber = 1780.0F + 160.0F * stir + 120.0F * tint;
                const float climb = Smooth(timber + 130.0F, timber - 320.0F, height);
                const float hold = Smooth(1.05F, 0.6F, slope);
                const float shore = Smooth(30.0F, 350.0F, sea);
                const float hills =
                    0.33F * Smooth(0.04F, 0.22F, slope) + 0.10F * Smooth(150.0F, 600.0F, height);
                const float meadow =
                    0.42F * Smooth(45.0F, 10.0F, above) * Smooth(0.22F, 0.08F, slope);
                const float wood = Clamp01(
                    (0.09F + hills + 0.42F * wet + 0.34F * regions - 0.32F * stir - meadow) *
                    climb * hold * (0.4F + 0.6F * shore));
                const float farm =
                    Smooth(0.085F, 0.03F, slope) * Smooth(620.0F, 380.0F, height + 150.0F * tint) *
                    Smooth(60.0F, 300.0F, sea) * Clamp01(0.78F + 0.9F * stir - 0.35F * regions);
                auto& layers = cover_[i];
                const auto set = [&](Layer layer, float value) {
                    layers[static_cast<std::size_t>(layer)] = value;
                };
                set(Layer::Wet, wet);
                set(Layer::Wood, wood);
                set(Layer::Farm, farm);
                set(Layer::Above, above);
                set(Layer::Sea, sea);
                set(Layer::Tint, tint);
                set(Layer::Stir, stir);
            }
        });
    }

    [[nodiscard]] Cover Take() { return std::move(cover_); }

private:
    std::uint32_t seed_;
    const Waters& waters_;
    const Workers& workers_;
    int side_;
    float cell_;
    Grid<float> surface_;
    Cover cover_;
};

}  // namespace

Cover MakeCover(std::uint32_t seed, const Waters& waters, const Workers& workers,
                const Step& step) {
    CoverMaker maker(seed, waters, workers);
    maker.Light();
    if (!step()) return {};
    maker.Growth();
    if (!step()) return {};
    return maker.Take();
}

}  // namespace tarnvale::demo
