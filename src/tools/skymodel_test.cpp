#include "tools/skymodel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "tools/skystars.h"

namespace tarnvale {
namespace {

constexpr int kColumns = 256, kRows = 128;

class Painted {
public:
    explicit Painted(StandardSky sky) : rgb_(PaintSky(sky, kColumns, kRows)) {}
    [[nodiscard]] int At(int column, int row, int channel) const {
        return rgb_[static_cast<std::size_t>((row * kColumns + column) * 3 + channel)];
    }
    /// Mean difference of two columns, the stars' points left out.
    [[nodiscard]] double Difference(int a, int b) const {
        double sum = 0;
        for (int row = 0; row < kRows; ++row) {
            for (int channel = 0; channel < 3; ++channel)
                sum += std::min(std::abs(At(a, row, channel) - At(b, row, channel)), 60);
        }
        return sum / (kRows * 3);
    }
    /// Mean of a channel over part of a row.
    [[nodiscard]] double Mean(int row, int channel, int from = 0, int to = kColumns) const {
        double sum = 0;
        for (int column = from; column < to; ++column) sum += At(column, row, channel);
        return sum / (to - from);
    }

private:
    std::vector<std::uint8_t> rgb_;
};

class StandardSkyTest : public testing::TestWithParam<StandardSkyText> {};

TEST_P(StandardSkyTest, HasNoSeamAndNoPole) {
    const Painted sky(GetParam().sky);
    double neighbours = 0, worst = 0;
    for (int column = 1; column < kColumns; ++column) {
        const double difference = sky.Difference(column - 1, column);
        neighbours += difference / (kColumns - 1);
        worst = std::max(worst, difference);
    }
    // Where there is one sun the edges differ, and no column meets another one: it is mirrored.
    const bool sunAside =
        GetParam().sky == StandardSky::ClearNoon || GetParam().sky == StandardSky::Sunset;
    if (!sunAside) {
        EXPECT_LE(sky.Difference(kColumns - 1, 0), std::max(worst, neighbours * 2));
    }
    for (int channel = 0; channel < 3; ++channel) {
        int least = 255, greatest = 0;
        for (int column = 0; column < kColumns; ++column) {
            least = std::min(least, sky.At(column, 0, channel));
            greatest = std::max(greatest, sky.At(column, 0, channel));
        }
        EXPECT_LE(greatest - least, 32) << "all columns meet at the zenith";
    }
}

TEST_P(StandardSkyTest, IsPaintedTheSameEachTime) {
    EXPECT_EQ(PaintSky(GetParam().sky, 40, 20), PaintSky(GetParam().sky, 40, 20));
}

TEST_P(StandardSkyTest, HasANameThatAnObjectTakes) {
    EXPECT_LE(std::string(GetParam().name).size(), 16U);
    EXPECT_LE(std::string(GetParam().description).size(), 64U);
}

INSTANTIATE_TEST_SUITE_P(All, StandardSkyTest, testing::ValuesIn(kStandardSkies),
                         [](const auto& sky) { return std::to_string(sky.index); });

TEST(SkyModel, NoonIsBlueAboveAndPaleAtTheHorizon) {
    const Painted sky(StandardSky::ClearNoon);
    EXPECT_GT(sky.Mean(10, 2), sky.Mean(10, 0) * 1.6);
    EXPECT_GT(sky.Mean(kRows - 2, 0), 190);
    EXPECT_LT(std::abs(sky.Mean(kRows - 2, 0) - sky.Mean(kRows - 2, 2)), 30);
    int brightest = 0;
    for (int row = 0; row < kRows; ++row)
        brightest = std::max(brightest, sky.At(kColumns - 1, row, 2));
    EXPECT_GT(brightest, 235) << "the sun stands at the right edge";
}

TEST(SkyModel, BrokenCloudHasCloudsAndGaps) {
    const Painted sky(StandardSky::BrokenCloud);
    int white = 0, blue = 0;
    for (int row = kRows / 3; row < kRows * 9 / 10; ++row) {
        for (int column = 0; column < kColumns; ++column) {
            const int red = sky.At(column, row, 0), other = sky.At(column, row, 2);
            white += red > 185 ? 1 : 0;
            blue += other > red + 40 ? 1 : 0;
        }
    }
    const int all = kColumns * (kRows * 9 / 10 - kRows / 3);
    EXPECT_GT(white, all / 5);
    EXPECT_GT(blue, all / 8);
}

// Who looks up sees both halves at once: a cloud there would have its twin beside it.
TEST(SkyModel, NoCloudOverheadShowsThatTheSkyGoesAroundTwice) {
    for (const StandardSky which : {StandardSky::BrokenCloud, StandardSky::Sunset}) {
        const Painted sky(which);
        for (int row = 0; row < kRows / 4; ++row) {
            int least = 255, greatest = 0;
            for (int column = 0; column < kColumns; ++column) {
                least = std::min(least, sky.At(column, row, 0));
                greatest = std::max(greatest, sky.At(column, row, 0));
            }
            ASSERT_LE(greatest - least, 32) << static_cast<int>(which) << ", row " << row;
        }
    }
}

TEST(SkyModel, SunsetGlowsWhereTheSunIs) {
    const Painted sky(StandardSky::Sunset);
    const int low = kRows - 3;
    const double redAtSun = sky.Mean(low, 0, kColumns - 30, kColumns);
    EXPECT_GT(redAtSun, sky.Mean(low, 2, kColumns - 30, kColumns) + 80);
    EXPECT_GT(redAtSun, sky.Mean(kRows / 2, 0, 0, 30) + 60);
}

TEST(SkyModel, TheMilkyWayHasNoSeamWhereThePictureGoesAroundAgain) {
    const sky::Night night(1e-6F);  // stars too small to be met
    for (float polar = 0.05F; polar < 0.5F; polar += 0.05F) {
        const float x = 1e-4F, y = std::sin(polar), z = std::cos(polar);
        EXPECT_NEAR(night.Radiance({x, y, z}).g, night.Radiance({x, -y, z}).g, 2e-4F) << polar;
    }
}

TEST(SkyModel, NightHasFewBrightStarsAndManyFaintOnes) {
    constexpr int kAcross = 1024, kDown = 512;  // stars are no smaller than pixels
    const std::vector<std::uint8_t> rgb = PaintSky(StandardSky::StarryNight, kAcross, kDown);
    int bright = 0, faint = 0, all = 0;
    for (std::size_t i = std::size_t{kAcross} * (kDown / 3);
         i < std::size_t{kAcross} * (kDown / 4 * 3); ++i) {
        const int light = rgb[i * 3 + 1];
        bright += light > 170 ? 1 : 0;
        faint += light > 60 && light <= 170 ? 1 : 0;
        ++all;
    }
    EXPECT_GT(bright, 5);
    EXPECT_GT(faint, bright * 2);
    EXPECT_LT(faint, all / 5);
}

}  // namespace
}  // namespace tarnvale
