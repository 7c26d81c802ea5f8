#include "tools/demo_relief.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "tools/demo_flow.h"

namespace tarnvale::demo {
namespace {

constexpr float kHighest = 2780.0F;    // metres, the highest summit
constexpr float kWear = 1.0F / 22.0F;  // how fast rivers cut, against how fast land rises
constexpr float kSteep = 0.75F;        // slope from which on ground wears clearly faster

// area ^ 3/8: how a river's power to cut grows with the land it drains.
float Power(float area) {
    const float fourth = std::sqrt(std::sqrt(area));
    return fourth * std::sqrt(fourth);
}

// What is given from outside the erosion: where land rises and how fast, how hard its rock is.
struct Ground {
    float inland = 0;    // kilometres to the coast as first drawn, negative at sea
    float uplift = 0;    // relative to the range's
    float softness = 0;  // erosion's rate relative to the mean
};

// The plan of the landscape: a coast across the lower left, islands before it, a plain with low
// hills behind it, and a range that meets the sea at one place.
class Plan {
public:
    explicit Plan(std::uint32_t seed) : seed_(seed) {
        // Inland is up to 20 degrees off the north-east.
        const float turn = 0.7F * ToUnit(Hash(1, 0, seed)) - 0.35F;
        const float length = 1.0F / std::sqrt(1.0F + turn * turn);
        const float diagonal = 0.70710678F;
        inlandX_ = (diagonal + turn * diagonal) * length;
        inlandY_ = (-diagonal + turn * diagonal) * length;
        side_ = (Hash(2, 0, seed) & 1U) != 0 ? 1.0F : -1.0F;
    }

    /// @param x, y  kilometres from the north-west corner
    [[nodiscard]] Ground At(float x, float y) const {
        const float dx = x - 20.48F;
        const float dy = y - 20.48F;
        const float bend = 5.0F * Fractal(x / 15.0F, y / 15.0F, 2, seed_ + 11);
        const float across = dx * inlandX_ + dy * inlandY_ + bend;
        const float along = side_ * (dx * inlandY_ - dy * inlandX_);

        Ground ground;
        float inland =
            across + 9.0F + 4.2F * Fractal(x / 6.5F + 3.1F, y / 6.5F, 6, seed_ + 12, 0.52F);
        // A bay and a headland.
        inland += -6.0F * Bump(across + 7.0F, along + 1.0F, 4.5F) +
                  5.0F * Bump(across + 9.0F, along + 15.0F, 5.0F);
        // Islands: the higher parts of the sea's floor, in a belt along the coast.
        if (inland < -0.5F) {
            const float shoal = Fractal(x / 3.7F + 9.7F, y / 3.7F + 2.3F, 6, seed_ + 13, 0.52F);
            const float belt = Smooth(-0.5F, -3.0F, inland) * Smooth(-17.0F, -9.0F, inland);
            inland = std::max(inland, 5.0F * (shoal - 0.27F) - 3.0F * (1.0F - belt));
        }
        ground.inland = inland;

        // The range, a chain of massifs that bends, with spurs; where it nears the headland it ends
        // in the sea.
        const float warpX = 2.6F * Fractal(x / 7.0F, y / 7.0F + 5.5F, 3, seed_ + 14);
        const float warpY = 2.6F * Fractal(x / 7.0F + 8.3F, y / 7.0F, 3, seed_ + 15);
        const float axis = 10.5F - 0.014F * (along - 4.0F) * (along - 4.0F) + 1.3F * warpX;
        const float off = across - axis;
        const float width = off > 0.0F ? 4.4F : 4.0F;
        const float range = Fade(off * off / (width * width));
        const float massif =
            0.45F + 0.9F * Ridged((x + warpX) / 11.0F, (y + warpY) / 11.0F, 2, seed_ + 16);
        const float spur = 0.35F * Bump(across + 5.0F, along + 14.0F, 4.5F);
        const float hills =
            0.10F *
            Smooth(0.05F, 0.55F, Fractal((x + warpX) / 4.5F, (y + warpY) / 4.5F, 3, seed_ + 17));
        const float back = 0.10F * Smooth(3.0F, 9.0F, off);
        const float rise = 0.006F + range * massif + spur + hills + back;
        // The shore rises last, so that it is low but for where a massif stands at it.
        ground.uplift =
            rise * (0.15F + 0.85F * Smooth(0.0F, 2.6F - 2.4F * Clamp01(3.0F * spur), inland));
        ground.softness = 1.0F + 0.6F * Fractal(x / 4.0F, y / 4.0F, 3, seed_ + 18) +
                          0.4F * Fractal(x / 0.5F, y / 0.5F, 3, seed_ + 19);
        ground.softness = std::max(0.45F, ground.softness);
        return ground;
    }

    [[nodiscard]] std::uint32_t Seed() const { return seed_; }

private:
    [[nodiscard]] static float Bump(float a, float b, float radius) {
        return Fade((a * a + b * b) / (radius * radius));
    }

    std::uint32_t seed_;
    float inlandX_ = 0;
    float inlandY_ = 0;
    float side_ = 1;
};

// One resolution of the erosion, on the landscape and a margin around it, so that the border, where
// heights are given, stays out of sight.
class Erosion {
public:
    Erosion(const Plan& plan, int side, float cell, float origin, const Workers& workers)
        : workers_(workers),
          side_(side),
          cell_(cell),
          seed_(plan.Seed()),
          heights_(side),
          uplift_(side),
          softness_(side),
          ends_(side),
          flow_(side),
          power_(side),
          falls_(side) {
        workers_.Rows(side, [&](int y) {
            for (int x = 0; x < side; ++x) {
                const float wx = (origin + cell * static_cast<float>(x)) * 0.001F;
                const float wy = (origin + cell * static_cast<float>(y)) * 0.001F;
                const Ground ground = plan.At(wx, wy);
                const std::size_t i = heights_.Index(x, y);
                uplift_[i] = ground.uplift;
                softness_[i] = ground.softness;
                const bool sea = ground.inland <= 0.0F;
                const bool border = x == 0 || y == 0 || x == side - 1 || y == side - 1;
                ends_[i] = sea || border ? 1 : 0;
                const float edge = std::min(25.0F * ground.inland, 520.0F);
                heights_[i] = sea ? 0.0F : edge;
                if (ends_[i] == 0)
                    heights_[i] += 20.0F + 12.0F * Fractal(wx / 2.0F, wy / 2.0F, 5, seed_ + 21);
            }
        });
    }

    /// Water that may run in eight directions alone draws straight valleys. Taken over through a
    /// gentle distortion they wind.
    void StartFrom(const Erosion& coarser) {
        const float step = static_cast<float>(coarser.side_ - 1) / static_cast<float>(side_ - 1);
        workers_.Rows(side_, [&](int y) {
            for (int x = 0; x < side_; ++x) {
                const std::size_t i = heights_.Index(x, y);
                if (ends_[i] != 0) continue;
                const float cx = static_cast<float>(x) * step;
                const float cy = static_cast<float>(y) * step;
                const float sx = cx + 2.2F * Fractal(cx / 13.0F, cy / 13.0F, 2, seed_ + 31);
                const float sy = cy + 2.2F * Fractal(cx / 13.0F, cy / 13.0F, 2, seed_ + 32);
                const float noise = 6.0F * cell_ / 40.0F * (ToUnit(Hash(x, y, seed_ + 22)) - 0.5F);
                heights_[i] = std::max(1.0F, Sample<Cubic>(coarser.heights_, sx, sy) + noise);
            }
        });
    }

    /// One step of time: land rises, rivers cut in by the power of their water.
    /// @param fresh  the heights may have pits
    /// @param rise   rate of rise, relative to the plan's
    void Run(bool fresh, float time, float rise) {
        if (fresh) {
            flow_.Flood(heights_, ends_);
        } else {
            flow_.Descend(heights_, ends_, seed_ + 23, workers_);
        }
        flow_.Gather({}, workers_);
        if (fresh) flow_.Breach(heights_);
        const Grid<float>& water = flow_.Water();
        const float area = cell_ * cell_;
        workers_.Rows(side_, [&](int y) {
            for (int x = 0; x < side_; ++x) {
                const std::size_t i = heights_.Index(x, y);
                const float length = flow_.IsDiagonal(i) ? 1.41421356F * cell_ : cell_;
                const float slope = (heights_[i] - heights_[flow_.Next(i)]) / length;
                const float steep = slope * slope * (1.0F / (kSteep * kSteep));
                // Steep ground wears faster. Taken over slowly, or it would swing from step to
                // step.
                falls_[i] += 0.2F * (std::min(steep * steep, 20.0F) - falls_[i]);
                power_[i] = kWear * softness_[i] * time * Power(water[i] * area + 20000.0F) *
                            (1.0F + falls_[i]) / length;
            }
        });
        const std::vector<std::uint32_t>& order = flow_.Order();
        for (std::size_t k = order.size(); k-- > 0;) {
            const std::size_t i = order[k];
            if (flow_.IsEnd(i)) continue;
            const float below = heights_[flow_.Next(i)];
            const float length = flow_.IsDiagonal(i) ? 1.41421356F * cell_ : cell_;
            const float raised = heights_[i] + uplift_[i] * time * rise;
            const float cut = (raised + power_[i] * below) / (1.0F + power_[i]);
            // Never so low that the next step finds no way down.
            heights_[i] = std::max(cut, below + 2e-4F * length);
        }
    }

    [[nodiscard]] float Highest() const {
        return *std::max_element(heights_.Cells().begin(), heights_.Cells().end());
    }
    [[nodiscard]] const Grid<float>& Heights() const { return heights_; }

private:
    const Workers& workers_;
    int side_;
    float cell_;
    std::uint32_t seed_;
    Grid<float> heights_;
    Grid<float> uplift_;
    Grid<float> softness_;
    Grid<std::uint8_t> ends_;
    Flow flow_;
    Grid<float> power_;  // of the water to cut, for this step
    Grid<float> falls_;  // what steepness adds to it
};

}  // namespace

Grid<float> MakeRelief(std::uint32_t seed, int samples, const Workers& workers, const Step& step) {
    const Plan plan(seed);
    const int margin = (samples - 1) / 16;
    const int cells = samples - 1 + 2 * margin;
    const float cell = kExtent / static_cast<float>(samples - 1);
    const float origin = -cell * static_cast<float>(margin);

    Grid<float> heights;
    // Large valleys form on a coarse grid, small ones in them on finer grids.
    struct Level {
        int divisor;
        int runs;
        int runsInStep;
        float time;
    };
    constexpr std::array<Level, 3> kLevels{
        {{4, 200, 50, 60.0F}, {2, 60, 10, 40.0F}, {1, 30, 2, 20.0F}}};
    static_assert(200 / 50 + 60 / 10 + 30 / 2 == kReliefSteps);
    float scale = 1.0F;
    std::unique_ptr<Erosion> last;
    for (const Level& level : kLevels) {
        auto erosion =
            std::make_unique<Erosion>(plan, cells / level.divisor + 1,
                                      cell * static_cast<float>(level.divisor), origin, workers);
        if (last) erosion->StartFrom(*last);
        for (int run = 0; run < level.runs; ++run) {
            erosion->Run(run == 0, level.time, scale);
            if (run % 10 == 9) scale *= std::clamp(kHighest / erosion->Highest(), 0.8F, 1.25F);
            if (run % level.runsInStep == level.runsInStep - 1 && !step()) return heights;
        }
        last = std::move(erosion);
    }
    const Grid<float>& from = last->Heights();
    heights = Grid<float>(samples);
    for (int y = 0; y < samples; ++y) {
        std::copy_n(from.Row(y + margin) + margin, samples, heights.Row(y));
    }
    return heights;
}

}  // namespace tarnvale::demo
