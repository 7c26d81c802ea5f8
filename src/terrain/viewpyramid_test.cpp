#include "terrain/viewpyramid.h"

#include <gtest/gtest.h>

#include <tuple>

namespace tarnvale {
namespace {

// Eye at the origin looking along +y, z up: at 90 degrees the right plane is x = y.
ViewPyramid LookingNorth(float fovDegrees = 90.0F, float aspect = 1.0F) {
    ViewPyramid pyramid;
    pyramid.Build({0, 0, 0}, {0, 10, 0}, {0, 0, 2}, fovDegrees, aspect);
    return pyramid;
}

TEST(ViewPyramid, OutCodeNamesEverySideThePointIsBeyond) {
    const std::tuple<const char*, Vec3f, int> cases[] = {
        {"straight ahead", {0, 5, 0}, 0},
        {"on the left plane", {-5, 5, 0}, 0},
        {"right", {6, 5, 0}, ViewPyramid::kRight},
        {"low", {0, 5, -6}, ViewPyramid::kBottom},
        {"up and right", {9, 5, 9}, ViewPyramid::kTop | ViewPyramid::kRight},
        {"low and left", {-9, 5, -9}, ViewPyramid::kBottom | ViewPyramid::kLeft},
        {"straight behind", {0, -5, 0}, 15},
    };
    for (const auto& [what, point, sides] : cases) {
        EXPECT_EQ(LookingNorth().OutCode(point), sides) << what;
    }
}

TEST(ViewPyramid, OnlyTheHeightFollowsTheFieldOfView) {
    EXPECT_EQ(LookingNorth(30.0F).OutCode({4.9F, 5, 0}), 0);
    EXPECT_EQ(LookingNorth(30.0F).OutCode({0, 5, 4.9F}), ViewPyramid::kTop);
    EXPECT_EQ(LookingNorth(30.0F, 2.0F).OutCode({9.9F, 5, 1.3F}), 0);  // tan 15 degrees is 0.268
}

// The plane is 2.12 from (8, 5, 0). Beyond two planes only the edge counts: the
// edge from the eye through (1, 1, 1) is 2.45 from (11, 8, 11), and both planes 2.12.
TEST(ViewPyramid, SphereIsMeasuredToThePlaneOrToTheEdgeBetweenTwo) {
    const std::tuple<const char*, Vec3f, float, bool> cases[] = {
        {"inside, no size", {0, 5, 0}, 0.0F, true},
        {"on a plane, no size", {5, 5, 0}, 0.0F, true},
        {"outside, no size", {6, 5, 0}, 0.0F, false},
        {"right, too small", {8, 5, 0}, 2.1F, false},
        {"right, large enough", {8, 5, 0}, 2.2F, true},
        {"left, too small", {-8, 5, 0}, 2.1F, false},
        {"left, large enough", {-8, 5, 0}, 2.2F, true},
        {"below, large enough", {0, 5, -8}, 2.2F, true},
        {"upper right, reaches the planes alone", {11, 8, 11}, 2.3F, false},
        {"upper right, reaches the edge", {11, 8, 11}, 2.6F, true},
        {"lower left, reaches the planes alone", {-11, 8, -11}, 2.3F, false},
        {"lower left, reaches the edge", {-11, 8, -11}, 2.6F, true},
        {"lower right, reaches the edge", {11, 8, -11}, 2.6F, true},
        {"upper left, reaches the edge", {-11, 8, 11}, 2.6F, true},
    };
    for (const auto& [what, centre, radius, touches] : cases) {
        EXPECT_EQ(LookingNorth().TouchesSphere(centre, radius * radius), touches) << what;
    }
}

TEST(ViewPyramid, SegmentIsCutAtBothEnds) {
    Vec3f a = {-20, 10, 0};
    Vec3f b = {20, 10, 0};
    ASSERT_TRUE(LookingNorth().ClipSegment(a, b));
    EXPECT_NEAR(a.x, -10, 1e-4);
    EXPECT_NEAR(b.x, 10, 1e-4);
    EXPECT_EQ(a.y, 10);

    Vec3f inside = {0, 5, 0};
    Vec3f outside = {0, 5, 50};
    ASSERT_TRUE(LookingNorth().ClipSegment(inside, outside));
    EXPECT_EQ(inside, (Vec3f{0, 5, 0}));
    EXPECT_NEAR(outside.z, 5, 1e-4);
}

TEST(ViewPyramid, SegmentThatMissesStaysAsItIs) {
    // Right of the volume to behind it, then past its corner on the upper right.
    const std::pair<Vec3f, Vec3f> cases[] = {{{9, 5, 0}, {9, -5, 0}}, {{12, 5, 0}, {0, 5, 12}}};
    for (const auto& [from, to] : cases) {
        Vec3f a = from;
        Vec3f b = to;
        const bool left = LookingNorth().ClipSegment(a, b);
        EXPECT_FALSE(left);
        EXPECT_EQ(a, from);
        EXPECT_EQ(b, to);
    }
}

}  // namespace
}  // namespace tarnvale
