#include "graphics/opengl3/alpharange.h"

#include <gtest/gtest.h>

#include <tuple>

namespace tarnvale {
namespace {

// A picture's alpha has 256 steps; 0.5 lies between 127 and 128 and counts as the upper one.
TEST(AlphaRange, ComparesByTheStepsOfAPicture) {
    using enum AlphaFunction;
    constexpr float kStep = 1.0F / 255.0F;
    const std::tuple<AlphaFunction, float, float, bool> cases[] = {
        {Equal, 1.0F, 1.0F - 0.4F * kStep, true},
        {Equal, 1.0F, 1.0F - 0.6F * kStep, false},
        {NotEqual, 1.0F, 1.0F - 0.4F * kStep, false},
        {Less, 0.5F, 127 * kStep, true},
        {Less, 0.5F, 128 * kStep, false},
        {LessEqual, 0.5F, 128 * kStep, true},
        {LessEqual, 0.5F, 129 * kStep, false},
        {Greater, 0.5F, 128 * kStep, false},
        {Greater, 0.5F, 129 * kStep, true},
        {GreaterEqual, 0.5F, 128 * kStep, true},
        {GreaterEqual, 0.5F, 127 * kStep, false},
        {Greater, 7.0F, 1.0F, false},
        {GreaterEqual, -3.0F, 0.0F, true},
        {Never, 0.0F, 1.0F, false},
        {Always, 0.0F, 0.0F, true},
    };
    for (const auto& [function, reference, alpha, passes] : cases) {
        EXPECT_EQ(RangeOf(function, reference).Passes(alpha), passes)
            << static_cast<int>(function) << " " << reference << " " << alpha;
    }
    EXPECT_TRUE(RangeOf(GreaterEqual, 0.0F).PassesAll());
    EXPECT_FALSE(RangeOf(Never, 0.0F).PassesAll());
    EXPECT_TRUE(RangeOf(Equal, 1.0F).PassesOpaqueOnly());
    EXPECT_FALSE(RangeOf(GreaterEqual, 0.99F).PassesOpaqueOnly());
    EXPECT_FALSE(RangeOf(NotEqual, 1.0F).PassesOpaqueOnly());
}

}  // namespace
}  // namespace tarnvale
