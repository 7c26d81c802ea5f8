#include "simulator/viewer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "simulator/frameclock.h"

namespace tarnvale {
namespace {

MATCHER_P2(IsNear, wanted, tolerance, "") {
    *result_listener << arg.x << " " << arg.y << " " << arg.z;
    return std::abs(arg.x - wanted.x) <= tolerance && std::abs(arg.y - wanted.y) <= tolerance &&
           std::abs(arg.z - wanted.z) <= tolerance;
}

auto Is(float x, float y, float z) {
    return IsNear(Vec3f{x, y, z}, 1e-4F);
}

class TwoLayers final : public GroundHeights {
public:
    [[nodiscard]] float FirstLayer(float, float) const override { return first; }
    [[nodiscard]] float LastLayer(float, float) const override { return last; }
    float first = 40, last = 40;
};

// At (0, 0, 100) looking north along the level, the look-at point 50 ahead.
Viewer LookingNorth() {
    Viewer viewer;
    viewer.PlaceByLookAt({0, 0, 100}, {0, 50, 100});
    return viewer;
}

TEST(Attitude, AxesAndAnglesAgreeInBothDirections) {
    const std::tuple<const char*, Attitude, Axes> cases[] = {
        {"level north", {0, 0, 0}, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}},
        {"level east", {0, 0, 90}, {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}},
        {"straight up", {90, 0, 90}, {{0, -1, 0}, {0, 0, 1}, {-1, 0, 0}}},
        {"rolled right", {0, 90, 0}, {{0, 0, -1}, {0, 1, 0}, {1, 0, 0}}},
        {"rolled left, going south", {0, -90, 180}, {{0, 0, 1}, {0, -1, 0}, {1, 0, 0}}},
        {"30 down, north-west",
         {-30, 0, 315},
         {{0.70711F, 0.70711F, 0}, {-0.61237F, 0.61237F, -0.5F}, {-0.35355F, 0.35355F, 0.86603F}}},
    };
    for (const auto& [what, attitude, axes] : cases) {
        SCOPED_TRACE(what);
        const Axes made = AxesFromAttitude(attitude);
        EXPECT_THAT(made.right, IsNear(axes.right, 1e-5F));
        EXPECT_THAT(made.forward, IsNear(axes.forward, 1e-5F));
        EXPECT_THAT(made.up, IsNear(axes.up, 1e-5F));
        if (std::abs(attitude.pitch) == 90) continue;  // heading and roll are one there
        const Attitude back = AttitudeFromAxes(axes);
        EXPECT_NEAR(back.pitch, attitude.pitch, 2e-3);
        EXPECT_NEAR(back.roll, attitude.roll, 2e-3);
        EXPECT_NEAR(back.heading, attitude.heading, 2e-3);
    }
}

TEST(Viewer, BodyTurnsHaveTheirSignsAndTheirOrder) {
    const std::tuple<const char*, Vec3f, Axes> cases[] = {
        {"pitch up", {90, 0, 0}, {{1, 0, 0}, {0, 0, 1}, {0, -1, 0}}},
        {"roll right", {0, 90, 0}, {{0, 0, -1}, {0, 1, 0}, {1, 0, 0}}},
        {"turn left", {0, 0, 90}, {{0, 1, 0}, {-1, 0, 0}, {0, 0, 1}}},
        // Each axis is turned about axes that were turned before it, so large turns shear.
        {"pitch and turn at once", {90, 0, 90}, {{0, 1, 0}, {-1, 0, 0}, {1, 0, 0}}},
    };
    for (const auto& [what, turns, axes] : cases) {
        SCOPED_TRACE(what);
        Viewer viewer = LookingNorth();
        viewer.TurnBody(turns.x, turns.y, turns.z);
        EXPECT_THAT(viewer.FlightAxes().right, IsNear(axes.right, 1e-5F));
        EXPECT_THAT(viewer.FlightAxes().forward, IsNear(axes.forward, 1e-5F));
        EXPECT_THAT(viewer.FlightAxes().up, IsNear(axes.up, 1e-5F));
        EXPECT_THAT(viewer.LookAt(), IsNear(viewer.Position() + 50.0F * axes.forward, 1e-3F));
    }
}

TEST(Viewer, ControlsMoveAlongWorldAndBody) {
    Viewer viewer = LookingNorth();
    FlightInput input;
    input.worldMove = {3, 4};
    input.altitude = 5;
    input.forward = 10;
    input.slide = 2;
    input.verticalSlide = -1;
    viewer.Step(input, {});
    EXPECT_THAT(viewer.Position(), Is(5, 14, 104));
    EXPECT_THAT(viewer.LookAt(), Is(5, 64, 104));

    viewer = LookingNorth();
    input = {};
    input.worldTurn = {0, 0, 90};
    input.forward = 10;  // moves before it turns
    viewer.Step(input, {});
    EXPECT_THAT(viewer.Position(), Is(0, 10, 100));
    EXPECT_THAT(viewer.FlightAxes().forward, Is(-1, 0, 0));
    EXPECT_NEAR(viewer.Shown().heading, 270, 1e-3);
}

TEST(Viewer, LookDirectionsTurnThePictureAndNotTheFlight) {
    const std::tuple<const char*, int, Vec3f, Vec3f, Attitude> cases[] = {
        {"down", LookFlag::kDown, {0, 0, 50}, {0, 1, 0}, {-90, 0, 0}},
        {"right", LookFlag::kRight, {50, 0, 100}, {0, 0, 1}, {0, 0, 90}},
        {"rear", LookFlag::kRear, {0, -50, 100}, {0, 0, 1}, {0, 0, 180}},
        {"left", LookFlag::kLeft, {-50, 0, 100}, {0, 0, 1}, {0, 0, 270}},
        {"up", LookFlag::kUp, {0, 0, 150}, {0, -1, 0}, {90, 0, 0}},
        {"vertical, at the ground", LookFlag::kVertical, {0, 0, 80}, {0, 1, 0}, {90, 0, 0}},
        {"right wins over left",
         LookFlag::kRight | LookFlag::kLeft,
         {50, 0, 100},
         {0, 0, 1},
         {0, 0, 90}},
        {"down wins over all", 63, {0, 0, 50}, {0, 1, 0}, {-90, 0, 0}},
    };
    TwoLayers ground;
    ground.last = 999;  // the first layer counts
    for (const auto& [what, flags, lookAt, up, shown] : cases) {
        SCOPED_TRACE(what);
        Viewer viewer = LookingNorth();
        FlightInput input;
        input.lookFlags = static_cast<std::int16_t>(flags);
        viewer.Step(input, {&ground, 2.0F});
        EXPECT_THAT(viewer.LookAt(), IsNear(lookAt, 1e-3F));
        EXPECT_THAT(viewer.CameraUp(), IsNear(up, 1e-5F));
        EXPECT_NEAR(viewer.Shown().pitch, shown.pitch, 1e-3);
        if (std::abs(shown.pitch) < 90) {
            EXPECT_NEAR(viewer.Shown().heading, shown.heading, 1e-3);
        }
        EXPECT_THAT(viewer.SideAxes().forward, Is(0, 1, 0));
        input.lookFlags = 0;
        viewer.Step(input, {&ground, 2.0F});
        EXPECT_THAT(viewer.LookAt(), Is(0, 50, 100));
    }
}

TEST(Viewer, HeightLimitsFollowTheLastLayerAndTheLockOverrulesThem) {
    TwoLayers ground;
    ground.first = 500;
    ground.last = 40;
    const FlightConditions conditions{&ground, 2.0F};
    FlightInput input;
    input.useMinimumHeight = true;
    input.minimumHeight = 30;  // (40 + 30) x 2 = 140
    Viewer viewer = LookingNorth();
    viewer.Step(input, conditions);
    EXPECT_THAT(viewer.Position(), Is(0, 0, 140));
    EXPECT_NEAR(viewer.Shown().pitch, 0, 1e-4);

    input.altitudeLock = true;
    input.altitude = -60;
    viewer.Step(input, conditions);
    EXPECT_THAT(viewer.Position(), Is(0, 0, 140))
        << "locked: neither the control nor the limit counts";
    EXPECT_TRUE(viewer.AltitudeLocked());

    input = {};
    input.useMaximumHeight = true;
    input.maximumHeight = 10;  // (40 + 10) x 2 = 100
    viewer.Step(input, conditions);
    EXPECT_THAT(viewer.Position(), Is(0, 0, 100));
}

TEST(Viewer, RollZeroRebuildsTheAxesFromTheAngles) {
    Viewer viewer = LookingNorth();
    viewer.TurnBody(90, 0, 90);  // sheared
    viewer.TurnBody(0, 35, 0);
    FlightInput input;
    input.rollZero = true;
    viewer.Step(input, {});
    const Axes& axes = viewer.FlightAxes();
    EXPECT_NEAR(Dot(axes.right, axes.forward), 0, 1e-6);
    EXPECT_NEAR(Dot(axes.up, axes.forward), 0, 1e-6);
    EXPECT_NEAR(axes.right.z, 0, 1e-6);
}

TEST(Viewer, OrbitKeepsItsPointUntilAControlMoves) {
    Viewer viewer;
    viewer.StartMotion({0, 0, 0}, {0, 0, 0}, 100, 10, 0, 5.0F);
    EXPECT_THAT(viewer.Position(), Is(0, -100, 0));
    FlightInput input;
    viewer.Step(input, {nullptr, 1, 14.0F});
    EXPECT_THAT(viewer.Position(), Is(-100, 0, 0));
    EXPECT_THAT(viewer.LookAt(), Is(0, 0, 0));
    viewer.Step(input, {nullptr, 1, 41.0F});
    EXPECT_THAT(viewer.Position(), Is(0, -100, 0)) << "a whole turn after 36 seconds";

    input.pitch = 1;
    viewer.Step(input, {nullptr, 1, 42.0F});
    EXPECT_EQ(viewer.MotionRate(), 0);
    const Vec3f there = viewer.Position();
    viewer.Step({}, {nullptr, 1, 60.0F});
    EXPECT_EQ(viewer.Position(), there);
}

TEST(Viewer, TurnOnTheSpotFollowsTheFrameRate) {
    Viewer viewer;
    viewer.StartMotion({7, 8, 9}, {0, 0, 0}, 100, 30, 1, 0.0F);
    viewer.Step({}, {nullptr, 1, 0.1F, 10.0F});
    EXPECT_THAT(viewer.Position(), Is(7, 8, 9));
    EXPECT_NEAR(viewer.Shown().heading, 3, 1e-3);
    viewer.Step({}, {nullptr, 1, 0.2F, 0.0F});  // a frame without a rate
    EXPECT_NEAR(viewer.Shown().heading, 3, 1e-3);
}

// An open throttle doesn't end a motion that it was open for: its speed is noted in the first four
// frames of the first motion, in the first frame of the later ones.
TEST(Viewer, ThrottleEndsAMotionOnlyWhenItChanges) {
    Viewer viewer;
    FlightInput input;
    input.speed = 3;
    for (const int framesNoted : {4, 1, 1}) {
        viewer.StartMotion({0, 0, 0}, {0, 0, 0}, 100, 10, 0, 0.0F);
        for (int frame = 0; frame < framesNoted; ++frame) {
            input.speed = 3.0F + static_cast<float>(frame);
            viewer.Step(input, {});
            EXPECT_EQ(viewer.MotionRate(), 10) << framesNoted << " " << frame;
        }
        viewer.Step(input, {});
        EXPECT_EQ(viewer.MotionRate(), 10);
        input.speed += 1;
        viewer.Step(input, {});
        EXPECT_EQ(viewer.MotionRate(), 0) << framesNoted;
    }
    viewer.StartMotion({0, 0, 0}, {0, 0, 0}, 100, 10, 0, 0.0F);
    viewer.Step(input, {nullptr, 1, 0, 0, true});
    EXPECT_EQ(viewer.MotionRate(), 0) << "a held mouse button";
}

TEST(Viewer, RecentreLooksBackLevelFromAnywhere) {
    Viewer viewer;
    viewer.PlaceAtHome({100, 100, 500}, {0, 200, 100});
    EXPECT_NEAR(viewer.Shown().heading, 315, 1e-3);
    EXPECT_NEAR(viewer.Shown().pitch, -70.5288, 1e-3);  // asin(-400 / sqrt(180000))
    const std::tuple<const char*, Vec3f> places[] = {
        {"beside", {300, 200, 100}}, {"exactly above", {0, 200, 900}}, {"in it", {0, 200, 100}}};
    for (const auto& [what, place] : places) {
        SCOPED_TRACE(what);
        viewer.PlaceByOrientation(place, {20, 70, 123});
        viewer.Recenter();
        EXPECT_EQ(viewer.Position(), place);
        EXPECT_EQ(viewer.LookAt(), (Vec3f{0, 200, 100}));
        EXPECT_EQ(viewer.Shown().roll, 0);
        for (const Vec3f axis :
             {viewer.FlightAxes().right, viewer.FlightAxes().forward, viewer.FlightAxes().up}) {
            EXPECT_NEAR(Length(axis), 1, 1e-5);
        }
    }
    viewer.PlaceByOrientation({300, 200, 100}, {20, 70, 123});
    viewer.Recenter();
    EXPECT_THAT(viewer.FlightAxes().forward, Is(-1, 0, 0));
    EXPECT_THAT(viewer.CameraUp(), Is(0, 0, 1));
}

TEST(Viewer, RescaleUnderALookKeyKeepsTheFlight) {
    for (const std::int16_t look : {LookFlag::kLeft, LookFlag::kDown, LookFlag::kVertical}) {
        SCOPED_TRACE(look);
        Viewer viewer = LookingNorth();
        viewer.TurnBody(0, 20, 0);
        FlightInput input;
        input.lookFlags = look;
        viewer.Step(input, {});
        viewer.Rescale(2, 80);
        EXPECT_THAT(viewer.Position(), Is(0, 0, 200));
        EXPECT_THAT(viewer.FlightAxes().forward, Is(0, 1, 0));
        EXPECT_NEAR(viewer.Flight().roll, 20, 1e-2);
        EXPECT_NEAR(viewer.ViewDistance(), 50, 1e-3);
    }
}

TEST(FrameClock, SkippedTimeIsInNoRateAndNoAverage) {
    FrameClock clock;
    Vec3f viewer;
    float now = 10;
    const auto fly = [&](int frames) {
        for (int i = 0; i < frames; ++i) {
            clock.Tick(now += 0.0625F, viewer);
            viewer.x += 1;
        }
    };
    fly(40);
    ASSERT_EQ(clock.AverageFrameRate(), 16);
    now += 100;
    viewer.x += 5000;  // placed elsewhere meanwhile
    clock.Skip();
    for (int i = 0; i < 40; ++i) {
        fly(1);
        EXPECT_EQ(clock.FrameRate(), 16);
        EXPECT_EQ(clock.AverageFrameRate(), 16);
        EXPECT_EQ(clock.Velocity(), 16);
    }
    EXPECT_EQ(clock.Now(), now);
}

}  // namespace
}  // namespace tarnvale
