#include "terrain/qtmorphs.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <limits>
#include <random>

#include "base/allocations_for_test.h"
#include "terrain/testterrain.h"

namespace tarnvale {
namespace {

using testing::Viewer;

ElevationSamples Flat(int columns, int rows, std::int16_t elevation) {
    ElevationSamples samples;
    samples.columns = columns;
    samples.rows = rows;
    samples.values.assign(testing::SampleAt(0, rows, columns), elevation);
    samples.cellWidth = samples.cellHeight = 10.0F;
    return samples;
}

class Terrain : public ::testing::Test {
protected:
    void SetUp() override {
        TerrainModel::SetQuality(85.0, false);
        TerrainModel::SetVerticalScale(1.0F);
    }
    void TearDown() override { SetUp(); }

    QuadtreeMorphTerrain terrain_;
};

TEST_F(Terrain, UpdateRefusesWhatItCantDraw) {
    Viewer viewer = {.eye = {40, 460, 0}, .lookAt = {40, -40, 0}};
    EXPECT_EQ(viewer.Update(terrain_).Code(), StatusCode::BadState);
    ASSERT_TRUE(testing::OpenOn(terrain_, Flat(9, 9, 0)));
    ASSERT_TRUE(viewer.Update(terrain_).Good());
    for (const auto& [fov, width, height] : {std::tuple(0.0F, 10, 10),
                                             {-5.0F, 10, 10},
                                             {45.0F, 0, 10},
                                             {45.0F, 10, 0},
                                             {std::nanf(""), 10, 10}}) {
        Viewer bad = viewer;
        bad.fieldOfView = fov;
        bad.width = width;
        bad.height = height;
        EXPECT_EQ(bad.Update(terrain_).Code(), StatusCode::BadState)
            << fov << ' ' << width << ' ' << height;
        EXPECT_EQ(terrain_.Selection().size(), 1U) << "the last selection is lost";
    }
    terrain_.Close();
    EXPECT_TRUE(terrain_.Selection().empty());
    EXPECT_FALSE(terrain_.IsOpen());
}

TEST_F(Terrain, ToleranceFollowsTheQuality) {
    ASSERT_TRUE(testing::OpenOn(terrain_, Flat(9, 9, 0)));
    const Viewer viewer = {.eye = {40, 460, 0}, .lookAt = {40, -40, 0}};
    for (const auto& [quality, tolerance] :
         {std::pair(100.0, 1.0F), {85.0, 4.0F}, {0.0, 21.0F}, {120.0, 1.0F}, {-3.0, 21.0F}}) {
        TerrainModel::SetQuality(quality, false);
        ASSERT_TRUE(viewer.Update(terrain_).Good());
        EXPECT_FLOAT_EQ(terrain_.PixelTolerance(), tolerance) << quality;
    }
}

// The only node of a flat terrain, 80 metres square about (40, -40). Its errors are 0.33,
// 1, 2.67, 5.34. Seen from 500 metres away, 720 / (500 x 0.785) = 1.8335 pixels cover a metre: a
// half diagonal of 56.57 metres covers 103.7, and the 4 pixels allowed are 2.1816 metres, which is
// 0.7075 on the way from 1 to 2.67.
TEST_F(Terrain, NodeIsMeasuredAsSeen) {
    ASSERT_TRUE(testing::OpenOn(terrain_, Flat(9, 9, 0)));
    Viewer viewer = {.eye = {40, 460, 0}, .lookAt = {40, -40, 0}};
    ASSERT_TRUE(viewer.Update(terrain_).Good());
    ASSERT_EQ(terrain_.Selection().size(), 1U);
    const SelectedNode& node = terrain_.Selection()[0];
    EXPECT_NEAR(node.radius, 103.72, 0.01);
    EXPECT_NEAR(node.lambda, 1.7075, 0.0005);
    EXPECT_EQ(node.key, node.lambda);
    EXPECT_EQ(node.step, 1);
    EXPECT_NEAR(node.fraction, 0.7075, 0.0005);

    // From half the height at half the distance only sin 30 degrees is seen of a height.
    viewer.eye = {40, -40 + 250, 433.0127F};
    ASSERT_TRUE(viewer.Update(terrain_).Good());
    EXPECT_NEAR(terrain_.Selection()[0].lambda, 2 + (4.3632 - 2.67) / 2.67, 0.001);

    // Straight from above no height is seen at all: one cell.
    viewer = {.eye = {40, -40, 300}, .lookAt = {40, -40, 0}, .up = {0, 1, 0}};
    ASSERT_TRUE(viewer.Update(terrain_).Good());
    EXPECT_EQ(terrain_.Selection()[0].key, 3.0F);
}

TEST_F(Terrain, OnlyWhatIsWantedAndSeenTakesPart) {
    ASSERT_TRUE(testing::OpenOn(terrain_, Flat(65, 65, 0)));
    Viewer viewer = {.eye = {320, 90000, 5}, .lookAt = {320, -320, 0}};
    viewer.region = {8, 16, 15, 23};  // touches the nodes left and above, not those right and below
    ASSERT_TRUE(viewer.Update(terrain_).Good());
    EXPECT_EQ(terrain_.Selection().size(), 4U);
    viewer.region = {70, 0, 80, 64};
    ASSERT_TRUE(viewer.Update(terrain_).Good());
    EXPECT_TRUE(terrain_.Selection().empty());

    // Looking level over the terrain: only what is lifted by 5000 metres comes into view.
    viewer = {.eye = {320, 2000, 5000}, .lookAt = {320, 0, 5000}};
    ASSERT_TRUE(viewer.Update(terrain_).Good());
    EXPECT_TRUE(terrain_.Selection().empty());
    terrain_.SetElevationOffsets({0.0F, 5000.0F});
    ASSERT_TRUE(viewer.Update(terrain_).Good());
    EXPECT_FALSE(terrain_.Selection().empty());
    terrain_.SetElevationOffsets({});
    ASSERT_TRUE(viewer.Update(terrain_).Good());
    EXPECT_TRUE(terrain_.Selection().empty());
}

TEST_F(Terrain, NodesWithoutAnySampleAreLeftOut) {
    ElevationSamples samples = Flat(65, 65, 7);
    samples.nullValue = testing::kNull;
    for (int y = 0; y <= 16; ++y) {
        for (int x = 0; x <= 16; ++x) samples.values[testing::SampleAt(x, y, 65)] = testing::kNull;
    }
    ASSERT_TRUE(testing::OpenOn(terrain_, samples));
    const Viewer far = {.eye = {320, 90000, 5}, .lookAt = {320, -320, 0}};
    ASSERT_TRUE(far.Update(terrain_).Good());
    EXPECT_EQ(terrain_.Selection().size(), 60U);
}

TEST_F(Terrain, ElevationsAreHeldIntoTheGrid) {
    ElevationSamples samples = Flat(65, 65, 0);
    samples.values[0] = 11;
    samples.values[64] = 22;
    samples.values[66] = testing::kNull;
    samples.values[67] = 5;
    samples.values.back() = -44;
    samples.nullValue = testing::kNull;
    ASSERT_TRUE(testing::OpenOn(terrain_, samples));
    EXPECT_EQ(terrain_.GetElevation(-5, -5), 11);
    EXPECT_EQ(terrain_.GetElevation(1000, 0), 22);
    EXPECT_EQ(terrain_.GetElevation(64, 1000), -44);
    EXPECT_EQ(terrain_.GetElevation(1, 1), -44) << "a null sample is as low as the terrain gets";
    EXPECT_EQ(terrain_.MinimumElevation(), -44);
    EXPECT_EQ(terrain_.MaximumElevation(), 22);
    EXPECT_EQ(terrain_.GetDisplayHeight(-100, 100), 11);
    EXPECT_EQ(terrain_.GetDisplayHeight(14.9F, -14.9F), -44);
    EXPECT_EQ(terrain_.GetDisplayHeight(15.0F, -10.0F), 5);  // halfway: the later sample
}

// The sea lies on the floor of all elevations, or on their ceiling where one hole is deeper, or
// both.
TEST_F(Terrain, TheSeaIsMetAtTheFirstTouchFromWhereverItIsSeen) {
    std::mt19937 random(4);
    const auto between = [&random](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    for (const int corner : {3, 400, -400}) {
        ElevationSamples samples = Flat(65, 65, 3);
        samples.values[0] = static_cast<std::int16_t>(corner);
        ASSERT_TRUE(testing::OpenOn(terrain_, samples));
        for (int ray = 0; ray < 2000; ++ray) {
            TerrainModel::SetVerticalScale(static_cast<float>(between(0.3, 3.0)));
            const double sea = 3.0 * static_cast<double>(TerrainModel::VerticalScale());
            const Vec3d eye = {between(2, 62), -between(2, 62), sea + between(0.01, 900)};
            const Vec3d target = {between(2, 62), -between(2, 62), sea};
            const double part = between(0.1, 0.9);  // the second point need not lie on the sea
            const Vec3d second = {eye.x + part * (target.x - eye.x),
                                  eye.y + part * (target.y - eye.y),
                                  eye.z + part * (target.z - eye.z)};
            Vec3d hit;
            ASSERT_TRUE(terrain_.Intersect(eye, second, {}, hit)) << corner << ' ' << ray;
            ASSERT_NEAR(hit.x, target.x, 1e-6);
            ASSERT_NEAR(hit.y, target.y, 1e-6);
            ASSERT_NEAR(hit.z, 3.0, 1e-5);
        }
    }
}

TEST_F(Terrain, RaysMeetTheGround) {
    // Low ground, and from column 32 on a plateau.
    ElevationSamples samples = Flat(65, 65, 0);
    for (std::size_t i = 0; i < samples.values.size(); ++i) {
        if (i % 65 >= 32) samples.values[i] = 100;
    }
    ASSERT_TRUE(testing::OpenOn(terrain_, samples));
    TerrainModel::SetVerticalScale(2.0F);
    struct Case {
        const char* what;
        Vec3d a, b;
        bool meets;
        Vec3d hit;
    };
    constexpr double inf = std::numeric_limits<double>::infinity();
    const Case cases[] = {
        {"level against the cliff", {5, -10, 100}, {6, -10, 100}, true, {30.5, -10, 50}},
        {"straight down, no scale", {10, -10, 500}, {10, -10, 400}, true, {11, -11, 0}},
        {"straight down on the plateau", {40, -10, 500}, {40, -10, 400}, true, {41, -11, 100}},
        {"straight down beside the grid", {-1, -10, 500}, {-1, -10, 400}, false, {}},
        {"from beside the grid", {-10, -10, 260}, {0, -10, 240}, true, {31, -10, 89}},
        {"upward", {10, -10, 300}, {20, -10, 400}, false, {}},
        {"over the far side", {60, -10, 300}, {70, -10, 290}, false, {}},
        {"under the plateau and on", {40, -10, 50}, {50, -10, 50}, false, {}},
        {"nowhere", {inf, -10, 50}, {50, -10, 50}, false, {}},
        {"no direction", {10, -10, 5}, {10, -10, 5}, true, {11, -11, 0}},
    };
    for (const Case& c : cases) {
        Vec3d hit;
        ASSERT_EQ(terrain_.Intersect(c.a, c.b, {}, hit), c.meets) << c.what;
        if (!c.meets) continue;
        EXPECT_NEAR(hit.x, c.hit.x, 1.0) << c.what;
        EXPECT_NEAR(hit.y, c.hit.y, 1e-9) << c.what;
        EXPECT_NEAR(hit.z, c.hit.z, 2.0) << c.what;
    }
    Vec3d hit;
    ASSERT_TRUE(terrain_.Intersect(cases[0].a, cases[0].b, {}, hit));
    EXPECT_NEAR(hit.x, 30.5, 1e-9);
    terrain_.Close();
    EXPECT_FALSE(terrain_.Intersect(cases[0].a, cases[0].b, {}, hit));
}

TEST_F(Terrain, PointIsPickedOnTheGroundOrOnThePlane) {
    ASSERT_TRUE(testing::OpenOn(terrain_, Flat(65, 65, 20)));
    Vec3d point = {-1, -1, -1};
    ASSERT_TRUE(terrain_.PickPoint({300, -100, 520}, {301, -100, 510}, point, false));
    EXPECT_NEAR(point.x, 35, 1e-4);
    EXPECT_NEAR(point.y, -10, 1e-4);
    EXPECT_NEAR(point.z, 20, 1e-4);
    EXPECT_FALSE(terrain_.PickPoint({300, -100, 520}, {310, -100, 530}, point, false));
    // Beyond the first point, as far as the plane is away from it.
    ASSERT_TRUE(terrain_.PickPoint({300, -100, 50}, {200, -100, 25}, point, true));
    EXPECT_NEAR(point.x, 50, 1e-4);
    EXPECT_NEAR(point.z, 20, 1e-4);
    EXPECT_FALSE(terrain_.PickPoint({100, -100, 50}, {200, -100, 25}, point, true))
        << "beside the terrain";
    // Level with the plane: no such place, and nothing to divide by.
    point = {7, 7, 7};
    std::feclearexcept(FE_ALL_EXCEPT);
    EXPECT_FALSE(terrain_.PickPoint({300, -100, 50}, {200, -100, 50}, point, true));
    EXPECT_EQ(std::fetestexcept(FE_DIVBYZERO), 0);
    EXPECT_EQ(point, (Vec3d{7, 7, 7}));
}

TEST_F(Terrain, WithoutASystemNorthIsUp) {
    ASSERT_TRUE(testing::OpenOn(terrain_, Flat(65, 65, 0)));
    EXPECT_EQ(terrain_.GetNorthAngle(32, 32), 0.0F);
}

TEST_F(Terrain, SteadyFrameAllocatesNothing) {
    ASSERT_TRUE(testing::OpenOn(terrain_, testing::MakeLandscape({.columns = 513, .rows = 513})));
    class NullSink final : public TerrainSink {
        void DrawTerrainMesh(TerrainPrimitive&) override {}
    } sink;
    const auto fly = [&] {
        for (int frame = 0; frame < 60; ++frame) {
            Viewer viewer;
            viewer.eye = {2500, -5000 + 60.0F * static_cast<float>(frame), 500};
            viewer.lookAt = viewer.eye + Vec3f{10, 100, -20};
            const bool good = viewer.Update(terrain_).Good() &&
                              terrain_.Draw(sink, testing::kEverywhere).Good() &&
                              terrain_.Draw(sink, {0, 0, 100, 100}).Good();
            if (!good) return false;
            (void)terrain_.GetDisplayHeight(viewer.eye.x, viewer.eye.y);
        }
        return true;
    };
    ASSERT_TRUE(fly());
    const std::size_t before = Allocations();
    ASSERT_TRUE(fly());
    EXPECT_EQ(Allocations(), before);
}

TEST_F(Terrain, HugeNumbersDoNoHarm) {
    ASSERT_TRUE(testing::OpenOn(terrain_, testing::MakeLandscape({})));
    testing::CapturingSink sink;
    constexpr float big = std::numeric_limits<float>::max();
    for (const Vec3f eye : {Vec3f{big, -big, big}, Vec3f{std::nanf(""), 0, 0}, Vec3f{80, -80, 0}}) {
        const Viewer viewer = {.eye = eye, .lookAt = eye};
        (void)viewer.Update(terrain_).Good();
        ASSERT_TRUE(terrain_.Draw(sink, testing::kEverywhere).Good());
        (void)terrain_.GetDisplayHeight(eye.x, eye.y);
    }
}

}  // namespace
}  // namespace tarnvale
