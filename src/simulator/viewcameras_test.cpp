#include "simulator/viewcameras.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "base/settings.h"
#include "simulator/fakes_for_test.h"
#include "simulator/layerplacement.h"
#include "simulator/mapgrid.h"

namespace tarnvale {
namespace {

MATCHER_P2(IsNear, wanted, tolerance, "") {
    *result_listener << arg.x << " " << arg.y << " " << arg.z;
    return std::abs(arg.x - wanted.x) <= tolerance && std::abs(arg.y - wanted.y) <= tolerance &&
           std::abs(arg.z - wanted.z) <= tolerance;
}

CameraSurroundings Around() {
    CameraSurroundings around;
    around.sceneBox.AddPoint(0, -500);
    around.sceneBox.AddPoint(1000, 0);
    around.sceneBox.zMin = 0;
    around.sceneBox.zMax = 300;
    around.exaggeration = 2;
    around.groundUnderViewer = 30;
    return around;
}

// At (100, -200, 400), heading east along the level, 50 to the look-at point.
Viewer LookingEast() {
    Viewer viewer;
    viewer.PlaceByLookAt({100, -200, 400}, {150, -200, 400});
    return viewer;
}

TEST(ViewCameras, CustomViewYawsThenRollsThenPitches) {
    ViewCameras cameras;
    RenderCamera camera;
    cameras.custom.yaw = 90;  // to the left
    cameras.Compute(View::kCustom, LookingEast(), Around(), camera);
    EXPECT_THAT(camera.lookAt, IsNear(Vec3f{100, -150, 400}, 1e-3F));
    cameras.custom.pitch = 30;  // up from there
    cameras.custom.fieldOfView = 20;
    cameras.Compute(View::kCustom, LookingEast(), Around(), camera);
    EXPECT_THAT(camera.lookAt, IsNear(Vec3f{100, -200 + 43.3013F, 425}, 1e-3F));
    EXPECT_THAT(camera.up, IsNear(Vec3f{0, -0.5F, 0.86603F}, 1e-4F));
    EXPECT_EQ(camera.fieldOfView, 20);
    cameras.custom = {0, 0, 90, 0, 45};
    cameras.Compute(View::kCustom, LookingEast(), Around(), camera);
    EXPECT_THAT(camera.up, IsNear(Vec3f{0, -1, 0}, 1e-4F));
}

TEST(ViewCameras, MapShowsTheWholeOrItsShare) {
    struct Case {
        const char* what;
        bool northUp;
        float aspect, extents, north;
        Vec3f eye, up;
    };
    const float tangent = 1.02F / (2 * 0.41421356F);
    const Case cases[] = {
        {"as wide as the window", true, 2, 100, 0, {500, -250, 500 * tangent}, {0, 1, 0}},
        {"held by its width", true, 1, 100, 0, {500, -250, 1000 * tangent}, {0, 1, 0}},
        {"turned by 90 degrees", true, 2, 100, 90, {500, -250, 1000 * tangent}, {-1, 0, 0}},
        {"a tenth, the viewer's place", true, 2, 10, 0, {100, -200, 50 * tangent}, {0, 1, 0}},
        {"a fifth, held 35 inside", true, 2, 20, 0, {100, -200, 100 * tangent}, {0, 1, 0}},
        {"viewer up", false, 2, 100, 0, {500, -250, 1118.034F * tangent}, {1, 0, 0}},
        {"viewer up in a narrow window",
         false,
         0.5F,
         100,
         0,
         {500, -250, 2236.068F * tangent},
         {1, 0, 0}},
    };
    const bool northWas = settings::MapViewOrientationNorth.Get();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        settings::MapViewOrientationNorth.SetUnsaved(c.northUp);
        settings::MapExtents = c.extents;
        CameraSurroundings around = Around();
        around.aspect = c.aspect;
        around.northAtCentre = around.northAtViewer = c.north;
        RenderCamera camera;
        ViewCameras{}.Compute(View::kMap, LookingEast(), around, camera);
        EXPECT_THAT(camera.eye, IsNear(c.eye, c.eye.z * 1e-4F));
        EXPECT_THAT(camera.up, IsNear(c.up, 1e-5F));
        EXPECT_EQ(camera.lookAt, (Vec3f{camera.eye.x, camera.eye.y, 0}));
    }
    settings::MapExtents = 20;  // 100 high: 35 from every edge
    settings::MapViewOrientationNorth.SetUnsaved(true);
    CameraSurroundings around = Around();
    around.aspect = 2;
    Viewer viewer;
    viewer.PlaceByLookAt({-80, -499, 400}, {50, -200, 400});
    RenderCamera camera;
    ViewCameras{}.Compute(View::kMap, viewer, around, camera);
    EXPECT_THAT(camera.eye, IsNear(Vec3f{35, -465, 100 * tangent}, 0.1F));
    settings::MapExtents = 100;
    settings::MapViewOrientationNorth.SetUnsaved(northWas);
}

// Whatever the viewer does, a picture can be built: eye and target differ, up isn't along the line.
TEST(ViewCameras, DegenerateViewersStillGiveAPicture) {
    Viewer viewers[3];
    viewers[0].PlaceByOrientation({5, 5, 60},
                                  {-90, 0, 0});  // vertical view: forward has no level part
    viewers[1].PlaceByOrientation({1e7F, 1e7F, 60}, {90, 0, 0});
    viewers[2].PlaceByLookAt({5, 5, 60}, {5, 5, 60});
    ViewCameras cameras;
    cameras.SetTarget(View::kFirstPoi, Vec3f{5, 5, 30});  // where the viewer is, at exaggeration 2
    cameras.SetTarget(View::kFirstPoi + 1, Vec3f{5, 5, 99});
    for (const Viewer& viewer : viewers) {
        for (int view = 0; view < View::kCount; ++view) {
            RenderCamera camera;
            CameraSurroundings around = Around();
            cameras.Compute(view, viewer, around, camera);
            const Vec3f along = Normalized(camera.lookAt - camera.eye);
            EXPECT_NEAR(Length(along), 1, 1e-5) << view;
            EXPECT_GT(Length(Cross(along, Normalized(camera.up))), 1e-6) << view;
        }
    }
}

class CountingSink final : public TerrainSink {
public:
    void DrawTerrainMesh(TerrainPrimitive& primitive) override {
        ++strips;
        EXPECT_EQ(primitive.kind, PrimitiveKind::Strip);
        perStrip = primitive.vertices.Count();
        if (perStrip == 0) return;
        if (strips == 1) first = primitive.vertices[0];
        last = primitive.vertices[perStrip - 1];
    }
    int strips = 0;
    std::uint32_t perStrip = 0;
    Vec3f first, last;
};

TEST(MapGrid, ShowsWhatTheWindowSeesInStepsThatFollowTheHeight) {
    fakes::Log log;
    const std::map<std::string, fakes::FakeTerrainSpec> specs{{"land", {}}};  // 65 x 65 cells of 10
    fakes::FakeTerrain terrain(log, specs);
    TerrainPrimitive scratch;
    CountingSink closed;
    EXPECT_EQ(DrawMapGrid(terrain, {325, -325, 650}, 100, 100, scratch, closed),
              StatusCode::BadState);
    ASSERT_TRUE(terrain.Open(fakes::Entry("land", {}).dem).Good());

    struct Case {
        const char* what;
        Vec3f eye;
        int width, height, strips;
        std::uint32_t perStrip;
        Vec3f first, last;
    };
    const Case cases[] = {
        // 650 / 650 = 1: step 64 / 2 = 32
        {"the whole", {325, -325, 650}, 100, 100, 2, 8, {5, -5, 0}, {645, -645, 0}},
        // 6.5 rises to 8: step 64 / 16 = 4, columns 27.5 to 37.5 widen to 24 to 40
        {"a part", {325, -325, 100}, 100, 100, 4, 16, {245, -245, 0}, {405, -405, 0}},
        {"a wide window", {325, -325, 100}, 200, 100, 4, 24, {205, -245, 0}, {445, -405, 0}},
        {"a corner", {0, 0, 100}, 100, 100, 2, 8, {5, -5, 0}, {85, -85, 0}},
        // 325 lies above 256 and isn't rounded: 2 x 325 > 64, so one cell covers all
        {"too near for steps", {325, -325, 2}, 100, 100, 1, 4, {5, -5, 0}, {645, -645, 0}},
        {"beside the terrain", {5000, -325, 100}, 100, 100, 4, 0, {}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CountingSink sink;
        ASSERT_TRUE(DrawMapGrid(terrain, c.eye, c.width, c.height, scratch, sink).Good());
        if (c.perStrip == 0) {
            EXPECT_TRUE(sink.strips == 0 || sink.perStrip == 0);
            continue;
        }
        EXPECT_EQ(sink.strips, c.strips);
        EXPECT_EQ(sink.perStrip, c.perStrip);
        EXPECT_THAT(sink.first, IsNear(c.first, 1e-3F));
        EXPECT_THAT(sink.last, IsNear(c.last, 1e-3F));
    }
}

// The second layer has cells of 5 in a grid that is turned by 90 degrees and starts 100 to the
// east.
TEST(LayerPlacement, FitsTheSecondLayerIntoTheFirstsScene) {
    fakes::Log log;
    std::map<std::string, fakes::FakeTerrainSpec> specs;
    specs["first"].system = specs["second"].system = "EPSG:32633";
    specs["first"].grid = {500000, 10, 0, 5000000, 0, -10};
    specs["second"].grid = {500100, 0, 5, 5000000, -5, 0};
    specs["second"].cell = 5;
    fakes::FakeTerrain first(log, specs), second(log, specs);
    ASSERT_TRUE(first.Open(fakes::Entry("first", {}).dem).Good());
    ASSERT_TRUE(second.Open(fakes::Entry("second", {}).dem).Good());
    const LayerPlacement placement(second, first);
    // 20 columns east in its own scene are 100 south on the map; 30 rows down are 150 east.
    const Vec3f own{100, -150, 70};
    EXPECT_THAT(placement.ToScene(own), IsNear(Vec3f{250, -100, 70}, 1e-2F));
    EXPECT_THAT(placement.ToLayer({250, -100, 70}), IsNear(own, 1e-2F));
    const auto& m = placement.Matrix();
    EXPECT_NEAR(own.x * m[0] + own.y * m[4] + own.z * m[8] + m[12], 250, 1e-3);
    EXPECT_NEAR(own.x * m[1] + own.y * m[5] + own.z * m[9] + m[13], -100, 1e-3);
    EXPECT_NEAR(own.x * m[2] + own.y * m[6] + own.z * m[10] + m[14], 70, 1e-3);
}

}  // namespace
}  // namespace tarnvale
