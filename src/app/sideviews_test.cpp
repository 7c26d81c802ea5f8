#include "app/sideviews.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <memory>
#include <tuple>

#include "app/screenshots.h"
#include "app/tarnvaleview.h"
#include "app/viewdialog.h"
#include "app/widgets_for_test.h"
#include "base/settings.h"
#include "graphics/nullgraphics.h"
#include "landscape/simfile.h"
#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

/// Draws nothing; while `fails`, its instances have no context to draw with.
class FakePrototype final : public NullGraphicsSystem {
public:
    class Instance final : public NullGraphicsSystem {
    public:
        explicit Instance(const bool& fails) : fails_(fails) {}
        void Lose() { lost_ = true; }

    private:
        Status OpenDevice() override {
            return fails_ ? _SetErrPosn(StatusCode::NotBuilt, "no context to be had")
                          : Status(StatusCode::Ok);
        }
        const bool& fails_;
    };

    [[nodiscard]] std::unique_ptr<GraphicsSystem> CreateInstance() const override {
        return std::make_unique<Instance>(fails);
    }
    bool fails = false;
};

class CountingSink final : public KeySink {
public:
    bool KeyDown(Key, bool) override { return ++keys > 0; }
    bool KeyUp(Key) override { return false; }
    void AllKeysUp() override {}
    int keys = 0;
};

class SideViewsTest : public testing::Test {
protected:
    void SetUp() override {
        widgets::NewStore();
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

    CountingSink sink;
    SimulatorFile file;
    FakePrototype prototype;
    std::unique_ptr<CTarnvaleView> mainView = std::make_unique<CTarnvaleView>();
    Simulator simulator;
    QWidget mainWindow;
    std::unique_ptr<SideViews> views;
};

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
    bool shown = true;
    EXPECT_TRUE(_iniRead("downShow", shown) && !shown);
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

TEST_F(SideViewsTest, AViewLostForGoodSaysSoAndComesBackWhenShownAnew) {
    OpenLandscape();
    views->Attach(&prototype, &mainWindow);
    views->ShowView(View::kLeft, true);
    const auto* const why = Find<QLabel>(View::kLeft, "ViewFailure");
    const auto lose = [this] {
        GraphicsSystem* const system = simulator.GetGraphicsSystem(View::kLeft);
        dynamic_cast<FakePrototype::Instance&>(*system).Lose();
        EXPECT_TRUE(simulator.DrawFrame(true).Good());
        views->TellLosses();
    };
    lose();
    EXPECT_FALSE(why->isVisible()) << "opened again by the frame";
    prototype.fails = true;
    lose();
    EXPECT_TRUE(why->isVisible());
    EXPECT_EQ(simulator.GetGraphicsSystem(View::kLeft), nullptr) << "no frame tries again";

    prototype.fails = false;
    for (const bool close : {false, true}) {
        if (close) {
            EXPECT_TRUE(views->Window(View::kLeft)->close());
            QCoreApplication::processEvents();
        } else {
            views->ToggleView(View::kLeft);
        }
        views->ToggleView(View::kLeft);
        EXPECT_NE(simulator.GetGraphicsSystem(View::kLeft), nullptr) << close;
        EXPECT_FALSE(Find<QLabel>(View::kLeft, "ViewFailure")->isVisible()) << close;
    }
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
    views->ShowView(View::kLeft, true);
    EXPECT_EQ(Find<QPushButton>(View::kLeft, "ViewZoomIn"), nullptr);
    EXPECT_FALSE(Find<QPushButton>(View::kLeft, "ViewLayers")->isEnabled()) << "no landscape";
    OpenLandscape();

    Find<QPushButton>(View::kCustom, "ViewZoomIn")->click();
    EXPECT_EQ(simulator.Custom().fieldOfView, 40);
    EXPECT_EQ(settings::MapExtents, 100);
    QTest::keyClick(Find<QDoubleSpinBox>(View::kCustom, "ViewYaw"), Qt::Key_Up);
    QTest::keyClick(Find<QDoubleSpinBox>(View::kCustom, "ViewPitch"), Qt::Key_Down);
    QTest::keyClick(Find<QDoubleSpinBox>(View::kCustom, "ViewOffset"), Qt::Key_Up);
    Find<QDoubleSpinBox>(View::kCustom, "ViewRoll")->setValue(-12.5);
    auto* const offset = Find<QDoubleSpinBox>(View::kCustom, "ViewOffset");
    offset->setFocus();
    QTest::keyClick(offset, Qt::Key_Return);
    EXPECT_FALSE(offset->hasFocus()) << "the keys fly again";
    EXPECT_EQ(sink.keys, 0) << "but this one doesn't";
    EXPECT_EQ(simulator.Custom().yaw, 5);
    EXPECT_EQ(simulator.Custom().pitch, -5);
    EXPECT_EQ(simulator.Custom().roll, -12.5F);
    EXPECT_EQ(simulator.Custom().offset, 10);

    auto& yaw = *Find<NumberField>(View::kCustom, "ViewYaw");
    const std::tuple<const char*, float> typed[] = {
        {"12,5", 12.5F}, {"-7.5", -7.5F}, {"-400", -180}, {"abc", -180}, {"400", 180}};
    for (const auto& [text, angle] : typed) {
        yaw.setLocale(QLocale::English);
        widgets::Type(yaw, text);
        QTest::keyClick(&yaw, Qt::Key_Return);
        EXPECT_EQ(simulator.Custom().yaw, angle) << text;
    }
    QTest::keyClick(&yaw, Qt::Key_Up);
    EXPECT_EQ(simulator.Custom().yaw, -180) << "steps go round";

    const auto visible = [this](int view) {
        return simulator.GetScene()->Layers().front()->textures.front().visible[view];
    };
    auto* const texture = Find<QAction>(View::kLeft, "ViewTexture0_0");
    ASSERT_NE(texture, nullptr);
    EXPECT_TRUE(texture->isChecked());
    texture->trigger();
    EXPECT_FALSE(visible(View::kLeft));
    EXPECT_TRUE(visible(View::kMain));
    ASSERT_TRUE(simulator.SetTextureVisible(0, 0, View::kLeft, true).Good());
    emit Find<QPushButton>(View::kLeft, "ViewLayers")->menu()->aboutToShow();
    EXPECT_TRUE(texture->isChecked()) << "whoever changed it";
    EXPECT_TRUE(visible(View::kLeft));
    simulator.Unload();
    views->RebuildLayerLists();
    EXPECT_FALSE(Find<QPushButton>(View::kLeft, "ViewLayers")->isEnabled());
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
