// Two real graphics systems side by side on real windows; needs a display and a landscape.
// usage: graphics_gl_test LANDSCAPE FOLDER [rounds of changing the system in flight]
#include "realviews.h"

namespace tarnvale {
namespace {

constexpr double kNear = 0.02;  // mean of a channel: 5 bits against 8, and what edges differ by

Vec3f Above(const Simulator& simulator, double height) {
    const Box& box = simulator.GetScene()->WholeBox();
    return {static_cast<float>(box.CentreX()), static_cast<float>(box.CentreY()),
            static_cast<float>(box.zMax * height)};
}

TEST(GraphicsGL, BothSystemsShowEveryViewAlike) {
    Program program("opengl");
    ASSERT_NO_FATAL_FAILURE(program.Open());
    program.simulator.SetViewTarget(View::kFirstPoi, Vec3f{100, -100, 0});
    const Vec3f place = Above(program.simulator, 1.2);
    ASSERT_TRUE(program.simulator.PlaceByOrientation(place, {-10, 0, 30}, true).Good());
    for (const int view :
         {View::kMain, View::kLeft, View::kRight, View::kRear, View::kUp, View::kDown,
          View::kVertical, View::kMap, View::kCustom, View::kFirstPoi}) {
        SCOPED_TRACE(view);
        if (view != View::kMain) {
            ASSERT_NO_FATAL_FAILURE(program.Show(view));
        }
        const QImage first = program.Picture(view);
        ASSERT_NO_FATAL_FAILURE(program.Change());
        EXPECT_LT(Difference(first, program.Picture(view)), kNear);
        ASSERT_NO_FATAL_FAILURE(program.Change());
        if (view != View::kMain) program.views->ShowView(view, false);
    }
}

TEST(GraphicsGL, ALostDeviceComesBackWithItsTiles) {
    Program program("opengl3");
    ASSERT_NO_FATAL_FAILURE(program.Open());
    ASSERT_TRUE(
        program.simulator.PlaceByOrientation(Above(program.simulator, 1.2), {-20, 0, 30}, true)
            .Good());
    const QImage before = program.Picture(View::kMain);
    const Vec3f place = program.simulator.GetViewer().Position();
    program.opengl3.Lose();
    EXPECT_TRUE(program.simulator.DrawFrame(true).Good());
    EXPECT_FALSE(program.opengl3.IsLost());
    EXPECT_FALSE(program.simulator.Settled()) << "the tiles come again";
    EXPECT_LT(Difference(before, program.Picture(View::kMain)), 0.0001);
    EXPECT_EQ(program.simulator.GetViewer().Position(), place);
}

TEST(GraphicsGL, ChangingTheSystemInFlightLeavesMemoryFlat) {
    Program program("opengl3");
    ASSERT_NO_FATAL_FAILURE(program.Open());
    ASSERT_NO_FATAL_FAILURE(program.Show(View::kDown));
    ExpectNothingLeftBehind(10, [&](int round) {
        ASSERT_NO_FATAL_FAILURE(program.Change());
        const auto degrees = static_cast<float>(round * 20 % 360);
        ASSERT_TRUE(program.simulator
                        .PlaceByOrientation(Above(program.simulator, 1.2), {-20, 0, degrees}, true)
                        .Good());
        ASSERT_TRUE(program.Turn([&] { return program.simulator.Settled(); }));
        EXPECT_GT(program.prototype->Counters().triangles, 0U);
    });
}

}  // namespace
}  // namespace tarnvale

int main(int argc, char** argv) {
    return tarnvale::RunRealViews(argc, argv);
}
