#include "terrain/terrainmodel.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>

#include "base/settings.h"

namespace tarnvale {
namespace {

class Detail : public ::testing::Test {
protected:
    void SetUp() override {
        TerrainModel::SetQuality(85.0, false);
        TerrainModel::SetFrameRate(20.0, false);
        TerrainModel::SetVerticalScale(1.0F);
        settings::TerrainChoice.SetUnsaved(1);
    }
    void TearDown() override { SetUp(); }
};

TEST_F(Detail, RegulatorMovesTheQualityTowardsTheFrameRate) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    const std::tuple<double, double, double> cases[] = {
        // wanted, measured, quality after one move from 50
        {20, 20, 50},
        {20, 21.8, 50},                // within a tenth
        {20, 22, 50 + 0.1 / 22 * 50},  // just a tenth off
        {20, 5, 42.5},                 // 0.75 / 5 x 50
        {60, 5, 50 - 55.0 / 60 / 5 * 50},
        {20, 60, 50 + 1.0 / 60 * 50},  // held at 1
        {20, 0.2, 0},                  // never below 0
        {20, 0, 50},                   // no measure
        {20, inf, 50},
        {20, std::numeric_limits<double>::quiet_NaN(), 50},
    };
    for (const auto& [wanted, measured, quality] : cases) {
        TerrainModel::SetQuality(50, false);
        TerrainModel::SetFrameRate(wanted, false);
        settings::TerrainChoice.SetUnsaved(1);
        TerrainModel::RegulateFrameRate(measured);
        EXPECT_EQ(TerrainModel::Quality(), 50) << "fixed quality moved at " << measured;
        settings::TerrainChoice.SetUnsaved(2);
        TerrainModel::RegulateFrameRate(measured);
        EXPECT_NEAR(TerrainModel::Quality(), quality, 1e-9) << measured << " for " << wanted;
        EXPECT_EQ(TerrainModel::UserQuality(), 50);
    }
    TerrainModel::SetQuality(99.9, false);
    for (int i = 0; i < 5; ++i) TerrainModel::RegulateFrameRate(30);
    EXPECT_EQ(TerrainModel::Quality(), 100);
}

TEST_F(Detail, ValuesOutsideTheirRangeAreHeldOrIgnored) {
    TerrainModel::SetQuality(120, false);
    EXPECT_EQ(TerrainModel::Quality(), 100);
    TerrainModel::SetQuality(-3, false);
    EXPECT_EQ(TerrainModel::Quality(), 0);
    TerrainModel::SetFrameRate(0.5, false);
    EXPECT_EQ(TerrainModel::FrameRate(), 20);
    TerrainModel::SetVerticalScale(0.009F);
    TerrainModel::SetVerticalScale(100.5F);
    EXPECT_EQ(TerrainModel::VerticalScale(), 1.0F);
    TerrainModel::SetVerticalScale(100.0F);
    EXPECT_EQ(TerrainModel::VerticalScale(), 100.0F);
}

}  // namespace
}  // namespace tarnvale
