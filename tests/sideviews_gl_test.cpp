// Side views with real drawing contexts; needs a display and a landscape.
// usage: sideviews_gl_test LANDSCAPE FOLDER [rounds of opening and closing all views]
#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QHBoxLayout>
#include <QImage>
#include <QWidget>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <ranges>
#include <string>
#include <tuple>

#include "app/sideviews.h"
#include "app/tarnvaleview.h"
#include "app/viewdialog.h"
#include "graphics/opengl/openglgraphics.h"
#include "landscape/simfile.h"
#include "simulator/picturetexts.h"

namespace tarnvale {
namespace {

FILEPATH landscapeFile, folder;
int rounds = 20;

constexpr QSize kPicture(400, 300);

/// A main view with its window, a landscape, and the side views.
class Program {
public:
    Program() {
        frame_.resize(kPicture);
        auto* const layout = new QHBoxLayout(&frame_);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(QWidget::createWindowContainer(mainView, &frame_));
        frame_.show();
        Turn([this] { return mainView->isExposed(); });
    }
    ~Program() {
        views.reset();
        simulator.Unload();
        (void)prototype.Shutdown();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void Open() {
        ASSERT_TRUE(simulator.Initialize(nullptr).Good());
        ASSERT_TRUE(prototype.Open(mainView).Good());
        ASSERT_TRUE(simulator.AttachGraphicsSystem(&prototype, View::kMain).Good());
        SimulatorFile file;
        ASSERT_TRUE(file.Read(landscapeFile).Good());
        ASSERT_TRUE(simulator.BuildScene(file).Good());
        views = std::make_unique<SideViews>(simulator, *mainView);
        views->Attach(&prototype, &frame_);
    }
    /// Handles events and draws until `done`, at most some seconds.
    template <typename Done>
    bool Turn(Done done) {
        QElapsedTimer time;
        time.start();
        while (!done() && time.elapsed() < 30000) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            if (simulator.GetScene() == nullptr) continue;
            EXPECT_TRUE(simulator.DrawFrame(true).Good());
        }
        return done();
    }
    /// A view's picture with every tile in it.
    QImage Picture(int view) {
        EXPECT_TRUE(simulator.DrawFrame(true).Good());
        EXPECT_TRUE(Turn([this] { return simulator.Settled(); }));
        const FILEPATH file = folder / ("view " + std::to_string(view) + ".png");
        GraphicsSystem& system = *simulator.GetGraphicsSystem(view);
        system.RequestScreenShot(
            file, [&] { return TextsOfView(simulator, view, "a test", landscapeFile); });
        EXPECT_TRUE(simulator.DrawFrame(true).Good());
        const std::optional<Status> written = system.TakeScreenShotResult();
        EXPECT_TRUE(written.has_value() && written->Good());
        return QImage(QString::fromStdString(file.string()));
    }
    /// Shows a view's window with a picture of kPicture pixels.
    void Show(int view) {
        views->ShowView(view, true);
        ViewWindow& window = *views->Window(view);
        ASSERT_TRUE(Turn([&] { return window.Picture().isExposed(); })) << view;
        window.resize(window.size() - window.Picture().size() + kPicture);
        ASSERT_TRUE(Turn([&] { return window.Picture().size() == kPicture; })) << view;
    }

    OpenGLGraphicsSystem prototype;
    Simulator simulator;
    CTarnvaleView* mainView = new CTarnvaleView;  // owned by its container
    std::unique_ptr<SideViews> views;

private:
    QWidget frame_;
};

/// Mean difference of two pictures' channels, 0 to 1; 1 for pictures of different size.
double Difference(const QImage& a, const QImage& b) {
    if (a.size() != b.size() || a.isNull()) return 1;
    double sum = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            sum += std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) +
                   std::abs(qBlue(p) - qBlue(q));
        }
    }
    return sum / (3.0 * 255 * a.width() * a.height());
}

// Each view shows what the main view shows when the viewer turns that way.
TEST(SideViewsGL, EachViewLooksItsOwnWay) {
    Program program;
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

TEST(SideViewsGL, TheMapShowsTheWholeLandUntilItIsZoomed) {
    Program program;
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

TEST(SideViewsGL, ATextureIsTurnedOffInOneViewAlone) {
    Program program;
    ASSERT_NO_FATAL_FAILURE(program.Open());
    for (const int view : {View::kVertical, View::kDown})
        ASSERT_NO_FATAL_FAILURE(program.Show(view));
    const QImage before = program.Picture(View::kDown);
    ASSERT_TRUE(program.simulator.SetTextureVisible(0, 0, View::kVertical, false).Good());
    EXPECT_LT(Difference(before, program.Picture(View::kDown)), 0.002);
    EXPECT_GT(Difference(before, program.Picture(View::kVertical)), 0.1);
}

TEST(SideViewsGL, AMinimisedViewIsNotDrawn) {
    Program program;
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

struct Usage {
    long handles = 0, threads = 0, resident = 0;  // resident in kilobytes
};

Usage Measure() {
    Usage usage;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        (void)entry;
        ++usage.handles;
    }
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "Threads:") status >> usage.threads;
        if (word == "VmRSS:") status >> usage.resident;
    }
    return usage;
}

TEST(SideViewsGL, OpeningAndClosingAllLeavesNothingBehind) {
    Program program;
    ASSERT_NO_FATAL_FAILURE(program.Open());
    program.simulator.SetViewTarget(View::kFirstPoi, Vec3f{100, -100, 0});
    Usage first, last;
    // Drivers and toolkits keep what they made first, so a few rounds go before the count.
    constexpr int kSettling = 5;
    for (int round = 0; round < kSettling + rounds; ++round) {
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
        last = Measure();
        if (round == kSettling - 1) first = last;
        if (round % 10 == 4) {
            std::printf("round %d: %ld handles, %ld threads, %ld kB\n", round + 1, last.handles,
                        last.threads, last.resident);
            std::fflush(stdout);
        }
    }
    EXPECT_LE(last.handles, first.handles);
    EXPECT_LE(last.threads, first.threads);
    // The allocator's noise is some 10 MB; a hundred kilobytes left by each view would be more.
    EXPECT_LT(last.resident - first.resident, 24 * 1024);
    EXPECT_GT(first.threads, 1) << "nothing was counted";
}

}  // namespace
}  // namespace tarnvale

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    if (argc < 3) {
        (void)std::fprintf(stderr, "usage: sideviews_gl_test LANDSCAPE FOLDER [ROUNDS]\n");
        return 2;
    }
    tarnvale::landscapeFile = argv[1];
    tarnvale::folder = argv[2];
    if (argc > 3) tarnvale::rounds = std::max(1, std::atoi(argv[3]));
    return RUN_ALL_TESTS();
}
