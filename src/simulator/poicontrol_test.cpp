#include "simulator/poicontrol.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "base/settings.h"
#include "simulator/fakes_for_test.h"
#include "simulator/simulatr.h"

namespace tarnvale {
namespace {

constexpr int kFirst = View::kFirstPoi;

// Seen from the middle of level ground northwards. Map coordinates: 1000 + scene x / 10,
// 2000 + scene y / 10.
class PoiControlTest : public testing::Test, protected fakes::World {
protected:
    PoiControlTest() {
        settings::Compass.SetUnsaved(false);
        settings::MapLocator.SetUnsaved(1);  // a mark without lines
        for (const int view : {View::kMain, View::kLeft, View::kMap, kFirst}) Attach(view);
        specs["land"].grid = {1000, 1, 0, 2000, 0, -1};
        OpenLand();
    }
    ~PoiControlTest() override {
        settings::Compass.SetUnsaved(true);
        settings::MapLocator.SetUnsaved(0);
    }
    void OpenLand() {
        Build();
        EXPECT_TRUE(simulator.PlaceByLookAt({325, -325, 600}, {325, 0, 300}, true).Good());
        simulator.SetToolMode(ToolMode::PointOfInterest);
    }
    void Make(int view, double x, double y) {
        EXPECT_TRUE(Pois().CreatePOIView(view, 1).Good());
        EXPECT_TRUE(Pois().SetPOIPosition(view, x, y).Good());
        Pois().SetCurrentPOIView(view);
    }
    [[nodiscard]] PoiControl& Pois() { return simulator.Pois(); }
    [[nodiscard]] Vec3d At(int view) {
        Vec3d map;
        EXPECT_TRUE(Pois().GetPOIPosition(view, map).Good());
        return map;
    }
    void ExpectAt(int view, double x, double y) {
        const Vec3d map = At(view);
        EXPECT_NEAR(map.x, x, 1e-3);
        EXPECT_NEAR(map.y, y, 1e-3);
    }
    void Press(int view, int x, int y) {
        simulator.OnMouse(view, x, y, false, false);
        simulator.OnMouse(view, x, y, true, false);
    }
    void Move(int view, int x, int y) { simulator.OnMouse(view, x, y, true, false); }
    [[nodiscard]] int Count(const std::string& what) const {
        return static_cast<int>(std::ranges::count(log, what));
    }
};

TEST_F(PoiControlTest, ThePointIsWhereTheMapSaysAndItsViewLooksThere) {
    settings::VerticalExaggeration.SetUnsaved(2);
    Make(kFirst, 1010, 1980);
    Frame();
    const Vec3d map = At(kFirst);
    EXPECT_NEAR(map.x, 1010, 1e-3);
    EXPECT_NEAR(map.y, 1980, 1e-3);
    EXPECT_NEAR(map.z, 100, 1e-3) << "an elevation";
    EXPECT_EQ(graphics[3]->camera.lookAt, (Vec3f{100, -200, 200}));
    double x = 0, y = 0;
    EXPECT_TRUE(Pois().GetViewerMapPosition(x, y).Good());
    EXPECT_NEAR(x, 1032.5, 1e-3);
    EXPECT_NEAR(y, 1967.5, 1e-3);
}

TEST_F(PoiControlTest, MarkersAreDrawnInEachViewThatShowsThem) {
    Frame();
    const int bare = Count("16 meshes");
    Make(kFirst, 1010, 1980);
    Make(kFirst + 3, 1020, 1980);
    Frame();
    EXPECT_EQ(Count("16 meshes"), bare + 2);
    EXPECT_EQ(Count("6 lines"), 2);
    Pois().ShowMarkers(View::kMain, false);
    Pois().ShowMarkers(View::kMap, false);
    Frame();
    EXPECT_EQ(Count("16 meshes"), bare);
    EXPECT_EQ(Count("6 lines"), 0);
    EXPECT_EQ(Count("0 meshes"), bare + 2);
    for (const int view : {-1, View::kCount}) {
        Pois().ShowMarkers(view, true);
        EXPECT_FALSE(Pois().MarkersShown(view));
    }
}

TEST_F(PoiControlTest, WhatIsNotThereIsRefused) {
    for (const int view : {-1, 7, 16}) {
        EXPECT_EQ(Pois().CreatePOIView(view, 1), Status(StatusCode::BadState)) << view;
        EXPECT_EQ(Pois().SetPOIPosition(view, 1010, 1980), Status(StatusCode::BadState)) << view;
        EXPECT_EQ(Pois().SetPOIColor(view, {}), Status(StatusCode::BadState)) << view;
        EXPECT_FALSE(Pois().Exists(view)) << view;
    }
    EXPECT_EQ(Pois().CreatePOIView(kFirst, 6), Status(StatusCode::BadState));
    Make(kFirst, 1010, 1980);
    EXPECT_EQ(Pois().SetPOIPosition(kFirst, NAN, 1980), Status(StatusCode::BadState));
    for (const double far : {2e7, 1e300})
        EXPECT_EQ(Pois().SetPOIPosition(kFirst, far, 1980), Status(StatusCode::BadState)) << far;
    ExpectAt(kFirst, 1010, 1980);
    Pois().SetCurrentPOIView(kFirst + 1);
    EXPECT_EQ(Pois().CurrentPOIView(), PoiControl::kNone) << "there is no such point";
    simulator.Unload();
    EXPECT_EQ(Pois().SetPOIPosition(kFirst, 1010, 1980), Status(StatusCode::BadState));
    double x = 0, y = 0;
    EXPECT_EQ(Pois().GetViewerMapPosition(x, y), Status(StatusCode::BadState));
}

TEST_F(PoiControlTest, NewTerrainModelsTakeThePointsOver) {
    Make(kFirst, 1010, 1980);
    specs["land"].height = 150;
    EXPECT_TRUE(simulator.SetTerrainModel(0).Good());
    Frame();
    EXPECT_NEAR(At(kFirst).z, 150, 1e-3);
    EXPECT_NEAR(graphics[3]->camera.lookAt.z, 150, 1e-3);
}

TEST_F(PoiControlTest, EveryChangeIsUnsavedUntilItIsSaved) {
    EXPECT_FALSE(Pois().HasUnsaved());
    Make(kFirst, 1010, 1980);
    Make(kFirst + 1, 1010, 1980);
    const std::vector<std::pair<const char*, std::function<void()>>> changes{
        {"made", [] {}},
        {"moved", [this] { (void)Pois().SetPOIPosition(kFirst, 1011, 1980); }},
        {"coloured",
         [this] {
             (void)Pois().SetPOIColor(kFirst, {1, 1, 1, 1});
         }},
        {"named", [this] { Pois().SetPOIName(kFirst, "Hut"); }},
        {"marked", [this] { (void)Pois().CreatePOIView(kFirst, 3); }},
        {"dragged", [this] {
             Pois().SetCurrentPOIView(kFirst);
             Press(View::kMap, 90, 50);
         }}};
    for (const auto& [what, change] : changes) {
        change();
        EXPECT_TRUE(Pois().HasUnsaved()) << what;
        Pois().MarkSaved();
        EXPECT_FALSE(Pois().HasUnsaved()) << what;
    }
    Pois().SetPOIName(kFirst, "Hut 2");
    Pois().DeletePOI(kFirst);
    EXPECT_FALSE(Pois().HasUnsaved()) << "what is left was saved";
}

TEST_F(PoiControlTest, InTheMapThePointFollowsTheMouseWhileTheButtonIsDown) {
    Make(kFirst, 1010, 1980);
    const auto under = [this](int x, int y) {
        const auto ground = simulator.PickGround(View::kMap, x, y);
        return ground.has_value() ? ground->map : Vec3d{NAN, NAN, NAN};
    };
    simulator.OnMouse(View::kMap, 80, 40, false, false);
    ExpectAt(kFirst, 1010, 1980);
    for (const auto& [x, y] : {std::pair(80, 40), {120, 70}, {60, 20}}) {
        Move(View::kMap, x, y);
        ExpectAt(kFirst, under(x, y).x, under(x, y).y);
    }
    Move(View::kMap, -30, 20);  // captured, but off the picture
    ExpectAt(kFirst, under(60, 20).x, under(60, 20).y);
    simulator.OnMouse(View::kMap, 100, 50, false, false);
    ExpectAt(kFirst, under(60, 20).x, under(60, 20).y);
}

// The eye stands at (325, -325): map 1032.5, 1967.5.
TEST_F(PoiControlTest, InAPerspectiveThePressPlacesAndMotionMovesAndTurns) {
    for (const int view : {View::kMain, View::kLeft}) {
        SCOPED_TRACE(view);
        Make(kFirst, 1010, 1980);
        const auto pressed = simulator.PickGround(view, 130, 90);
        ASSERT_TRUE(pressed.has_value());
        Press(view, 130, 90);
        ExpectAt(kFirst, pressed->map.x, pressed->map.y);
        const auto away = [this] {
            const Vec3d map = At(kFirst);
            return std::pair(map.x - 1032.5, map.y - 1967.5);
        };
        const auto [x, y] = away();
        Move(view, 130, 80);  // ten pixels up: a tenth farther
        EXPECT_NEAR(away().first, x * 1.1, 1e-3);
        EXPECT_NEAR(away().second, y * 1.1, 1e-3);
        Move(view, 130, 80);
        EXPECT_NEAR(away().first, x * 1.1, 1e-3) << "the mouse stood still";
        Move(view, -1, -1);
        Move(view, 130, 90);
        EXPECT_NEAR(away().first, x * 1.1 * 0.9, 1e-3) << "from the last known place";
        // Sideways: at the same distance, straight ahead for the middle of the picture.
        const double distance = std::hypot(x, y) * 1.1 * 0.9;
        Move(view, 99, 90);
        Move(view, 260, 90);  // captured, beyond the edge
        EXPECT_NEAR(std::hypot(away().first, away().second), distance, 1e-2);
        Move(view, 100, 50);  // both at once: 40 pixels up
        const auto [ahead, side] = view == View::kMain ? std::pair(away().second, away().first)
                                                       : std::pair(-away().first, away().second);
        EXPECT_NEAR(ahead, distance * 1.4, distance * 0.01);
        EXPECT_NEAR(side, 0, distance * 0.01);
        simulator.OnMouse(view, 100, 50, false, false);
    }
}

TEST_F(PoiControlTest, APressInItsOwnViewPlacesThePointAndTheDragDoesNothing) {
    Make(kFirst, 1032.5, 1980);
    Frame();
    const auto pressed = simulator.PickGround(kFirst, 120, 60);
    ASSERT_TRUE(pressed.has_value());
    Press(kFirst, 120, 60);
    ExpectAt(kFirst, pressed->map.x, pressed->map.y);
    Move(kFirst, 150, 20);
    ExpectAt(kFirst, pressed->map.x, pressed->map.y);
    simulator.OnMouse(kFirst, 150, 20, false, false);
    Make(kFirst + 1, 1010, 1980);  // the view of another point is a perspective as all are
    Press(kFirst, 120, 60);
    const Vec3d placed = At(kFirst + 1);
    Move(kFirst, 120, 20);
    EXPECT_NE(At(kFirst + 1).y, placed.y);
}

TEST_F(PoiControlTest, TheMouseLeavesPointsAloneInOtherCases) {
    Make(kFirst, 1010, 1980);
    specs["land"].pickable = false;
    EXPECT_TRUE(simulator.SetTerrainModel(0).Good());
    Press(View::kMain, 100, 5);  // no ground under it
    ExpectAt(kFirst, 1010, 1980);
    simulator.OnMouse(View::kMain, 100, 5, false, true);
    simulator.OnMouse(View::kMap, 100, 50, false, true);  // the right button
    ExpectAt(kFirst, 1010, 1980);
    Pois().SetCurrentPOIView(PoiControl::kNone);
    Press(View::kMap, 100, 50);
    simulator.OnMouse(View::kMap, 100, 50, false, false);
    ExpectAt(kFirst, 1010, 1980);
    Pois().SetCurrentPOIView(kFirst);
    simulator.SetToolMode(ToolMode::Atlas);
    Press(View::kMap, 100, 50);
    ExpectAt(kFirst, 1010, 1980);
}

}  // namespace
}  // namespace tarnvale
