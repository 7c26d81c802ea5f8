#include "simulator/optionrules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "base/inistore.h"
#include "base/settings.h"
#include "terrain/terrainmodel.h"

namespace tarnvale {
namespace {

using testing::ElementsAre;

TEST(EditedNumber, WhatNobodyEntersStaysBitForBit) {
    EditedNumber feet(3.2808398950131233, {0, 1'000'000});
    const double odd = 100.0F / 3.0F;
    feet.Load(odd);
    EXPECT_NEAR(feet.Shown(), 109.36, 0.01);
    EXPECT_EQ(feet.Kept(), odd);
    feet.Load(-5);
    EXPECT_EQ(feet.Kept(), -5) << "nor is it held";
}

TEST(EditedNumber, WhatIsEnteredIsConvertedAndHeldInTheProgramsUnit) {
    const double radians = 0.017453292519943295;
    const std::tuple<const char*, double, NumberRange, double, double> cases[] = {
        {"as it stands", 1, {0, 100}, 42.5, 42.5},
        {"feet", 3.2808398950131233, {-1e6, 1e6}, 328.08398950131233, 100},
        {"too high", 1, {0, 100}, 150, 100},
        {"too low", 1, {0, 100}, -3, 0},
        {"the rounded end of a range", radians, {-180, 180}, 3.1416, 180},
        {"density", kFogDensityShown, {0, 1}, 10, 0.0001},
        {"too dense", kFogDensityShown, {0, 1}, 100'001, 1},
    };
    for (const auto& [what, factor, range, entered, kept] : cases) {
        EditedNumber number(factor, range);
        number.Load(range.least);
        number.Enter(entered);
        EXPECT_NEAR(number.Kept(), kept, 1e-9) << what;
    }
    EditedNumber number(1, {0, 100});
    number.Load(7);
    number.Enter(std::numeric_limits<double>::quiet_NaN());
    number.Enter(std::numeric_limits<double>::infinity());
    EXPECT_EQ(number.Kept(), 7);
}

TEST(EditedNumber, ATenThousandthShowsAsTen) {
    EditedNumber density(kFogDensityShown, {0, 1});
    density.Load(0.0001F);
    EXPECT_NEAR(density.Shown(), 10, 1e-4);
    EXPECT_EQ(density.ShownRange().most, 100'000);
}

TEST(EditedNumber, CoarseUnitsShowMoreDecimals) {
    const std::tuple<double, int> cases[] = {{1, 2},       {3.28, 2}, {3.6, 2},   {0.001, 5},
                                             {0.01745, 4}, {1e5, 2},  {1e-12, 6}, {0, 2}};
    for (const auto& [factor, decimals] : cases) EXPECT_EQ(DecimalsFor(factor), decimals) << factor;
}

TEST(EffectsRules, EachControlFollowsItsSwitches) {
    const EffectsEnabled none;
    EffectsEnabled subterrain, sun, fog, ownColor, exponential;
    subterrain.subterrainColor = subterrain.subterrainOpacity = true;
    sun.sunElevation = sun.sunAzimuth = true;
    fog.useBackgroundColor = fog.fogTypes = fog.fogStart = fog.fogEnd = true;
    ownColor = exponential = fog;
    ownColor.fogColor = true;
    exponential.fogStart = exponential.fogEnd = false;
    exponential.fogDensity = true;
    const std::tuple<const char*, EffectsChoice, EffectsEnabled> cases[] = {
        {"all off", {}, none},
        {"off, whatever the fog's own switches say",
         {.useBackgroundColor = true, .fogType = 1},
         none},
        {"subterrain", {.subterrain = true}, subterrain},
        {"sun", {.sun = true}, sun},
        {"fog of the background's colour", {.fog = true, .useBackgroundColor = true}, fog},
        {"fog of its own colour", {.fog = true}, ownColor},
        {"exponential", {.fog = true, .useBackgroundColor = true, .fogType = 1}, exponential},
        {"exponential two", {.fog = true, .useBackgroundColor = true, .fogType = 2}, exponential},
    };
    for (const auto& [what, choice, enabled] : cases) {
        EXPECT_TRUE(EnabledEffects(choice) == enabled) << what;
    }
}

TEST(HeightRules, TheOtherLimitFollowsIfItIsInUse) {
    using enum HeightChange;
    const std::tuple<const char*, HeightLimits, HeightChange, HeightLimits> cases[] = {
        {"minimum rises above", {300, 200, true, true}, Minimum, {300, 300, true, true}},
        {"maximum falls below", {100, 50, true, true}, Maximum, {50, 50, true, true}},
        {"in order", {100, 200, true, true}, Minimum, {100, 200, true, true}},
        {"equal", {100, 100, true, true}, Maximum, {100, 100, true, true}},
        {"maximum not in use", {300, 200, true, false}, Minimum, {300, 200, true, false}},
        {"minimum not in use", {100, 50, false, true}, Maximum, {100, 50, false, true}},
        {"maximum switched on", {300, 200, true, true}, UseMaximum, {200, 200, true, true}},
        {"minimum switched on", {300, 200, true, true}, UseMinimum, {300, 300, true, true}},
        {"minimum switched off", {300, 200, false, true}, UseMinimum, {300, 200, false, true}},
    };
    for (const auto& [what, before, changed, after] : cases) {
        EXPECT_TRUE(HoldInOrder(before, changed) == after) << what;
    }
}

TEST(TerrainRules, KeepingPutsAllThreeInForceAndWritesThem) {
    KeepTerrainDetail({true, 40, 33});
    EXPECT_EQ(TerrainModel::Quality(), 40);
    EXPECT_EQ(settings::TerrainChoice.Get(), 2);
    double quality = 0, rate = 0;
    EXPECT_TRUE(_iniRead("TerrainQuality", quality) && _iniRead("FrameRate", rate));
    EXPECT_EQ(quality, 40);
    EXPECT_EQ(rate, 33);

    TerrainModel::SetQuality(12, false);  // as the frame rate moved it
    const TerrainDetail stored = StoredTerrainDetail();
    EXPECT_TRUE(stored.holdFrameRate);
    EXPECT_EQ(stored.quality, 40) << "the user's quality, not the one in force";

    KeepTerrainDetail({false, 120, 0.5});
    EXPECT_EQ(TerrainModel::Quality(), 100);
    EXPECT_EQ(TerrainModel::FrameRate(), 33) << "a rate below 1 is refused";
    EXPECT_EQ(settings::TerrainChoice.Get(), 1);
}

TEST(TerrainRules, AnUnknownChoiceIsWrittenBackAsFixedQuality) {
    KeepTerrainDetail({false, 85, 20});
    _iniWrite("TerrainChoice", std::int32_t{7});
    EXPECT_FALSE(StoredTerrainDetail().holdFrameRate);
    std::int32_t choice = 0;
    EXPECT_TRUE(_iniRead("TerrainChoice", choice));
    EXPECT_EQ(choice, 1);
}

TEST(LocatorRules, AMapThatTurnsWithTheViewerHasOnlyTheArrow) {
    EXPECT_THAT(LocatorKinds(true), ElementsAre(LocatorKind::ViewerCenter, LocatorKind::Arrow));
    EXPECT_THAT(LocatorKinds(false), ElementsAre(LocatorKind::Arrow));
}

}  // namespace
}  // namespace tarnvale
