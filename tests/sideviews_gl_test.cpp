// Side views with real drawing contexts; needs a display and a landscape.
// usage: sideviews_gl_test LANDSCAPE FOLDER [rounds of opening and closing all views]
#include <ranges>
#include <tuple>

#include "realviews.h"

namespace tarnvale {
namespace {

class SideViewsGL : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Systems, SideViewsGL, testing::Values("opengl", "opengl3"));

// Each view shows what the main view shows when the viewer turns that way.
TEST_P(SideViewsGL, EachViewLooksItsOwnWay) {
    Program program(GetParam());
    ASSERT_NO_FATAL_FAILURE(program.Open());
    const Box& box = program.simulator.GetScene()->WholeBox();
    const Vec3f place{static_cast<float>(box.CentreX()), static_cast<float>(box.CentreY()),
                      static_cast<float>(box.zMax * 1.2)};
    program.simulator.Custom().yaw = 40;
    constexpr float kHeading = 30;
    const std::tuple<int, const char*, Attitude> cases[] = {
        {View::kLeft, "left", {0, 0, kHeading - 90}},
        {View::kRight, "right", {0, 0, kHeading + 90}},
        {View::kRear, "rear", {0, 0, kHeading + 180}},
        {View::kDown, "down", {-90, 0, kHeading}},
        {View::kVertical, "vertical", {-90, 0, kHeading}},
        {View::kCustom, "custom, turned to the left", {0, 0, kHeading - 40}},
        {View::kFirstPoi, "a point ahead and below", {-45, 0, kHeading}},
    };
    const Attitude level{0, 0, kHeading};
    const Vec3f ahead = AxesFromAttitude({-45, 0, kHeading}).forward * (place.z * 0.5F);
    program.simulator.SetViewTarget(View::kFirstPoi, place + ahead);
    ASSERT_TRUE(program.simulator.PlaceByOrientation(place, level, true).Good());
    const QImage straight = program.Picture(View::kMain);
    for (const auto& [view, what, attitude] : cases) {
        SCOPED_TRACE(what);
        ASSERT_NO_FATAL_FAILURE(program.Show(view));
        ASSERT_TRUE(program.simulator.PlaceByOrientation(place, level, true).Good());
        const QImage side = program.Picture(view);
        EXPECT_GT(Difference(side, straight), 0.03) << "not what the main view shows";
        ASSERT_TRUE(program.simulator.PlaceByOrientation(place, attitude, true).Good());
        EXPECT_LT(Difference(side, program.Picture(View::kMain)), 0.01);
        program.views->ShowView(view, false);
    }
}

TEST_P(SideViewsGL, TheMapShowsTheWholeLandUntilItIsZoomed) {
    Program program(GetParam());
    ASSERT_NO_FATAL_FAILURE(program.Open());
    ASSERT_NO_FATAL_FAILURE(program.Show(View::kMap));
    const QImage whole = program.Picture(View::kMap);
    // Land everywhere but at the very edge: the background is black.
    const auto lit = [](const QImage& picture, int left, int right, int top, int bottom) {
        int count = 0;
        for (int y = top; y < bottom; ++y) {
            for (int x = left; x < right; ++x) count += qGray(picture.pixel(x, y)) > 8 ? 1 : 0;
        }
        return static_cast<double>(count) / ((right - left) * (bottom - top));
    };
    const int side = kPicture.height() * 94 / 100, left = (kPicture.width() - side) / 2,
              top = (kPicture.height() - side) / 2;
    EXPECT_GT(lit(whole, left, left + side, top, top + side), 0.98);
    EXPECT_LT(lit(whole, 0, left / 2, 0, kPicture.height()), 0.02) << "nothing beside it";
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(program.simulator.ZoomView(View::kMap, ViewZoom::In).Good());
    const QImage zoomed = program.Picture(View::kMap);
    EXPECT_GT(lit(zoomed, 0, kPicture.width(), 0, kPicture.height()), 0.9);
    EXPECT_GT(Difference(whole, zoomed), 0.03);
    ASSERT_TRUE(program.simulator.ZoomView(View::kMap, ViewZoom::Full).Good());
    EXPECT_LT(Difference(whole, program.Picture(View::kMap)), 0.002);
    EXPECT_EQ(whole.text("Source").toStdString(), landscapeFile.filename().string());
    EXPECT_FALSE(whole.text("Position").isEmpty());
    EXPECT_TRUE(whole.text("CRS").startsWith("EPSG:")) << whole.text("CRS").toStdString();
}

TEST_P(SideViewsGL, ATextureIsTurnedOffInOneViewAlone) {
    Program program(GetParam());
    ASSERT_NO_FATAL_FAILURE(program.Open());
    for (const int view : {View::kVertical, View::kDown})
        ASSERT_NO_FATAL_FAILURE(program.Show(view));
    const QImage before = program.Picture(View::kDown);
    ASSERT_TRUE(program.simulator.SetTextureVisible(0, 0, View::kVertical, false).Good());
    EXPECT_LT(Difference(before, program.Picture(View::kDown)), 0.002);
    EXPECT_GT(Difference(before, program.Picture(View::kVertical)), 0.1);
}

TEST_P(SideViewsGL, AMinimisedViewIsNotDrawn) {
    Program program(GetParam());
    ASSERT_NO_FATAL_FAILURE(program.Open());
    ASSERT_NO_FATAL_FAILURE(program.Show(View::kDown));
    ViewWindow& window = *program.views->Window(View::kDown);
    window.showMinimized();
    ASSERT_TRUE(program.Turn([&] { return !program.views->AnyVisible(); }));
    GraphicsSystem& system = *program.simulator.GetGraphicsSystem(View::kDown);
    const FILEPATH shot = folder / "minimised.png";
    system.RequestScreenShot(shot);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(program.simulator.DrawFrame(true).Good());
    EXPECT_TRUE(system.ScreenShotWanted()) << "a picture was drawn";
    program.views->ShowView(View::kDown, true);
    EXPECT_TRUE(program.Turn([&] { return !system.ScreenShotWanted(); })) << "drawn again";
    EXPECT_TRUE(std::filesystem::exists(shot));
}

TEST_P(SideViewsGL, OpeningAndClosingAllLeavesNothingBehind) {
    Program program(GetParam());
    ASSERT_NO_FATAL_FAILURE(program.Open());
    program.simulator.SetViewTarget(View::kFirstPoi, Vec3f{100, -100, 0});
    ExpectNothingLeftBehind(5, [&](int) {
        for (int view = 0; view < View::kMain; ++view) program.views->ShowView(view, true);
        for (int view = 0; view < View::kMain; ++view) {
            ASSERT_TRUE(
                program.Turn([&] { return program.views->Window(view)->Picture().isExposed(); }));
            ASSERT_NE(program.simulator.GetGraphicsSystem(view), nullptr) << view;
        }
        EXPECT_TRUE(program.simulator.DrawFrame(true).Good());
        for (int view = 0; view < View::kCount; ++view) {
            if (view == View::kUp) continue;  // nothing but sky
            EXPECT_GT(program.simulator.GetGraphicsSystem(view)->Counters().triangles, 0U) << view;
        }
        // Half by the user, half by the program.
        for (int view = 0; view < View::kFirstPoi; ++view) program.views->Window(view)->close();
        program.views->CloseLandscapeViews();
        ASSERT_TRUE(program.Turn([&] {
            return std::ranges::none_of(std::views::iota(0, int{View::kMain}), [&](int view) {
                return program.views->Window(view) != nullptr;
            });
        }));
        EXPECT_TRUE(program.simulator.DrawFrame(true).Good());
        for (int view = 0; view < View::kMain; ++view)
            EXPECT_EQ(program.simulator.GetGraphicsSystem(view), nullptr);
    });
}

}  // namespace
}  // namespace tarnvale

int main(int argc, char** argv) {
    return tarnvale::RunRealViews(argc, argv);
}
