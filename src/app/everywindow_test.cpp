#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMenu>
#include <QRadioButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTabWidget>
#include <QTextBrowser>
#include <QTranslator>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <set>

#include "app/atlastool.h"
#include "app/coordsystemdialog.h"
#include "app/formatreadoutsdialog.h"
#include "app/graphicssystemdialog.h"
#include "app/inputassignmentspanel.h"
#include "app/layeroffsetsdialog.h"
#include "app/mainframe.h"
#include "app/manualwindow.h"
#include "app/optionsdialog.h"
#include "app/poilist.h"
#include "app/poitool.h"
#include "app/readoutswindow.h"
#include "app/statusprogress.h"
#include "app/tarnvaleview.h"
#include "app/viewdialog.h"
#include "app/widgets_for_test.h"
#include "base/settings.h"
#include "base/textres.h"
#include "graphics/nullgraphics.h"
#include "input/standardinput.h"
#include "qtbase/appearance.h"
#include "simulator/atlashandover.h"
#include "simulator/fakes_for_test.h"

namespace tarnvale {
namespace {

using widgets::Get;

std::string Describe(const QWidget& control) {
    return std::string(control.metaObject()->className()) + " \"" +
           control.objectName().toStdString() + "\"";
}

std::string NameOf(QWidget& control) {
    QAccessibleInterface* const known = QAccessible::queryAccessibleInterface(&control);
    return known != nullptr ? known->text(QAccessible::Name).trimmed().toStdString() : "";
}

// The widget around a window of its own, which has the focus in its place.
bool IsPictureFrame(const QWidget* control) {
    return qstrcmp(control->metaObject()->className(), "QWindowContainer") == 0;
}

// A part of another control has that one's name and focus.
bool IsPart(const QWidget& control) {
    return control.focusProxy() != nullptr ||
           control.objectName().startsWith(QLatin1String("qt_scrollarea"));
}

/// All windows and dialogs, over one landscape that isn't there, in one language after the other.
class EveryWindowTest : public testing::TestWithParam<const char*>, protected fakes::World {
protected:
    EveryWindowTest() {
        widgets::NewStore();
        ::setenv("LC_ALL", GetParam(), 1);
        TEXTRES::Terminate();
        if (LoadToolkitTexts(toolkit)) QCoreApplication::installTranslator(&toolkit);
        // Everything that can be switched on, so that everything can be reached.
        for (Setting<bool>* const on : Switches()) on->SetUnsaved(true);
        settings::UseBackgroundColor.SetUnsaved(false);
        systems.Register(0, std::make_unique<widgets::TestSystem>("directx", true));
        systems.Register(1, std::make_unique<widgets::TestSystem>("opengl"));
        systems.FindAvailable();
        specs["land"].grid = {500'000 - 325, 10, 0, 5'000'000, 0, -10};
        specs["land"].system = "EPSG:32632";
        EXPECT_TRUE(systems.At(0)->Open(&surface).Good());
        EXPECT_TRUE(simulator.AttachGraphicsSystem(systems.At(0), View::kMain).Good());
        Build({fakes::Entry("land", {"photo", "map"})});
    }
    ~EveryWindowTest() override {
        for (Setting<bool>* const on : Switches()) on->SetUnsaved(false);
        settings::UseSun.SetUnsaved(true);
        settings::Compass.SetUnsaved(true);
        settings::UseBackgroundColor.SetUnsaved(true);
        ::setenv("LC_ALL", "C", 1);
        TEXTRES::Terminate();
        (void)simulator.AttachGraphicsSystem(nullptr, View::kMain);
    }
    static std::vector<Setting<bool>*> Switches() {
        return {&settings::Subterrain,       &settings::Fog,
                &settings::UseSun,           &settings::UseMinimumHeight,
                &settings::UseMaximumHeight, &settings::UseVOITransparency,
                &settings::Compass};
    }
    static POITool::Surroundings Around(SimulatorHost& host) {
        return {host, [](int) { return false; }, [](QWidget*) { return true; }};
    }
    OptionsContext Context() {
        OptionsContext context{simulator, systems, &keyboard, {}};
        context.hasOverlays = true;
        return context;
    }

    /// Names of all that is seen, and Tab from control to control until it comes round.
    /// @param picture  a window inside the window, which passes Tab on
    static void Check(QWidget& window, const std::string& where, QWindow* picture = nullptr) {
        window.show();
        window.activateWindow();
        (void)QTest::qWaitForWindowActive(&window);
        std::set<const QWidget*> wanted;
        for (QWidget* const control : window.findChildren<QWidget*>()) {
            if (!control->isVisible() || control->window() != &window || IsPart(*control)) continue;
            const bool focusable = control->focusPolicy() != Qt::NoFocus;
            if (!focusable && qobject_cast<QAbstractButton*>(control) == nullptr) continue;
            EXPECT_NE(NameOf(*control), "") << where << ": " << Describe(*control);
            if (focusable && control->isEnabled()) wanted.insert(control);
        }
        EXPECT_FALSE(wanted.empty()) << where;
        if (window.focusWidget() == nullptr) QTest::keyClick(&window, Qt::Key_Tab);
        // Some more than there are, for a start at a control that Tab doesn't come back to.
        const std::size_t steps = wanted.size() + 3;
        for (std::size_t i = 0; i < steps && !wanted.empty(); ++i) {
            if (picture != nullptr && QGuiApplication::focusWindow() == picture) {
                std::erase_if(wanted, IsPictureFrame);
                QTest::keyClick(picture, Qt::Key_Tab);
                continue;
            }
            QWidget* const at = window.focusWidget();
            if (at == nullptr) break;
            std::erase_if(wanted, [at](const QWidget* one) { return one == at; });
            // The arrows lead to the others of the group.
            if (const auto* const button = qobject_cast<const QRadioButton*>(at)) {
                std::erase_if(wanted, [button](const QWidget* one) {
                    return qobject_cast<const QRadioButton*>(one) != nullptr &&
                           one->parentWidget() == button->parentWidget();
                });
            }
            QTest::keyClick(at, Qt::Key_Tab);
        }
        for (const QWidget* const left : wanted) {
            ADD_FAILURE() << where << ": Tab doesn't reach " << Describe(*left);
        }
    }
    static void CheckPages(QWidget& window, const std::string& where) {
        auto& pages = *window.findChild<QTabWidget*>();
        for (int page = 0; page < pages.count(); ++page) {
            pages.setCurrentIndex(page);
            Check(window, where + ", " + pages.tabText(page).toStdString());
        }
    }

    QTranslator toolkit;
    GraphicsSystemRegistry systems;
    StandardInput keyboard;
};

TEST_P(EveryWindowTest, MainWindow) {
    auto* const view = new CTarnvaleView;
    CMainFrame frame(view);  // takes the view over
    Check(frame, "main window", view);
    frame.Reporter().Begin("opening", 1, 0.1);  // Escape does what its button does
    for (auto* const button : frame.statusBar()->findChildren<QAbstractButton*>()) {
        EXPECT_NE(NameOf(*button), "") << Describe(*button);
    }
    frame.Reporter().End();
    for (const QAction* const action : frame.findChildren<QAction*>()) {
        if (action->isSeparator() || action->menu() != nullptr || !action->isVisible()) continue;
        EXPECT_FALSE(action->text().isEmpty() && action->shortcut().isEmpty())
            << action->objectName().toStdString();
    }
}

TEST_P(EveryWindowTest, Options) {
    OptionsDialog dialog(Context());
    dialog.open();
    CheckPages(dialog, "options");
    Get<QPushButton>(dialog, "configure_").click();
    Check(Get<QDialog>(dialog, "MapLocatorColors"), "colours of the map's marks");
}

TEST_P(EveryWindowTest, Readouts) {
    ReadoutsWindow window(simulator, nullptr);
    window.Toggle();
    simulator.RefreshReadouts();
    CheckPages(window, "readouts");
    FormatReadoutsDialog format(simulator.GetReadouts().Scale(), nullptr);
    Check(format, "format of readouts");
}

TEST_P(EveryWindowTest, CoordinateSystem) {
    CoordSystemList list;
    QSignalSpy loaded(&list, &CoordSystemList::Loaded);
    ASSERT_TRUE(list.IsLoaded() || loaded.wait(20'000));
    CoordSystemDialog dialog(simulator.GetReadouts().Scale(), list, GeographicPlace{9, 45},
                             nullptr);
    Get<QLineEdit>(dialog, "search").setText("utm 32");
    Check(dialog, "coordinate system");
}

TEST_P(EveryWindowTest, SmallDialogs) {
    InputAssignmentsPanel assignments(&keyboard);
    Check(assignments, "input assignments");
    LayerOffsetsDialog offsets(simulator);
    Check(offsets, "layer offsets");
    AtlasHandover handover([](Status) {});
    handover.SetList({TARNVALE_SOURCE_DIR "/README.md", TARNVALE_SOURCE_DIR "/run"});
    AtlasTool atlases(
        handover, [](QWidget*) { return FILEPATH(); }, nullptr);
    Check(atlases, "atlas tool");
    GraphicsSystemDialog start(systems, "opengl", true);
    Check(start, "graphics system");
    ShowManual(nullptr);
    for (QWidget* const window : QApplication::topLevelWidgets()) {
        if (window->objectName() != "Manual") continue;
        Check(*window, "manual");
        const QString page = window->findChild<QTextBrowser*>()->source().path();
        EXPECT_TRUE(page.endsWith(GetParam() == std::string("de") ? "/manual/de/index.md"
                                                                  : "/manual/index.md"))
            << page.toStdString();
    }
}

TEST_P(EveryWindowTest, PointsOfInterest) {
    fakes::QuietHost host;
    POITool tool(simulator, Around(host), nullptr);
    tool.OpenTool();
    tool.Create();
    Check(tool, "points of interest");
    emit Get<POIList>(tool, "pois").CellChosen(0, POIList::kMarker);
    Check(Get<QDialog>(tool, "POIMarkerDialog"), "marker of a point");
    tool.CloseTool();
}

TEST_P(EveryWindowTest, SideViews) {
    CTarnvaleView keys;
    const NullGraphicsSystem drawing;
    for (const int view : {0, View::kMap, View::kCustom, View::kFirstPoi}) {
        ViewWindow window(view, simulator, keys, nullptr);
        window.OpenGraphics(drawing);
        Check(window, "view " + std::to_string(view), &window.Picture());
    }
    ViewWindow failed(0, simulator, keys, nullptr);
    failed.OpenGraphics(*systems.At(0));  // has no other instance to give
    Check(failed, "a view without a picture");
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(NDEBUG)
constexpr double kSlower = 10;
#else
constexpr double kSlower = 1;
#endif

double ProcessorMilliseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

// Prints what docs/performance.md tells. Processor time is what a busy machine doesn't change.
TEST_P(EveryWindowTest, OpensWithinATenthOfASecond) {
    CoordSystemList list;
    QSignalSpy loaded(&list, &CoordSystemList::Loaded);
    ASSERT_TRUE(list.IsLoaded() || loaded.wait(20'000));
    CTarnvaleView keys;
    fakes::QuietHost host;
    const NullGraphicsSystem drawing;
    CMainFrame frame(new CTarnvaleView);  // as in the program, which has fonts and style by then
    frame.show();
    (void)QTest::qWaitForWindowExposed(&frame);
    const auto shown = [](std::unique_ptr<QWidget> window) {
        window->show();
        return window;
    };
    using Opener = std::function<std::unique_ptr<QWidget>()>;
    ReadoutScale& scale = simulator.GetReadouts().Scale();
    const std::vector<std::pair<const char*, Opener>> openers{
        {"options",
         [&]() -> std::unique_ptr<QWidget> {
             auto dialog = std::make_unique<OptionsDialog>(Context());
             dialog->open();
             return dialog;
         }},
        {"readouts",
         [&]() -> std::unique_ptr<QWidget> {
             auto window = std::make_unique<ReadoutsWindow>(simulator, nullptr);
             window->Toggle();
             return window;
         }},
        {"format of readouts",
         [&] { return shown(std::make_unique<FormatReadoutsDialog>(scale, nullptr)); }},
        {"coordinate system",
         [&] {
             return shown(
                 std::make_unique<CoordSystemDialog>(scale, list, GeographicPlace{9, 45}, nullptr));
         }},
        {"input assignments",
         [&] { return shown(std::make_unique<InputAssignmentsPanel>(&keyboard)); }},
        {"points of interest",
         [&]() -> std::unique_ptr<QWidget> {
             auto tool = std::make_unique<POITool>(simulator, Around(host), nullptr);
             tool->OpenTool();
             return tool;
         }},
        {"layer offsets", [&] { return shown(std::make_unique<LayerOffsetsDialog>(simulator)); }},
        {"graphics system",
         [&] { return shown(std::make_unique<GraphicsSystemDialog>(systems, "", true)); }},
        {"map view",
         [&] {
             auto window = std::make_unique<ViewWindow>(View::kMap, simulator, keys, nullptr);
             window->OpenGraphics(drawing);
             return shown(std::move(window));
         }},
    };
    for (const auto& [name, open] : openers) {
        double worst = 0;
        for (const char* time : {"first", "again"}) {
            QElapsedTimer watch;
            watch.start();
            const double before = ProcessorMilliseconds();
            const std::unique_ptr<QWidget> window = open();
            (void)QTest::qWaitForWindowExposed(window.get());
            window->repaint();
            worst = std::max(worst, ProcessorMilliseconds() - before);
            std::printf("%-20s %s: %5.1f ms, processor %5.1f ms\n", name, time,
                        static_cast<double>(watch.nsecsElapsed()) / 1e6,
                        ProcessorMilliseconds() - before);
        }
        EXPECT_LT(worst, 100 * kSlower) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(InEachLanguage, EveryWindowTest, testing::Values("en", "de"));

}  // namespace
}  // namespace tarnvale
