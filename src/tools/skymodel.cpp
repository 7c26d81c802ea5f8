#include "tools/skymodel.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <thread>

#include "tools/demo_noise.h"
#include "tools/skyair.h"
#include "tools/skyclouds.h"
#include "tools/skystars.h"

namespace tarnvale {

namespace {

using sky::Air;
using sky::Direction;
using sky::Light;
using sky::Veil;

constexpr float kPi = 3.14159265F;

/// Average light of the upper sky, which shades and clouds are lit by.
Light AroundOf(const Air& air) {
    Light sum;
    int count = 0;
    for (int up = 2; up < 9; ++up) {
        for (int across = 0; across < 16; ++across) {
            const float e = static_cast<float>(up) * 0.17F, a = static_cast<float>(across) * 0.2F;
            sum +=
                air.Radiance({std::cos(e) * std::sin(a), std::cos(e) * std::cos(a), std::sin(e)});
            ++count;
        }
    }
    return sum * (1.0F / static_cast<float>(count));
}

/// Light of a place of the picture. @param x, y  shares of its width and height
using Painter = std::function<Light(const Direction& d, float x, float y)>;

Direction DirectionOf(float x, float y) {
    const float azimuth = x * kPi, polar = y * kPi / 2;
    return {std::sin(polar) * std::sin(azimuth), std::sin(polar) * std::cos(azimuth),
            std::cos(polar)};
}

float Grain(int x, int y, std::uint32_t seed) {
    return demo::ToUnit(demo::Hash(x, y, seed));
}

/// Calls `work` for each row, on all cores.
void ForRows(int rows, const std::function<void(int row)>& work) {
    const int workers = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 16U));
    const auto share = [&](int first) {
        for (int row = first; row < rows; row += workers) work(row);
    };
    std::vector<std::jthread> threads;
    for (int i = 1; i < workers; ++i) threads.emplace_back(share, i);
    share(0);
}

/// Heaps of cloud over the whole picture, worked out at fewer places than it has pixels and
/// smoothed between them, which also takes the grain off.
class CloudMap {
public:
    CloudMap(const Air& air, int columns, int rows)
        : columns_(std::max(columns / 2, 2)), rows_(std::max(rows / 2, 2)) {
        const Light around = AroundOf(air);
        std::vector<Veil> raw(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_));
        veils_.resize(raw.size());
        ForRows(rows_, [&](int row) {
            const float y = (static_cast<float>(row) + 0.5F) / static_cast<float>(rows_);
            for (int column = 0; column < columns_; ++column) {
                const float x = (static_cast<float>(column) + 0.5F) / static_cast<float>(columns_);
                raw[Index(column, row)] =
                    HeapClouds(air, around, DirectionOf(x, y), Grain(column, row, 5));
            }
        });
        ForRows(rows_, [&](int row) {
            for (int column = 0; column < columns_; ++column) {
                Veil& sum = veils_[Index(column, row)];
                sum.passes = 0;
                for (int i = -1; i <= 1; ++i) {
                    for (int j = -1; j <= 1; ++j) {
                        const Veil& near = raw[Index(column + i, row + j)];
                        const float share = static_cast<float>((2 - i * i) * (2 - j * j)) / 16.0F;
                        sum.light += near.light * share;
                        sum.passes += near.passes * share;
                    }
                }
            }
        });
    }

    [[nodiscard]] Veil At(float x, float y) const {
        const float across = x * static_cast<float>(columns_) - 0.5F;
        const float down = std::max(y * static_cast<float>(rows_) - 0.5F, 0.0F);
        const int column = demo::Floor(across), row = static_cast<int>(down);
        const float u = across - static_cast<float>(column), v = down - static_cast<float>(row);
        const auto mix = [](const Veil& a, const Veil& b, float t) {
            return Veil{Mix(a.light, b.light, t), a.passes + (b.passes - a.passes) * t};
        };
        const auto line = [&](int at) {
            return mix(veils_[Index(column, at)], veils_[Index(column + 1, at)], u);
        };
        return mix(line(row), line(row + 1), v);
    }

private:
    /// Beside the right edge lies the left one: the sky goes around.
    [[nodiscard]] std::size_t Index(int column, int row) const {
        const int x = (column + columns_) % columns_, y = std::clamp(row, 0, rows_ - 1);
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(columns_) +
               static_cast<std::size_t>(x);
    }

    int columns_, rows_;
    std::vector<Veil> veils_;
};

/// Light as the eye bears it: bright parts pressed together, then a screen's curve.
float Shown(float light, float exposure) {
    const float x = light * exposure;
    const float pressed = x * (2.51F * x + 0.03F) / (x * (2.43F * x + 0.59F) + 0.14F);
    const float held = std::clamp(pressed, 0.0F, 1.0F);
    return held <= 0.0031308F ? 12.92F * held : 1.055F * std::pow(held, 1 / 2.4F) - 0.055F;
}

/// @param exposure  out: how bright the picture is shown
Painter PainterOf(StandardSky which, int columns, int rows, float& exposure) {
    switch (which) {
        case StandardSky::ClearNoon:
            exposure = 7.5F;
            return [air = Air(50, 1.0F)](const Direction& d, float, float) {
                return air.Radiance(d) + air.SunDisc(d, 0.42F);
            };
        case StandardSky::BrokenCloud: {
            exposure = 6.5F;
            const Air air(90, 1.0F);  // every side is lit alike, as it must be to go around twice
            return
                [air, clouds = CloudMap(air, columns, rows)](const Direction& d, float x, float y) {
                    const Veil veil = clouds.At(x, y);
                    const Light behind = air.Radiance(d) + air.SunDisc(d, 0.42F);
                    return behind * veil.passes + veil.light;
                };
        }
        case StandardSky::Sunset: {
            exposure = 9.0F;
            const Air air(0.6F, 1.0F);
            return [air, around = AroundOf(air)](const Direction& d, float, float) {
                const Veil veil = HighClouds(air, around, d);
                const Light behind = air.Radiance(d) + air.SunDisc(d, 0.55F);
                return (behind * veil.passes + veil.light) * Light{1.08F, 0.92F, 0.96F};
            };
        }
        case StandardSky::StarryNight:
            break;
    }
    exposure = 3.6F;
    return [night = sky::Night(kPi / 2 / static_cast<float>(rows))](
               const Direction& d, float, float) { return night.Radiance(d); };
}

}  // namespace

std::vector<std::uint8_t> PaintSky(StandardSky sky, int columns, int rows) {
    float exposure = 1;
    const Painter paint = PainterOf(sky, columns, rows, exposure);
    const std::size_t line = static_cast<std::size_t>(columns) * 3;
    std::vector<std::uint8_t> rgb(line * static_cast<std::size_t>(rows));
    ForRows(rows, [&](int row) {
        const float y = (static_cast<float>(row) + 0.5F) / static_cast<float>(rows);
        std::uint8_t* out = &rgb[static_cast<std::size_t>(row) * line];
        for (int column = 0; column < columns; ++column) {
            const float x = (static_cast<float>(column) + 0.5F) / static_cast<float>(columns);
            const Light light = paint(DirectionOf(x, y), x, y);
            // Rounded up or down by chance, so that slow changes show no steps.
            const float dither = Grain(column, row, 6) + Grain(column, row, 7) - 1.0F;
            for (const float part : {light.r, light.g, light.b}) {
                const float value = Shown(part, exposure) * 255 + 0.5F + dither * 0.75F;
                *out++ = static_cast<std::uint8_t>(std::clamp(value, 0.0F, 255.0F));
            }
        }
    });
    return rgb;
}

}  // namespace tarnvale
