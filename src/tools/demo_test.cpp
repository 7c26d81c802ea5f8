#include "tools/demo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

#include "tools/demo_ground.h"
#include "tools/demo_relief.h"
#include "tools/demo_water.h"

namespace tarnvale {
namespace {

// Small enough to be quick; erosion works in metres, so its rules are the same as at full size.
DemoOptions Small(int size, int textureSize) {
    DemoOptions options;
    options.size = size;
    options.textureSize = textureSize;
    options.reliefSize = 129;
    return options;
}

std::vector<std::uint8_t> Paint(const DemoLandscape& landscape, int x, int y, int width,
                                int height) {
    std::vector<std::uint8_t> rgb(static_cast<std::size_t>(width) *
                                  static_cast<std::size_t>(height) * 3);
    landscape.RenderTextureTile(x, y, width, height, rgb);
    return rgb;
}

std::vector<std::int16_t> HeightsOf(const DemoLandscape& landscape) {
    return {landscape.Heights().begin(), landscape.Heights().end()};
}

class CountingProgress : public Progress {
public:
    explicit CountingProgress(int cancelAt) : cancelAt_(cancelAt) {}
    void Begin(std::string_view, double endValue, double step) override {
        expected_ = endValue / step;
    }
    void Pulse() override { ++pulses_; }
    void End() override { ended_ = true; }
    [[nodiscard]] bool Cancelled() const override { return pulses_ >= cancelAt_; }

    double expected_ = 0;
    int pulses_ = 0;
    bool ended_ = false;

private:
    int cancelAt_;
};

TEST(DemoLandscape, DependsOnItsSeedAloneNotOnThreadsOrTexture) {
    DemoOptions options = Small(257, 256);
    options.threads = 1;
    const DemoLandscape alone(options, nullptr);
    options.threads = 3;
    options.textureSize = 1024;
    const DemoLandscape together(options, nullptr);
    options.seed = 2;
    const DemoLandscape other(options, nullptr);
    EXPECT_EQ(HeightsOf(alone), HeightsOf(together));
    EXPECT_NE(HeightsOf(alone), HeightsOf(other));
    options = Small(257, 256);
    options.threads = 2;
    EXPECT_EQ(Paint(alone, 0, 0, 256, 256), Paint(DemoLandscape(options, nullptr), 0, 0, 256, 256));
}

TEST(DemoLandscape, HasSeaMountainsAndAFixedExtent) {
    for (const std::uint32_t seed : {1U, 7U, 4000000000U}) {
        DemoOptions options = Small(129, 128);
        options.seed = seed;
        const DemoLandscape landscape(options, nullptr);
        const auto heights = landscape.Heights();
        ASSERT_EQ(heights.size(), 129U * 129U);
        EXPECT_DOUBLE_EQ(landscape.CellSize() * 128, 40960.0);
        const auto sea = std::ranges::count(heights, 0);
        EXPECT_GT(sea, 129 * 129 / 8) << seed;
        EXPECT_LT(sea, 129 * 129 / 2) << seed;
        EXPECT_GE(std::ranges::min(heights), 0) << seed;
        EXPECT_GT(std::ranges::max(heights), 2000) << seed;
        EXPECT_LT(std::ranges::max(heights), 3200) << seed;
    }
}

TEST(DemoLandscape, SmallerSizesShowTheSameLandscape) {
    const DemoLandscape fine(Small(1025, 1024), nullptr);
    const DemoLandscape coarse(Small(513, 512), nullptr);
    double sum = 0;
    int far = 0;
    for (std::size_t y = 0; y < 513; ++y) {
        for (std::size_t x = 0; x < 513; ++x) {
            const int difference =
                std::abs(fine.Heights()[2 * y * 1025 + 2 * x] - coarse.Heights()[y * 513 + x]);
            sum += difference;
            if (difference > 40) ++far;
        }
    }
    EXPECT_LT(sum / (513.0 * 513.0), 4.0);  // metres
    EXPECT_LT(far, 513 * 513 / 200);
}

class DemoTerrain : public testing::Test {
protected:
    static constexpr int kSide = 1025;

    static void SetUpTestSuite() {
        const demo::Workers workers(2);
        const demo::Step step = [] { return true; };
        waters_ = demo::MakeWaters(1, demo::MakeRelief(1, 257, workers, step), workers, step);
        terrain_ = demo::MakeTerrain(1, kSide, waters_, workers, step);
    }
    static void TearDownTestSuite() {
        waters_ = {};
        terrain_ = {};
    }

    static bool IsLake(std::size_t i) {
        const std::uint8_t lake = terrain_.lake[i];
        return lake != 0 && terrain_.bed[i] < waters_.levels[lake];
    }

    template <class F>
    static void ForAround(std::size_t i, const F& visit) {
        const int x = static_cast<int>(i) % kSide;
        const int y = static_cast<int>(i) / kSide;
        for (int ny = std::max(0, y - 1); ny <= std::min(kSide - 1, y + 1); ++ny) {
            for (int nx = std::max(0, x - 1); nx <= std::min(kSide - 1, x + 1); ++nx) {
                visit(terrain_.bed.Index(nx, ny));
            }
        }
    }

    inline static demo::Waters waters_;
    inline static demo::Terrain terrain_;
};

TEST_F(DemoTerrain, LakesAreFlatAndHeldInByTheirShores) {
    std::vector<int> samples(waters_.levels.size(), 0);
    for (std::size_t i = 0; i < terrain_.heights.Count(); ++i) {
        if (!IsLake(i)) continue;
        const float level = waters_.levels[terrain_.lake[i]];
        ++samples[terrain_.lake[i]];
        ASSERT_EQ(static_cast<float>(terrain_.heights[i]), level) << "sample " << i;
        ForAround(i, [&](std::size_t n) {
            ASSERT_GE(static_cast<float>(terrain_.heights[n]), level) << "beside sample " << i;
        });
    }
    EXPECT_GE(std::ranges::count_if(samples, [](int count) { return count > 100; }), 4);
}

TEST_F(DemoTerrain, WaterRunsOffFromEverywhere) {
    std::vector<std::size_t> open;
    std::vector<bool> drains(terrain_.heights.Count(), false);
    for (std::size_t i = 0; i < terrain_.heights.Count(); ++i) {
        const int x = static_cast<int>(i) % kSide;
        const int y = static_cast<int>(i) / kSide;
        if (x != 0 && y != 0 && x != kSide - 1 && y != kSide - 1 && terrain_.heights[i] > 0 &&
            !IsLake(i))
            continue;
        drains[i] = true;
        open.push_back(i);
    }
    while (!open.empty()) {
        const std::size_t i = open.back();
        open.pop_back();
        ForAround(i, [&](std::size_t n) {
            if (drains[n] || terrain_.heights[n] < terrain_.heights[i]) return;
            drains[n] = true;
            open.push_back(n);
        });
    }
    EXPECT_EQ(std::ranges::count(drains, false), 0);
}

TEST_F(DemoTerrain, RiversFallAllTheWayAndLieInTheirBeds) {
    ASSERT_GT(waters_.rivers.size(), 1000U);
    const float cell = demo::kExtent / (kSide - 1);
    int above = 0;
    for (const demo::RiverPiece& piece : waters_.rivers) {
        ASSERT_GE(piece.z0, piece.z1);
        const auto x = static_cast<int>(std::lround(piece.x0 / cell));
        const auto y = static_cast<int>(std::lround(piece.y0 / cell));
        if (terrain_.bed.Clamped(x, y) > piece.z0 + 25.0F) ++above;
    }
    EXPECT_EQ(above, 0);
}

TEST(DemoTexture, PixelsDontDependOnTheTilesNorOnThreads) {
    const DemoLandscape landscape(Small(257, 1024), nullptr);
    constexpr int kSize = 1024;
    const std::vector<std::uint8_t> whole = Paint(landscape, 0, 0, kSize, kSize);
    std::vector<std::uint8_t> pieced(whole.size());
    const auto paintColumn = [&](int left, int right) {
        constexpr int kTileHeight = 75;
        for (int top = 0; top < kSize; top += kTileHeight) {
            const int height = std::min(kTileHeight, kSize - top);
            const std::vector<std::uint8_t> tile =
                Paint(landscape, left, top, right - left, height);
            const auto row = static_cast<std::size_t>(right - left) * 3;
            for (int y = 0; y < height; ++y) {
                std::copy_n(
                    tile.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(y) * row),
                    row,
                    pieced.begin() + (static_cast<std::ptrdiff_t>(top + y) * kSize + left) * 3);
            }
        }
    };
    {
        std::vector<std::jthread> painters;
        for (const auto& [left, right] :
             {std::pair(0, 1), std::pair(1, 402), std::pair(402, 1024)}) {
            painters.emplace_back(paintColumn, left, right);
        }
    }
    EXPECT_EQ(whole, pieced);
}

TEST(DemoTexture, SeaIsBlueWhereTheHeightsSayItIs) {
    const DemoLandscape landscape(Small(257, 512), nullptr);
    const std::vector<std::uint8_t> rgb = Paint(landscape, 0, 0, 512, 512);
    int sea = 0;
    int land = 0;
    int greySea = 0;
    int blueLand = 0;  // lakes
    for (int y = 1; y < 255; ++y) {
        for (int x = 1; x < 255; ++x) {
            int low = 10000;
            int high = 0;
            for (int k = 0; k < 16; ++k) {
                const int height =
                    landscape
                        .Heights()[static_cast<std::size_t>((y + k / 4 - 1) * 257 + x + k % 4 - 1)];
                low = std::min(low, height);
                high = std::max(high, height);
            }
            const std::uint8_t* pixel = rgb.data() + (2 * y * 512 + 2 * x) * 3;
            const bool blue = pixel[2] > pixel[0] + 15;
            if (high == 0) {
                ++sea;
                greySea += blue ? 0 : 1;
            } else if (low > 2) {
                ++land;
                blueLand += blue ? 1 : 0;
            }
        }
    }
    EXPECT_GT(sea, 5000);
    EXPECT_LT(greySea, sea / 100);
    EXPECT_GT(land, 5000);
    EXPECT_LT(blueLand, land / 20);
}

TEST(DemoProgress, CountsToItsEndAndStopsWhenTheUserWantsTo) {
    CountingProgress whole(1000);
    const DemoOptions options = Small(129, 128);
    const DemoLandscape landscape(options, &whole);
    EXPECT_TRUE(whole.ended_);
    EXPECT_EQ(whole.pulses_, whole.expected_);
    for (int pulse = 1; pulse <= whole.pulses_; pulse += 3) {
        CountingProgress stopped(pulse);
        const DemoLandscape left(options, &stopped);
        EXPECT_TRUE(stopped.ended_);
        EXPECT_EQ(stopped.pulses_, pulse);
        EXPECT_EQ(std::ranges::count(left.Heights(), 0), 129 * 129) << "stopped at " << pulse;
        EXPECT_EQ(Paint(left, 5, 7, 30, 20).size(), 30U * 20U * 3U);
    }
}

}  // namespace
}  // namespace tarnvale
