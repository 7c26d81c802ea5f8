#include "app/sideviews.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <memory>
#include <vector>

#include "app/screenshots.h"
#include "app/tarnvaleview.h"
#include "app/viewdialog.h"
#include "base/inistore.h"
#include "base/settings.h"
#include "graphics/nullgraphics.h"
#include "landscape/simfile.h"
#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

/// Draws nothing; some of its instances have no context to draw with.
class FakePrototype final : public NullGraphicsSystem {
public:
    [[nodiscard]] std::unique_ptr<GraphicsSystem> CreateInstance() const override {
        return std::make_unique<FakeInstance>(fails);
    }
    bool fails = false;

private:
    class FakeInstance final : public NullGraphicsSystem {
    public:
        explicit FakeInstance(bool fails) : fails_(fails) {}

    private:
        Status OpenDevice() override {
            return fails_ ? _SetErrPosn(StatusCode::NotBuilt, "no context to be had")
                          : Status(StatusCode::Ok);
        }
        bool fails_;
    };
};

class RecordingSink final : public KeySink {
public:
    bool KeyDown(Key key, bool) override {
        down.push_back(key);
        return key == Key::Left;
    }
    bool KeyUp(Key key) override { return key == Key::Left; }
    void AllKeysUp() override { ++released; }
    std::vector<Key> down;
    int released = 0;
};

class SideViewsTest : public testing::Test {
protected:
    void SetUp() override {
        // Tests run side by side: each has settings of its own.
        const std::string ini = std::string(TARNVALE_TEST_TEMP "/sideviews_") +
                                testing::UnitTest::GetInstance()->current_test_info()->name() +
                                ".ini";
        std::filesystem::remove(ini);
        qputenv("TARNVALE_INI", ini.c_str());
        settings::MapExtents = 100;
        mainView->SetKeySink(&sink);
        ASSERT_TRUE(simulator.Initialize(nullptr).Good());
        ASSERT_TRUE(prototype.Open(mainView.get()).Good());
        ASSERT_TRUE(simulator.AttachGraphicsSystem(&prototype, View::kMain).Good());
        views = std::make_unique<SideViews>(simulator, *mainView);
    }
    void TearDown() override {
        views.reset();
        simulator.Unload();
        settings::MapExtents = 100;
    }
    void OpenLandscape() {
        const ZPF::ScratchFolder folder;
        ASSERT_TRUE(ZPF::Good(ZPF::WriteLandscape(folder / "small.sim")));
        ASSERT_TRUE(file.Read(folder / "small.sim").Good());
        ASSERT_TRUE(simulator.BuildScene(file).Good());
        views->RebuildLayerLists();
    }
    template <typename Widget>
    [[nodiscard]] Widget* Find(int view, const char* name) const {
        return views->Window(view)->findChild<Widget*>(QLatin1String(name));
    }
    [[nodiscard]] static bool Stored(const char* key, bool otherwise) {
        bool value = otherwise;
        (void)_iniRead(key, value);
        return value;
    }

    RecordingSink sink;
    SimulatorFile file;
    FakePrototype prototype;
    std::unique_ptr<CTarnvaleView> mainView = std::make_unique<CTarnvaleView>();
    Simulator simulator;
    QWidget mainWindow;
    std::unique_ptr<SideViews> views;
};

TEST_F(SideViewsTest, WhatWasShownComesAgainWithTheNextStart) {
    _iniWrite("rearShow", true);
    _iniWrite("upShow", false);
    _iniWrite("point_of_interest_1Show", true);  // these aren't kept
    views->Attach(&prototype, &mainWindow);
    for (int view = 0; view < View::kMain; ++view)
        EXPECT_EQ(views->IsShown(view), view == View::kRear) << view;
    EXPECT_NE(simulator.GetGraphicsSystem(View::kRear), nullptr);

    QSignalSpy shown(views.get(), &SideViews::ViewShown);
    views->ToggleView(View::kUp);
    views->ToggleView(View::kMap);
    views->ToggleView(View::kMap);
    views->ShowView(View::kFirstPoi, true);
    views->ShowView(View::kMain, true);
    views->ShowView(-1, true);
    ASSERT_EQ(shown.count(), 4);
    EXPECT_EQ(shown.at(2), (QList<QVariant>{View::kMap + 0, false}));
    EXPECT_NE(simulator.GetGraphicsSystem(View::kMap), nullptr) << "hidden, but still there";

    views->CloseWithProgram();
    for (int view = 0; view < View::kMain; ++view)
        EXPECT_EQ(simulator.GetGraphicsSystem(view), nullptr);
    EXPECT_TRUE(Stored("rearShow", false));
    EXPECT_TRUE(Stored("upShow", false));
    EXPECT_FALSE(Stored("map_viewShow", true));
    std::string placement;
    EXPECT_TRUE(_iniRead("point_of_interest_1Placement", placement));
    EXPECT_TRUE(_iniRead("map_viewPlacement", placement));
    EXPECT_FALSE(_iniRead("leftPlacement", placement)) << "never made";
}

TEST_F(SideViewsTest, AWindowThatTheUserClosesIsFreed) {
    views->Attach(&prototype, &mainWindow);
    views->ShowView(View::kDown, true);
    const QPointer<ViewWindow> window = views->Window(View::kDown);
    views->EnableCommands(false);
    EXPECT_FALSE(window->close()) << "not while a landscape opens";
    views->ToggleView(View::kDown);
    EXPECT_TRUE(views->IsShown(View::kDown));
    views->EnableCommands(true);
    EXPECT_TRUE(window->close());
    QCoreApplication::processEvents();
    EXPECT_TRUE(window.isNull());
    EXPECT_EQ(simulator.GetGraphicsSystem(View::kDown), nullptr);
    EXPECT_FALSE(Stored("downShow", true));
    EXPECT_TRUE(simulator.DrawFrame(true).Good());
}

TEST_F(SideViewsTest, AViewWithoutContextSaysSoAndCostsTheOthersNothing) {
    OpenLandscape();
    views->Attach(&prototype, &mainWindow);
    views->ShowView(View::kLeft, true);
    prototype.fails = true;
    views->ShowView(View::kRight, true);
    EXPECT_EQ(simulator.GetGraphicsSystem(View::kRight), nullptr);
    EXPECT_NE(simulator.GetGraphicsSystem(View::kLeft), nullptr);
    const auto* const why = Find<QLabel>(View::kRight, "ViewFailure");
    EXPECT_TRUE(why->isVisible());
    EXPECT_TRUE(why->text().contains("no context to be had")) << why->text().toStdString();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&views->Window(View::kLeft)->Picture()));
    EXPECT_TRUE(simulator.DrawFrame(true).Good());
    EXPECT_GT(simulator.GetGraphicsSystem(View::kLeft)->Counters().triangles, 0U);

    // With another kind of system it may go: first none, then the new one.
    prototype.fails = false;
    views->Attach(nullptr, &mainWindow);
    EXPECT_EQ(simulator.GetGraphicsSystem(View::kLeft), nullptr);
    EXPECT_TRUE(views->IsShown(View::kLeft));
    views->Attach(&prototype, &mainWindow);
    EXPECT_NE(simulator.GetGraphicsSystem(View::kLeft), nullptr);
    EXPECT_NE(simulator.GetGraphicsSystem(View::kRight), nullptr);
    EXPECT_FALSE(why->isVisible());
}

TEST_F(SideViewsTest, ANewLandscapeClosesTheViewsOfPoints) {
    views->Attach(&prototype, &mainWindow);
    views->SetTitle(View::kFirstPoi, "Church");
    for (const int view : {View::kFirstPoi, View::kMain - 1, int{View::kCustom}})
        views->ShowView(view, true);
    EXPECT_EQ(views->Window(View::kFirstPoi)->windowTitle(), "Church");
    EXPECT_TRUE(views->Window(View::kMain - 1)->windowTitle().endsWith(" 8"));
    views->CloseLandscapeViews();
    EXPECT_EQ(views->Window(View::kFirstPoi), nullptr);
    EXPECT_EQ(views->Window(View::kMain - 1), nullptr);
    EXPECT_TRUE(views->IsShown(View::kCustom));
}

TEST_F(SideViewsTest, TheStripZoomsAndTurnsAndChoosesTextures) {
    views->Attach(&prototype, &mainWindow);
    views->ShowView(View::kCustom, true);
    views->ShowView(View::kMap, true);
    views->ShowView(View::kLeft, true);
    EXPECT_EQ(Find<QPushButton>(View::kLeft, "ViewZoomIn"), nullptr);
    EXPECT_FALSE(Find<QPushButton>(View::kLeft, "ViewLayers")->isEnabled()) << "no landscape";
    OpenLandscape();

    Find<QPushButton>(View::kCustom, "ViewZoomIn")->click();
    Find<QPushButton>(View::kCustom, "ViewZoomIn")->click();
    Find<QPushButton>(View::kCustom, "ViewZoomOut")->click();
    EXPECT_EQ(simulator.Custom().fieldOfView, 40);
    EXPECT_EQ(settings::MapExtents, 100);
    Find<QPushButton>(View::kMap, "ViewZoomIn")->click();
    EXPECT_EQ(settings::MapExtents, 80);
    Find<QPushButton>(View::kMap, "ViewFull")->click();
    EXPECT_EQ(settings::MapExtents, 100);

    QTest::keyClick(Find<QDoubleSpinBox>(View::kCustom, "ViewYaw"), Qt::Key_Up);
    QTest::keyClick(Find<QDoubleSpinBox>(View::kCustom, "ViewPitch"), Qt::Key_Down);
    QTest::keyClick(Find<QDoubleSpinBox>(View::kCustom, "ViewOffset"), Qt::Key_Up);
    Find<QDoubleSpinBox>(View::kCustom, "ViewRoll")->setValue(-12.5);
    auto* const offset = Find<QDoubleSpinBox>(View::kCustom, "ViewOffset");
    offset->setFocus();
    QTest::keyClick(offset, Qt::Key_Return);
    EXPECT_FALSE(offset->hasFocus()) << "the keys fly again";
    EXPECT_TRUE(sink.down.empty()) << "but this one doesn't";
    EXPECT_EQ(simulator.Custom().yaw, 5);
    EXPECT_EQ(simulator.Custom().pitch, -5);
    EXPECT_EQ(simulator.Custom().roll, -12.5F);
    EXPECT_EQ(simulator.Custom().offset, 10);

    const auto visible = [this](int view) {
        return simulator.GetScene()->Layers().front()->textures.front().visible[view];
    };
    auto* const texture = Find<QAction>(View::kLeft, "ViewTexture0_0");
    ASSERT_NE(texture, nullptr);
    EXPECT_TRUE(texture->isChecked());
    texture->trigger();
    EXPECT_FALSE(visible(View::kLeft));
    EXPECT_TRUE(visible(View::kMap));
    ASSERT_TRUE(simulator.SetTextureVisible(0, 0, View::kLeft, true).Good());
    emit Find<QPushButton>(View::kLeft, "ViewLayers")->menu()->aboutToShow();
    EXPECT_TRUE(texture->isChecked()) << "whoever changed it";
    EXPECT_TRUE(visible(View::kLeft));
    simulator.Unload();
    views->RebuildLayerLists();
    EXPECT_FALSE(Find<QPushButton>(View::kLeft, "ViewLayers")->isEnabled());
}

TEST_F(SideViewsTest, KeysAndMouseOfAPictureReachTheSimulator) {
    OpenLandscape();
    views->Attach(&prototype, &mainWindow);
    views->ShowView(View::kMap, true);
    CTarnvaleView& picture = views->Window(View::kMap)->Picture();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&picture));
    ASSERT_TRUE(simulator.DrawFrame(true).Good());

    QTest::keyPress(&picture, Qt::Key_Left);
    EXPECT_EQ(sink.down, std::vector{Key::Left});
    QSignalSpy wanted(views.get(), &SideViews::ScreenShotWanted);
    QTest::keyClick(&picture, Qt::Key_F5);
    ASSERT_EQ(wanted.count(), 1);
    EXPECT_EQ(wanted.at(0).at(0).toInt(), int{View::kMap});
    EXPECT_EQ(sink.down.size(), 1U);
    QSignalSpy leaves(&picture, &CTarnvaleView::FocusLeaves);
    QTest::keyClick(&picture, Qt::Key_Return);
    EXPECT_EQ(leaves.count(), 1) << "Enter that nothing is bound to goes on as Tab";

    // The viewer is above the middle, in device pixels and not before the release.
    QSignalSpy clicked(views.get(), &SideViews::ViewClicked);
    const QPoint middle(picture.width() / 2, picture.height() / 2), aside(middle.x(), 10);
    QTest::mouseMove(&picture, middle);
    QTest::qWait(20);
    EXPECT_EQ(picture.cursor().shape(), Qt::BitmapCursor) << "a hand above the viewer";
    const Vec3f look = simulator.GetViewer().LookAt();
    QTest::mousePress(&picture, Qt::LeftButton, {}, aside);
    EXPECT_EQ(picture.cursor().shape(), Qt::ArrowCursor);
    EXPECT_NE(simulator.GetViewer().LookAt(), look) << "the map swings at once";
    QTest::mouseRelease(&picture, Qt::LeftButton, {}, aside);
    const double ratio = picture.devicePixelRatio();
    const std::optional<GroundPoint> ground = simulator.PickGround(
        View::kMap, static_cast<int>(aside.x() * ratio), static_cast<int>(aside.y() * ratio));
    ASSERT_TRUE(ground.has_value());
    EXPECT_LT(Length(simulator.GetViewer().LookAt() - ground->scene), 1);
    ASSERT_GE(clicked.count(), 2);
    EXPECT_EQ(clicked.back(), (QList<QVariant>{false, false}));
    views->ShowView(View::kMap, false);
}

TEST(ScreenShots, ANameGetsTheSuffixOfItsKindOnce) {
    const std::tuple<const char*, bool, const char*> cases[] = {
        {"/a/hill", false, "/a/hill.png"},
        {"/a/hill", true, "/a/hill.bmp"},
        {"/a/hill.png", true, "/a/hill.png"},
        {"/a/hill.BMP", false, "/a/hill.BMP"},
        {"/a.b/hill", false, "/a.b/hill.png"},
        {"/a/hill.5", true, "/a/hill.5.bmp"},
        {"", false, ""},
    };
    for (const auto& [name, bitmap, whole] : cases)
        EXPECT_EQ(WithPictureSuffix(name, bitmap).toStdString(), whole);
}

}  // namespace
}  // namespace tarnvale
