#include "simulator/optionrules.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>

namespace tarnvale {
namespace {

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

}  // namespace
}  // namespace tarnvale
