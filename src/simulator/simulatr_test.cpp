#include "simulator/simulatr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "base/settings.h"
#include "simulator/fakes_for_test.h"

namespace tarnvale {
namespace {

using fakes::Entry;
using fakes::Log;
using testing::ElementsAre;

class SimulatorTest : public testing::Test, protected fakes::World {
protected:
    SimulatorTest() { SwitchOff(); }
    ~SimulatorTest() override {
        SwitchOff();
        settings::Compass.SetUnsaved(true);
    }
    static void SwitchOff() {
        settings::Wireframe.SetUnsaved(false);
        settings::TerrainChoice.SetUnsaved(1);
        settings::Compass.SetUnsaved(false);
    }
};

TEST_F(SimulatorTest, AnEmptyWindowIsClearedAndShownEachFrame) {
    EXPECT_EQ(simulator.DrawFrame(true), StatusCode::BadState) << "without a main view";
    const auto& main = Attach(View::kMain);
    Attach(View::kLeft);
    EXPECT_THAT(Frame(), ElementsAre("0 begin", "0 end", "16 begin", "16 end"));
    EXPECT_EQ(main.camera.nearPlane, 1);
    EXPECT_EQ(main.camera.farPlane, 2);
    EXPECT_EQ(main.camera.lookAt.z, 1);
    FlightInput input;
    input.altitude = 5;
    EXPECT_TRUE(simulator.Update(&input, true).Good());
    EXPECT_EQ(simulator.GetViewer().Position(), Vec3f{}) << "nothing to fly over";
    EXPECT_EQ(Simulator().DrawFrame(true), StatusCode::NotInitialised);
}

TEST_F(SimulatorTest, AViewIsDrawnInItsOrder) {
    specs["near"].cell = 10;
    Attach(View::kMain);
    EXPECT_EQ(log.back(), "16 alpha function 2 1.000000");
    ASSERT_TRUE(simulator.BuildScene({Entry("land", {"a", "b"}), Entry("near", {"c"})}).Good());
    EXPECT_THAT(Frame(), ElementsAre("16 begin", "16 alpha on",                            //
                                     "land update 1", "a view", "land draw", "a prepare",  //
                                     "16 meshes", "a service",                             //
                                     "16 matrix", "near update 1", "c view", "near draw",  //
                                     "c prepare", "16 meshes", "c service",                //
                                     "16 matrix", "16 alpha off", "16 end"));

    ASSERT_TRUE(simulator.SetTextureVisible(0, 1, View::kMain, true).Good());
    ASSERT_TRUE(simulator.ToggleTextureVisible(1, 0, View::kMain).Good());
    EXPECT_THAT(Frame(), ElementsAre("16 begin", "16 alpha on",                            //
                                     "land update 2", "a view", "land draw", "a prepare",  //
                                     "16 meshes", "a service", "b view", "land draw",      //
                                     "b prepare", "16 meshes", "b service",                //
                                     "16 matrix", "16 matrix", "16 alpha off", "16 end"));
    EXPECT_EQ(simulator.SetTextureVisible(0, 2, View::kMain, true), StatusCode::BadState);
    EXPECT_EQ(simulator.SetTextureVisible(2, 0, View::kMain, true), StatusCode::BadState);
    EXPECT_EQ(simulator.SetTextureVisible(0, 0, View::kCount, true), StatusCode::BadState);

    settings::Wireframe.SetUnsaved(true);
    ASSERT_TRUE(simulator.SetTextureVisible(0, 1, View::kMain, false).Good());
    EXPECT_THAT(Frame(),
                ElementsAre("16 begin", "16 alpha on", "land update 1", "land draw",
                            "16 wire meshes", "16 matrix", "16 matrix", "16 alpha off", "16 end"))
        << "textures rest while lines are drawn";
}

TEST_F(SimulatorTest, SideViewsComeFirstAndTheMapIsFlat) {
    Attach(View::kMain);
    Attach(View::kRear);
    const auto& map = Attach(View::kMap);
    Build();
    const Log frame = Frame();
    const Log rear(frame.begin(), frame.begin() + 10);
    EXPECT_THAT(rear, ElementsAre("2 begin", "2 alpha on", "land update 1", "a view", "land draw",
                                  "a prepare", "2 meshes", "a service", "2 matrix", "2 alpha off"));
    const auto mapBegin = std::ranges::find(frame, "6 begin");
    const auto mapEnd = std::ranges::find(frame, "6 end");
    const auto mainBegin = std::ranges::find(frame, "16 begin");
    EXPECT_LT(mapBegin, mapEnd);
    EXPECT_LT(mapEnd, mainBegin);
    EXPECT_EQ(std::find(mapBegin, mapEnd, "land draw"), mapEnd) << "no relief in the map";
    const Log marks(std::find(mapBegin, mapEnd, "6 alpha off"), mapEnd);
    EXPECT_THAT(marks, ElementsAre("6 alpha off", "6 begin overlay",  // for points over the map
                                   "6 begin overlay", "6 lines", "6 lines", "6 lines"));
    EXPECT_TRUE(std::ranges::all_of(map.meshes, [](const Vec3f& v) { return v.z == 0; }));
    EXPECT_TRUE(map.camera.overrideFog);
    EXPECT_FALSE(map.camera.fogOn);
    EXPECT_FLOAT_EQ(map.camera.farPlane, map.camera.eye.z * 1.5F * 5.5F);
}

TEST_F(SimulatorTest, AHiddenViewCostsNothing) {
    Attach(View::kMain);
    fakes::RecordingGraphics side(log, "side");
    fakes::FixedWindow sideWindow(50, 50);
    ASSERT_TRUE(side.Open(&sideWindow).Good());
    ASSERT_TRUE(simulator.AttachGraphicsSystem(&side, View::kRear).Good());
    EXPECT_THAT(Frame(), testing::Contains("side begin")) << "without a landscape";
    sideWindow.visible = false;
    EXPECT_THAT(Frame(), ElementsAre("16 begin", "16 end"));
    Build();
    EXPECT_THAT(Frame(), testing::Not(testing::Contains(testing::StartsWith("side"))));
    sideWindow.visible = true;
    EXPECT_THAT(Frame(), testing::Contains("side meshes"));
    surface.visible = false;
    EXPECT_THAT(Frame(), testing::Not(testing::Contains(testing::StartsWith("16"))));
    EXPECT_THAT(log, testing::Contains("side meshes")) << "beside a hidden main view";
    ASSERT_TRUE(simulator.AttachGraphicsSystem(nullptr, View::kRear).Good());
}

TEST_F(SimulatorTest, PlanesReachTheFarthestVisibleCorner) {
    const auto& main = Attach(View::kMain);
    Build();
    // 650 x 650, heights 0 to 300; from the south-west corner at 700 the farthest is the opposite
    // one at the bottom.
    ASSERT_TRUE(simulator.PlaceByLookAt({0, -650, 700}, {325, -325, 0}, true).Good());
    EXPECT_EQ(main.camera.nearPlane, 10);
    EXPECT_NEAR(main.camera.farPlane, 5.5 * std::sqrt(650.0 * 650 + 650 * 650 + 700 * 700), 1);
    EXPECT_EQ(main.camera.fieldOfView, 45);
    EXPECT_FALSE(main.camera.overrideFog);
    ASSERT_TRUE(simulator.PlaceByLookAt({0, -650, 20}, {325, -325, 0}, true).Good());
    const Log last(log.end() - 3, log.end());
    EXPECT_THAT(last, ElementsAre("16 meshes", "16 veil", "16 end"))
        << "the ground stands at 100, the viewer at 20";
}

TEST_F(SimulatorTest, TheCompassComesLastInTheMainViewAlone) {
    const auto& main = Attach(View::kMain);
    Attach(View::kRear);
    ASSERT_TRUE(simulator.BuildScene({Entry("land", {})}).Good());
    ASSERT_TRUE(simulator.PlaceByLookAt({0, -650, 20}, {325, -325, 0}, true).Good());
    const Log without = Frame();
    const RenderCamera camera = main.camera;
    settings::Compass.SetUnsaved(true);
    EXPECT_THAT(Frame(), testing::Contains("16 begin overlay").Times(1));
    EXPECT_EQ(std::ranges::count(log, "2 begin overlay"), 0);
    EXPECT_GT(std::ranges::find(log, "16 begin overlay"), std::ranges::find(log, "16 alpha off"));
    EXPECT_LT(std::ranges::find(log, "16 begin overlay"), std::ranges::find(log, "16 veil"));
    EXPECT_EQ(main.camera.farPlane, 10);
    settings::Compass.SetUnsaved(false);
    EXPECT_EQ(Frame(), without);
    EXPECT_EQ(main.camera.farPlane, camera.farPlane);
}

TEST_F(SimulatorTest, TheCustomViewMovesTheViewerOnlyForItself) {
    const auto& custom = Attach(View::kCustom);
    const auto& main = Attach(View::kMain);
    Build();
    simulator.Custom().offset = 30;
    simulator.Custom().fieldOfView = 20;
    ASSERT_TRUE(simulator.PlaceByLookAt({0, 0, 400}, {100, 0, 400}, true).Good());
    EXPECT_EQ(custom.camera.eye, (Vec3f{30, 0, 400}));
    EXPECT_EQ(custom.camera.fieldOfView, 20);
    EXPECT_EQ(main.camera.eye, (Vec3f{0, 0, 400}));
    EXPECT_EQ(main.camera.fieldOfView, 45);
    EXPECT_EQ(simulator.GetScene()->Reference().FieldOfViewDegrees(), 45);
}

TEST_F(SimulatorTest, OpeningReplacesEverythingOrNothing) {
    const auto& main = Attach(View::kMain);
    Build();
    ASSERT_TRUE(simulator.PlaceByLookAt({10, -20, 400}, {20, -20, 400}, true).Good());
    const Log before = Frame();

    specs["broken"].open = StatusCode::FileDamaged;
    EXPECT_EQ(simulator.BuildScene({Entry("land", {"x"}), Entry("broken", {"y"})}),
              StatusCode::FileDamaged);
    EXPECT_EQ(simulator.BuildScene(QNLIST<SimTerrainEntry>{}), StatusCode::NoLandscape);
    EXPECT_EQ(simulator.BuildScene(SimulatorFile{}), StatusCode::NoLandscape);
    EXPECT_EQ(Frame(), before) << "the old landscape goes on flying";
    EXPECT_EQ(main.camera.eye, (Vec3f{10, -20, 400}));
    EXPECT_EQ(aliveTextures, 1);
    EXPECT_EQ(simulator.SetTerrainModel(1), StatusCode::BadState);
    EXPECT_EQ(simulator.SetTextureModel(1), StatusCode::BadState);
    EXPECT_EQ(Frame(), before);
    EXPECT_TRUE(simulator.SetTerrainModel(0).Good());
    EXPECT_EQ(Frame(), before);

    specs["other"] = {};
    ASSERT_TRUE(simulator.BuildScene({Entry("other", {"b"})}).Good());
    EXPECT_THAT(Frame(), testing::Contains("other draw"));
    EXPECT_THAT(log, testing::Not(testing::Contains("land draw")));
    simulator.Unload();
    EXPECT_EQ(aliveTextures, 0);
    EXPECT_THAT(Frame(), ElementsAre("16 begin", "16 end"));
}

TEST_F(SimulatorTest, TheNewLandscapesTextureNeedsTheRoomOfTheOld) {
    Attach(View::kMain);
    specs["other"] = {};
    textureRoom = 1;
    Build();
    ASSERT_TRUE(simulator.IsLandscapeReady(ReadyLevel::Texture));
    ASSERT_TRUE(simulator.BuildScene({Entry("other", {"b"})}).Good());
    EXPECT_TRUE(simulator.IsLandscapeReady(ReadyLevel::Texture));
    EXPECT_THAT(Frame(), testing::Contains("b prepare"));
}

TEST_F(SimulatorTest, ARefusedTextureKeepsTheBoundsThatAnotherViewKnows) {
    specs["land"].columns = specs["land"].rows = 101;
    Attach(View::kMain);
    Attach(View::kUp);
    textureRoom = 1;
    Build();
    const TextureLayer& texture = simulator.GetScene()->Layers().front()->textures.front();
    const IntRect covered{0, 0, 66, 66};
    EXPECT_TRUE(texture.models[View::kMain]->IsOpen());
    EXPECT_FALSE(texture.models[View::kUp]->IsOpen());
    EXPECT_EQ(texture.bounds, covered);
    Attach(View::kDown);
    EXPECT_EQ(texture.bounds, covered);
}

TEST_F(SimulatorTest, APlaceThatIsNoPlaceChangesNothing) {
    const Attitude north{};
    EXPECT_EQ(Simulator().PlaceByOrientation({}, north, false), StatusCode::NotInitialised);
    EXPECT_EQ(Simulator().SetTerrainModel(0), StatusCode::NotInitialised);
    Attach(View::kMain);
    specs["land"].grid = {1000, 10, 0, 2000, 0, -10};
    Build();
    const Log before = Frame();
    const Vec3f position = simulator.GetViewer().Position(), at = simulator.GetViewer().LookAt();
    for (const double bad : {double{NAN}, double{INFINITY}, 1e39}) {
        const auto number = bad > 1e38 ? INFINITY : NAN;
        for (int i = 0; i < 7; ++i) {
            SCOPED_TRACE(testing::Message() << bad << " as number " << i);
            std::array<double, 7> n{1200, 1700, 50, 90, 0, 1000, 10};
            n[i] = bad;
            EXPECT_EQ(
                simulator.StartCommandLineView(n[0], n[1], n[2], n[3], n[4], n[5], n[6], 0, true),
                StatusCode::BadState);
            if (i == 6) break;
            std::array<float, 6> p{1, 2, 3, 4, 5, 6};
            p[i] = number;
            EXPECT_EQ(simulator.PlaceByLookAt({p[0], p[1], p[2]}, {p[3], p[4], p[5]}, true),
                      StatusCode::BadState);
            EXPECT_EQ(simulator.PlaceByOrientation({p[0], p[1], p[2]}, {p[3], p[4], p[5]}, true),
                      StatusCode::BadState);
        }
    }
    EXPECT_EQ(simulator.PlaceByLookAt({3e38F, 0, 0}, {-3e38F, 0, 0}, false), StatusCode::BadState);
    EXPECT_EQ(simulator.GetViewer().Position(), position);
    EXPECT_EQ(simulator.GetViewer().LookAt(), at);
    EXPECT_EQ(simulator.GetViewer().MotionRate(), 0);
    EXPECT_EQ(Frame(), before);
    EXPECT_EQ(simulator.Picture(View::kCount).width, 0);
    EXPECT_EQ(simulator.Picture(-1).width, 0);
}

class RefusingHost final : public fakes::QuietHost {
public:
    bool MayReplaceLandscape() override { return false; }
};

TEST_F(SimulatorTest, AUserWhoCancelsKeepsTheOldLandscape) {
    Attach(View::kMain);
    Build();
    RefusingHost host;
    ASSERT_TRUE(simulator.Initialize(&host).Good());
    specs["other"] = {};
    EXPECT_EQ(simulator.BuildScene({Entry("other", {"b"})}), StatusCode::Cancelled);
    EXPECT_THAT(Frame(), testing::Contains("land draw"));
}

TEST_F(SimulatorTest, AnUnusableTextureLeavesTheLayerPlain) {
    Attach(View::kMain);
    ASSERT_TRUE(simulator.BuildScene({Entry("land", {"-none"})}).Good());
    EXPECT_TRUE(simulator.IsLandscapeReady(ReadyLevel::Terrain));
    EXPECT_FALSE(simulator.IsLandscapeReady(ReadyLevel::Texture));
    EXPECT_THAT(Frame(), ElementsAre("16 begin", "16 alpha on", "land update 1", "land draw",
                                     "16 meshes", "16 matrix", "16 alpha off", "16 end"));
    const IntRect whole{0, 0, 65, 65};
    EXPECT_EQ(simulator.GetScene()->Layers().front()->textures.front().bounds, whole);
}

TEST_F(SimulatorTest, AFailedUpdateSkipsTheLayerAndNothingElse) {
    Attach(View::kMain);
    specs["bad"].update = StatusCode::BadState;
    ASSERT_TRUE(simulator.BuildScene({Entry("bad", {"a"}), Entry("land", {"b"})}).Good());
    EXPECT_THAT(Frame(),
                ElementsAre("16 begin", "16 alpha on", "bad update 1", "16 matrix", "land update 1",
                            "b view", "land draw", "b prepare", "16 meshes", "b service",
                            "16 matrix", "16 alpha off", "16 end"));
    graphics.front()->endStatus = StatusCode::DeviceFailed;
    EXPECT_TRUE(simulator.DrawFrame(true).Good()) << "a lost device ends no flight";

    specs["undrawn"].draw = StatusCode::BadState;
    EXPECT_EQ(simulator.BuildScene({Entry("land", {"b"}), Entry("undrawn", {"a"})}),
              StatusCode::BadState);
    EXPECT_EQ(simulator.DrawFrame(true), StatusCode::BadState) << "the last terrain's status";
}

TEST_F(SimulatorTest, ViewsHaveModelsOfTheirOwnWhileTheyAreAttached) {
    Attach(View::kMain);
    Attach(View::kUp);
    ASSERT_TRUE(simulator.BuildScene({Entry("land", {"a", "b"})}).Good());
    EXPECT_EQ(aliveTextures, 2) << "the first texture in each of two views";
    Attach(View::kDown);
    EXPECT_EQ(aliveTextures, 3);
    EXPECT_TRUE(simulator.AttachGraphicsSystem(nullptr, View::kUp).Good());
    EXPECT_EQ(aliveTextures, 2);
    EXPECT_THAT(Frame(), testing::Not(testing::Contains("3 begin")));
    EXPECT_EQ(simulator.AttachGraphicsSystem(nullptr, 17), StatusCode::BadState);
    EXPECT_EQ(simulator.AttachGraphicsSystem(nullptr, -1), StatusCode::BadState);
}

TEST_F(SimulatorTest, ALandscapeOpensHighAboveItsCentre) {
    Attach(View::kMain);
    settings::VerticalExaggeration.SetUnsaved(2);
    Build();
    const Viewer& viewer = simulator.GetViewer();
    EXPECT_EQ(viewer.Position(), (Vec3f{325, -325, 1200}));  // (2 x 300 - 0) x 2
    EXPECT_EQ(viewer.LookAt(), (Vec3f{0, 0, 200}));  // the north-west corner, ground 100 x 2
    EXPECT_NEAR(viewer.Shown().heading, 315, 1e-3);
    EXPECT_NEAR(settings::ForwardBackwardSpeed, 650 / 120.0, 1e-3);
    specs["wide"].cell = 1000;
    ASSERT_TRUE(simulator.BuildScene({Entry("land", {"a"}), Entry("wide", {"b"})}).Good());
    EXPECT_EQ(settings::UpDownSpeed, 500) << "the layer loaded last is longer than 60000";
}

TEST_F(SimulatorTest, ExaggerationRescalesTheViewerAtTheNextFrame) {
    Attach(View::kMain);
    Build();
    ASSERT_TRUE(simulator.PlaceByLookAt({0, 0, 400}, {100, 0, 300}, true).Good());
    settings::VerticalExaggeration.SetUnsaved(3);
    Frame();
    EXPECT_EQ(simulator.GetViewer().Position(), (Vec3f{0, 0, 1200}));
    EXPECT_EQ(simulator.GetViewer().LookAt(), (Vec3f{100, 0, 900}));
    EXPECT_EQ(simulator.GetViewer().Home().z, 300);
    EXPECT_EQ(TerrainModel::VerticalScale(), 3);
    simulator.SetVerticalExaggeration(0);
    EXPECT_EQ(simulator.VerticalExaggeration(), 3) << "what the terrain can't do isn't taken over";
}

TEST_F(SimulatorTest, InputMovesTheViewerOnlyWhenControlsAreLive) {
    Attach(View::kMain);
    Build();
    FlightInput up;
    up.altitude = 5;
    const auto height = [&] { return simulator.GetViewer().Position().z; };
    ASSERT_TRUE(simulator.Update(&up, true).Good());
    EXPECT_EQ(height(), 600) << "the frame after opening";
    ASSERT_TRUE(simulator.Update(&up, true).Good());
    EXPECT_EQ(height(), 605);
    ASSERT_TRUE(simulator.PlaceByLookAt({0, 0, 400}, {1, 0, 400}, true).Good());
    ASSERT_TRUE(simulator.Update(&up, true).Good());
    EXPECT_EQ(height(), 400) << "a placement holds for one frame";
    simulator.SetToolMode(ToolMode::PointOverlay);
    ASSERT_TRUE(simulator.Update(&up, true).Good());
    EXPECT_EQ(height(), 400);
    simulator.SetToolMode(ToolMode::Viewpoint);
    ASSERT_TRUE(simulator.Update(&up, true).Good());
    EXPECT_EQ(height(), 405);
}

TEST_F(SimulatorTest, QualityFollowsTheFrameRateOncePerLayer) {
    Attach(View::kMain);
    ASSERT_TRUE(simulator.BuildScene({Entry("land", {"a"}), Entry("land", {"b"})}).Good());
    settings::TerrainChoice.SetUnsaved(2);
    TerrainModel::SetFrameRate(20, false);
    TerrainModel::SetQuality(85, false);
    clock.milliseconds += 1000;
    Frame();  // from here on each frame has a rate; its first one was 1 a second
    TerrainModel::SetQuality(85, false);
    clock.milliseconds += 200;  // 5 frames a second: 7.5 for each of two layers
    Frame();
    EXPECT_NEAR(TerrainModel::Quality(), 70, 0.01);
    clock.milliseconds += 50;  // exactly on target
    Frame();
    EXPECT_NEAR(TerrainModel::Quality(), 70, 0.01);
    clock.milliseconds += 60000;  // a hidden window draws nothing, which says nothing of speed
    simulator.SkipTime();
    Frame();
    EXPECT_NEAR(TerrainModel::Quality(), 70, 0.01);
    EXPECT_NEAR(simulator.ReadoutValues().instantFrameRate, 20, 0.1);
}

TEST_F(SimulatorTest, CommandLineViewOrbitsItsPoint) {
    Attach(View::kMain);
    specs["land"].grid = {1000, 10, 0, 2000, 0, -10};
    specs["land"].system = "EPSG:32633";
    Build();
    // Column 20, row 30: scene (200, -300), 50 above the ground of 100.
    ASSERT_TRUE(simulator.StartCommandLineView(1200, 1700, 50, 90, 0, 1000, 10, 0, true).Good());
    const Viewer& viewer = simulator.GetViewer();
    EXPECT_NEAR(viewer.ViewDistance(), 896.295, 0.01);
    EXPECT_NEAR(viewer.Position().x, 200 - 896.295, 0.01);
    EXPECT_NEAR(viewer.Position().y, -300, 0.01);
    EXPECT_NEAR(viewer.Position().z, 150, 0.01);
    ASSERT_TRUE(simulator.StartCommandLineView(1200, 1700, 50, 90, 0, 1000, 10, 1, true).Good());
    EXPECT_NEAR(viewer.Position().x, 200, 0.01) << "at the point, not about it";
    Vec3d map;
    ASSERT_TRUE(simulator.SceneToMap(viewer.Position(), map).Good());
    EXPECT_NEAR(map.x, 1200, 1e-3);
    EXPECT_NEAR(map.y, 1700, 1e-3);
    EXPECT_NEAR(map.z, 150, 1e-3);
}

}  // namespace
}  // namespace tarnvale
