#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "simulator/fakes_for_test.h"
#include "simulator/simulatr.h"

namespace tarnvale {
namespace {

// In the middle of level ground, looking down to the north.
class ViewMouse : public testing::Test, protected fakes::World {
protected:
    ViewMouse() {
        for (const int view : {View::kMain, View::kLeft, View::kMap}) Attach(view);
        Build();
        EXPECT_TRUE(simulator.PlaceByLookAt({325, -325, 600}, {325, 0, 300}, true).Good());
        Frame(100);
    }
    [[nodiscard]] const Viewer& TheViewer() const { return simulator.GetViewer(); }
    [[nodiscard]] Vec3f Ground(int view, int x, int y) const {
        const std::optional<GroundPoint> ground = simulator.PickGround(view, x, y);
        return ground.has_value() ? ground->scene : Vec3f{NAN, NAN, NAN};
    }
    // The line of sight meets the point.
    static void ExpectFacing(const Viewer& viewer, const Vec3f& point) {
        EXPECT_LT(Length(viewer.FlightAxes().forward - Normalized(point - viewer.Position())),
                  1e-4);
        EXPECT_LT(Length(viewer.LookAt() - point), 0.1);
        EXPECT_NEAR(viewer.ViewDistance(), Length(point - viewer.Position()), 0.1);
    }
};

TEST_F(ViewMouse, AClickInAViewActsWhenTheLeftButtonIsReleased) {
    for (const int view : {View::kMain, View::kLeft}) {
        for (const float exaggeration : {1.0F, 3.0F}) {
            SCOPED_TRACE(testing::Message() << "view " << view << " at " << exaggeration);
            settings::VerticalExaggeration.SetUnsaved(exaggeration);
            simulator.SetVerticalExaggeration(exaggeration);
            ASSERT_TRUE(simulator.PlaceByOrientation({325, -325, 900}, {-20, 10, 30}, true).Good());
            const Vec3f before = TheViewer().LookAt();
            const Vec3f ground = Ground(view, 150, 80);
            EXPECT_NEAR(ground.z, 100 * exaggeration, 0.01);
            EXPECT_EQ(simulator.OnMouse(view, 150, 80, false, false), CursorMode::Default);
            simulator.OnMouse(view, 150, 80, true, false);
            Frame(100);
            simulator.OnMouse(view, 150, 80, true, false);
            EXPECT_EQ(TheViewer().LookAt(), before) << "a press does nothing";
            simulator.OnMouse(view, 150, 80, false, false);
            ExpectFacing(TheViewer(), ground);
            EXPECT_EQ(TheViewer().Position(), (Vec3f{325, -325, 900}));
            EXPECT_NEAR(TheViewer().Flight().roll, 10, 0.01) << "the roll stays";
            const Vec3f after = TheViewer().LookAt();
            simulator.OnMouse(view, 20, 90, false, false);
            simulator.OnMouse(view, 20, 90, false, true);
            simulator.OnMouse(view, 20, 90, false, false);
            EXPECT_EQ(TheViewer().LookAt(), after) << "once a click, and not the right button";
        }
    }
}

TEST_F(ViewMouse, AClickThatMissesTheGroundOrAnotherToolDoesNothing) {
    const Vec3f before = TheViewer().LookAt();
    ASSERT_TRUE(simulator.PlaceByLookAt({325, -325, 600}, {325, 0, 900}, true).Good());
    const Vec3f upward = TheViewer().LookAt();
    simulator.OnMouse(View::kMain, 100, 10, true, false);
    simulator.OnMouse(View::kMain, 100, 10, false, false);
    EXPECT_EQ(TheViewer().LookAt(), upward);
    ASSERT_TRUE(simulator.PlaceByLookAt({325, -325, 600}, {325, 0, 300}, true).Good());
    for (const auto& [x, y] : {std::pair{-1, -1}, std::pair{200, 80}, std::pair{20, 100}}) {
        simulator.OnMouse(View::kMain, 20, 80, true, false);
        simulator.OnMouse(View::kMain, x, y, false, false);
        EXPECT_EQ(TheViewer().LookAt(), before) << "let go outside at " << x << ", " << y;
    }
    simulator.SetToolMode(ToolMode::PointOfInterest);
    simulator.OnMouse(View::kMain, 20, 80, true, false);
    simulator.OnMouse(View::kMain, 20, 80, false, false);
    EXPECT_EQ(simulator.OnMouse(View::kMap, 100, 50, true, false), CursorMode::Default);
    EXPECT_EQ(simulator.OnMouse(View::kCount, 1, 1, true, false), CursorMode::Default);
    EXPECT_EQ(TheViewer().LookAt(), before);
}

TEST_F(ViewMouse, TheMapShowsAHandWhereTheViewerCanBeGrabbed) {
    // The viewer stands above the centre; a tenth of the longer side is within reach.
    const float pixel = Ground(View::kMap, 101, 50).x - Ground(View::kMap, 100, 50).x;
    const int reach = static_cast<int>(65 / pixel);
    EXPECT_EQ(simulator.OnMouse(View::kMap, 100, 50, false, false), CursorMode::Grab);
    EXPECT_EQ(simulator.OnMouse(View::kMap, 100 + reach - 1, 50, false, false), CursorMode::Grab);
    EXPECT_EQ(simulator.OnMouse(View::kMap, 100 + reach + 1, 50, false, false),
              CursorMode::Default);
    EXPECT_EQ(simulator.OnMouse(View::kMap, -1, -1, false, false), CursorMode::Default);
    settings::MapExtents = 50;
    EXPECT_EQ(simulator.OnMouse(View::kMap, 100 + reach - 1, 50, false, false), CursorMode::Default)
        << "half of the land, half of the reach";
}

TEST_F(ViewMouse, AGrabDragsTheViewerSixteenTimesASecond) {
    const Vec3f target = TheViewer().LookAt();
    simulator.OnMouse(View::kMap, 100, 50, true, false);
    simulator.OnMouse(View::kMap, 110, 60, true, false);
    const Vec3f pressed = TheViewer().Position();
    Frame(63);
    const Vec3f there = Ground(View::kMap, 110, 60);
    EXPECT_NE(TheViewer().Position(), pressed);
    EXPECT_NEAR(TheViewer().Position().x, there.x, 0.01);
    EXPECT_NEAR(TheViewer().Position().y, there.y, 0.01);
    EXPECT_EQ(TheViewer().Position().z, 600);
    ExpectFacing(TheViewer(), target);
    // A busy mouse between two steps moves nothing; far from the start it still drags.
    for (int x = 112; x <= 140; x += 2)
        EXPECT_EQ(simulator.OnMouse(View::kMap, x, 60, true, false), CursorMode::Grab);
    Frame(20);
    EXPECT_NEAR(TheViewer().Position().x, there.x, 0.01);
    // The release takes the last place at once.
    const Vec3f last = Ground(View::kMap, 140, 60);
    EXPECT_EQ(simulator.OnMouse(View::kMap, 140, 60, false, false), CursorMode::Grab);
    EXPECT_NEAR(TheViewer().Position().x, last.x, 0.01);
    simulator.OnMouse(View::kMap, 20, 20, false, false);
    Frame(1000);
    EXPECT_NEAR(TheViewer().Position().x, last.x, 0.01) << "the grab is over";
}

TEST_F(ViewMouse, ADragElsewhereSwingsTheLook) {
    const Vec3f stays = TheViewer().Position();
    simulator.OnMouse(View::kMap, 60, 20, true, false);
    ExpectFacing(TheViewer(), Ground(View::kMap, 60, 20));
    EXPECT_EQ(simulator.OnMouse(View::kMap, 100, 50, true, false), CursorMode::Grab)
        << "near the viewer the hand shows, but it holds nothing";
    simulator.OnMouse(View::kMap, 60, 80, true, false);
    Frame(63);
    ExpectFacing(TheViewer(), Ground(View::kMap, 60, 80));
    EXPECT_EQ(TheViewer().Position(), stays);
    simulator.OnMouse(View::kMap, -1, -1, true, false);
    const Vec3f look = TheViewer().LookAt();
    Frame(63);
    EXPECT_EQ(TheViewer().LookAt(), look) << "outside there is no ground to turn to";
}

TEST_F(ViewMouse, AViewThatClosesLetsGo) {
    simulator.OnMouse(View::kMap, 60, 20, true, false);
    ASSERT_TRUE(simulator.AttachGraphicsSystem(nullptr, View::kMap).Good());
    ASSERT_TRUE(simulator.PlaceByLookAt({325, -325, 600}, {325, 0, 300}, true).Good());
    Frame(100);
    ExpectFacing(TheViewer(), {325, 0, 300});
}

TEST_F(ViewMouse, AHeldButtonEndsAnAutomaticMotion) {
    ASSERT_TRUE(simulator.StartCommandLineView(30, -30, 50, 0, 0, 500, 10, 1, true).Good());
    const FlightInput still;
    simulator.OnMouse(View::kLeft, 5, 5, false, true);
    ASSERT_TRUE(simulator.Update(&still, true).Good());
    EXPECT_EQ(TheViewer().MotionRate(), 0);
}

TEST_F(ViewMouse, ZoomKeepsItsLimits) {
    using enum ViewZoom;
    EXPECT_EQ(simulator.ZoomView(View::kMain, In), StatusCode::BadState);
    const auto field = [&] { return simulator.Custom().fieldOfView; };
    ASSERT_TRUE(simulator.ZoomView(View::kCustom, Out).Good());
    EXPECT_EQ(field(), 45);
    for (int i = 0; i < 20; ++i) ASSERT_TRUE(simulator.ZoomView(View::kCustom, In).Good());
    EXPECT_EQ(field(), 5);
    ASSERT_TRUE(simulator.ZoomView(View::kCustom, Out).Good());
    EXPECT_EQ(field(), 10);
    ASSERT_TRUE(simulator.ZoomView(View::kCustom, Full).Good());
    EXPECT_EQ(field(), 45);

    ASSERT_TRUE(simulator.ZoomView(View::kMap, Out).Good());
    EXPECT_EQ(settings::MapExtents, 100) << "never more than the whole";
    ASSERT_TRUE(simulator.ZoomView(View::kMap, In).Good());
    EXPECT_FLOAT_EQ(settings::MapExtents, 80);
    ASSERT_TRUE(simulator.ZoomView(View::kMap, Out).Good());
    EXPECT_FLOAT_EQ(settings::MapExtents, 100);
    for (int i = 0; i < 50; ++i) ASSERT_TRUE(simulator.ZoomView(View::kMap, In).Good());
    Frame(100);
    EXPECT_GT(simulator.Picture(View::kMap).eye.z, 20) << "nearer than 10 nothing is drawn";
    ASSERT_TRUE(simulator.ZoomView(View::kMap, Full).Good());
    EXPECT_EQ(settings::MapExtents, 100);
}

TEST_F(ViewMouse, TheAtlasToolGetsThePlaceWhereTheButtonIsReleasedInTheMainView) {
    std::vector<Vec3f> places;
    simulator.SetPlaceSink([&](const GroundPoint& place) { places.push_back(place.scene); });
    const auto click = [this](int view, int x, int y) {
        simulator.OnMouse(view, 1, 1, false, false);
        simulator.OnMouse(view, 1, 1, true, false);
        simulator.OnMouse(view, x, y, false, false);
    };
    click(View::kMain, 150, 80);
    EXPECT_TRUE(places.empty()) << "another tool has the mouse";
    ASSERT_TRUE(simulator.PlaceByLookAt({325, -325, 600}, {325, 0, 300}, true).Good());
    simulator.SetToolMode(ToolMode::Atlas);
    click(View::kLeft, 150, 80);
    click(View::kMap, 150, 80);
    simulator.OnMouse(View::kMain, 150, 80, false, true);
    simulator.OnMouse(View::kMain, 150, 80, false, false);
    EXPECT_TRUE(places.empty()) << "another view, or the right button";
    const Vec3f wanted = Ground(View::kMain, 150, 80);
    click(View::kMain, 150, 80);
    ASSERT_EQ(places.size(), 1U);
    EXPECT_LT(Length(places.front() - wanted), 1e-3);
    click(View::kMain, -1, -1);
    EXPECT_EQ(places.size(), 1U) << "outside the view";
}

}  // namespace
}  // namespace tarnvale
