#pragma once

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
#include <string>

#include "app/sideviews.h"
#include "app/tarnvaleview.h"
#include "app/viewdialog.h"
#include "graphics/opengl/openglgraphics.h"
#include "graphics/opengl3/opengl3graphics.h"
#include "landscape/simfile.h"
#include "simulator/picturetexts.h"

namespace tarnvale {

inline FILEPATH landscapeFile, folder;
inline int rounds = 20;

// As wide as the strip of controls of every view.
inline constexpr QSize kPicture(520, 300);

/// A main view with its window, a landscape, and the side views.
class Program {
public:
    /// @param system  by its name
    explicit Program(const std::string& system) {
        if (system == opengl3.Name()) prototype = &opengl3;
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
        (void)prototype->Shutdown();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void Open() {
        ASSERT_TRUE(simulator.Initialize(nullptr).Good());
        ASSERT_TRUE(prototype->Open(mainView).Good());
        ASSERT_TRUE(simulator.AttachGraphicsSystem(prototype, View::kMain).Good());
        SimulatorFile file;
        ASSERT_TRUE(file.Read(landscapeFile).Good());
        ASSERT_TRUE(simulator.BuildScene(file).Good());
        views = std::make_unique<SideViews>(simulator, *mainView);
        views->Attach(prototype, &frame_);
    }
    /// Draws by the other system from now on, as the program does when the user chooses it.
    void Change() {
        GraphicsSystem* const other =
            prototype == &opengl3 ? static_cast<GraphicsSystem*>(&opengl) : &opengl3;
        ASSERT_TRUE(simulator.AttachGraphicsSystem(nullptr, View::kMain).Good());
        views->Attach(nullptr, &frame_);
        ASSERT_TRUE(prototype->Shutdown().Good());
        prototype = other;
        ASSERT_TRUE(prototype->Open(mainView).Good()) << GetErrPosn().detail;
        ASSERT_TRUE(simulator.AttachGraphicsSystem(prototype, View::kMain).Good());
        views->Attach(prototype, &frame_);
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

    OpenGLGraphicsSystem opengl;
    OpenGL3GraphicsSystem opengl3;
    GraphicsSystem* prototype = &opengl;  // what draws
    Simulator simulator;
    CTarnvaleView* mainView = new CTarnvaleView;  // owned by its container
    std::unique_ptr<SideViews> views;

private:
    QWidget frame_;
};

/// Mean difference of two pictures' channels, 0 to 1; 1 for pictures of different size.
[[nodiscard]] inline double Difference(const QImage& a, const QImage& b) {
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

struct Usage {
    long handles = 0, threads = 0, resident = 0;  // resident in kilobytes
};

[[nodiscard]] inline Usage Measure() {
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

/// Turns round after round and expects that nothing is left behind.
/// @param settling  rounds before the count: drivers and toolkits keep what they made first
template <typename Round>
void ExpectNothingLeftBehind(int settling, Round turn) {
    Usage first, last;
    for (int round = 0; round < settling + rounds; ++round) {
        ASSERT_NO_FATAL_FAILURE(turn(round));
        last = Measure();
        if (round == settling - 1) first = last;
        if (round % 10 == 4) {
            std::printf("round %d: %ld handles, %ld threads, %ld kB\n", round + 1, last.handles,
                        last.threads, last.resident);
            std::fflush(stdout);
        }
    }
    EXPECT_LE(last.handles, first.handles);
    EXPECT_LE(last.threads, first.threads);
    // The allocator's noise is some 10 MB; a hundred kilobytes left by each of all views, opened
    // again and again, would be more.
    EXPECT_LT(last.resident - first.resident, 24 * 1024);
    EXPECT_GT(first.threads, 1) << "nothing was counted";
}

/// @param argv  program, landscape, folder for pictures, rounds
inline int RunRealViews(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    if (argc < 3) {
        (void)std::fprintf(stderr, "usage: %s LANDSCAPE FOLDER [ROUNDS]\n", argv[0]);
        return 2;
    }
    landscapeFile = argv[1];
    folder = argv[2];
    if (argc > 3) rounds = std::max(1, std::atoi(argv[3]));
    return RUN_ALL_TESTS();
}

}  // namespace tarnvale
