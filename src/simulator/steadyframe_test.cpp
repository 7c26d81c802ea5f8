#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>

#include "base/allocations_for_test.h"
#include "base/settings.h"
#include "graphics/nullgraphics.h"
#include "landscape/simfile.h"
#include "simulator/fakes_for_test.h"
#include "simulator/simulatr.h"
#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

using ZPF::Good;
using namespace std::chrono_literals;

// Draws from a place until every tile is there. @return false if that takes too long
bool Settle(Simulator& simulator, const Vec3f& eye, const Vec3f& look) {
    for (int pass = 0; pass < 2000; ++pass) {
        if (!simulator.PlaceByLookAt(eye, look, true).Good()) return false;
        if (simulator.Settled()) return true;
        std::this_thread::sleep_for(2ms);
    }
    return false;
}

Vec3f EyeAt(int frame) {
    const float angle = static_cast<float>(frame) * 0.05F;
    return {7500 + 4000 * std::cos(angle), -7500 + 4000 * std::sin(angle), 900};
}

TEST(SteadyFrame, AllocatesNothing) {
    const ZPF::ScratchFolder folder;
    ASSERT_TRUE(Good(ZPF::WriteLandscape(folder / "small.sim")));
    SimulatorFile file;
    ASSERT_TRUE(Good(file.Read(folder / "small.sim")));
    fakes::FixedWindow window(1280, 720);
    NullGraphicsSystem main, map;
    ASSERT_TRUE(main.Open(&window).Good());
    ASSERT_TRUE(map.Open(&window).Good());
    Simulator simulator;
    ASSERT_TRUE(simulator.Initialize(nullptr).Good());
    ASSERT_TRUE(simulator.AttachGraphicsSystem(&main, View::kMain).Good());
    ASSERT_TRUE(simulator.AttachGraphicsSystem(&map, View::kMap).Good());
    ASSERT_TRUE(Good(simulator.BuildScene(file, FirstFrame::Left)));
    EXPECT_EQ(main.Counters().triangles, 0U) << "the first frame is left to the caller";
    EXPECT_GT(simulator.GetViewer().Position().z, 0) << "but the viewer is in place";

    for (int view = View::kFirstPoi; view < View::kMain; ++view) {
        ASSERT_TRUE(simulator.Pois().CreatePOIView(view, 1 + view % 5).Good());
        Vec3d place;
        const float east = 6000.0F + 400.0F * static_cast<float>(view - View::kFirstPoi);
        ASSERT_TRUE(Good(simulator.SceneToMap({east, -7500, 0}, place)));
        ASSERT_TRUE(Good(simulator.Pois().SetPOIPosition(view, place.x, place.y)));
    }

    // Once round with every tile waited for, so that all memory has the size that this flight
    // takes.
    constexpr int kFrames = 120;
    const Vec3f target{7500, -7500, 0};
    for (int frame = 0; frame < kFrames; ++frame)
        ASSERT_TRUE(Settle(simulator, EyeAt(frame), target));
    ASSERT_GT(main.Counters().triangles, 500U);
    const FlightInput still;
    ASSERT_TRUE(settings::Compass.Get());
    simulator.Pois().SetCurrentPOIView(View::kFirstPoi);
    for (int frame = 0; frame < kFrames; ++frame) {
        const std::size_t before = Allocations();
        const Status placed = simulator.PlaceByLookAt(EyeAt(frame), target, true);
        const Status updated = simulator.Update(&still, true);
        simulator.SetToolMode(ToolMode::PointOfInterest);
        simulator.OnMouse(View::kMap, 600 + frame, 300, true, false);  // a point is dragged
        simulator.SetToolMode(ToolMode::Viewpoint);
        EXPECT_EQ(Allocations(), before) << "frame " << frame;
        EXPECT_TRUE(placed.Good() && updated.Good());
    }
    // Under ground, where the veil is drawn; nothing but sky ahead; and the other mark in the map.
    const Vec3f deep{7500, -7500, -50}, high{7500, -7500, 9000};
    for (const int locator : {0, 1}) {
        settings::MapLocator.SetUnsaved(locator);
        for (const Vec3f& ahead : {target, high}) {
            ASSERT_TRUE(Settle(simulator, deep, ahead));
            const std::size_t before = Allocations();
            EXPECT_TRUE(simulator.PlaceByLookAt(deep, ahead, true).Good());
            EXPECT_EQ(Allocations(), before) << locator;
        }
    }
    settings::MapLocator.SetUnsaved(0);
    EXPECT_GT(Allocations(), 0U) << "nothing is counted at all";
    simulator.Unload();
}

}  // namespace
}  // namespace tarnvale
