#include "app/poitool.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QColorDialog>
#include <QFileDialog>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QTimer>
#include <cstdlib>
#include <filesystem>

#include "app/poilist.h"
#include "app/poisaving.h"
#include "app/widgets_for_test.h"
#include "base/settings.h"
#include "qtbase/appearance.h"
#include "qtbase/apptext.h"
#include "simulator/fakes_for_test.h"
#include "simulator/simulatr.h"

namespace tarnvale {
namespace {

using widgets::Get;
using Views = std::vector<int>;

/// Views that are only remembered.
class ViewsHost final : public fakes::QuietHost {
public:
    void SetViewTitle(int view, const std::string& text) override { titles[view] = text; }
    void ShowView(int view, bool show) override {
        shown[view] = show;
        if (tool != nullptr) tool->ShowViewState(view, show);
    }

    std::map<int, std::string> titles;
    std::map<int, bool> shown;
    POITool* tool = nullptr;
};

// Map coordinates: 500000 + x, 5000000 + y of the scene; the viewer stands in the middle.
class POIToolTest : public testing::Test, protected fakes::World {
protected:
    POIToolTest() {
        widgets::NewStore();
        settings::AutoOpenPOIView.SetUnsaved(false);
        settings::POIMarker.SetUnsaved(1);
        specs["land"].grid = {500'000, 10, 0, 5'000'000, 0, -10};
        specs["land"].system = "EPSG:32632";
        Attach(View::kMain);
        OpenLand();
        host.tool = &tool;
        tool.OpenTool();
        tool.activateWindow();
    }
    void OpenLand() {
        Build();
        EXPECT_TRUE(simulator.PlaceByLookAt({325, -325, 600}, {325, 0, 300}, true).Good());
    }
    ~POIToolTest() override {
        settings::AutoOpenPOIView.SetUnsaved(false);
        settings::POIMarker.SetUnsaved(1);
        QLocale::setDefault(QLocale::c());
    }
    [[nodiscard]] POIList& List() { return Get<POIList>(tool, "pois"); }
    [[nodiscard]] PoiControl& Pois() { return simulator.Pois(); }
    [[nodiscard]] Views Listed() {
        Views views;
        for (int row = 0; row < List().rowCount(); ++row) views.push_back(List().ViewOf(row));
        return views;
    }
    [[nodiscard]] Views Made() {
        Views views;
        for (const POIROW& row : tool.Rows()) views.push_back(row.view);
        return views;
    }
    void Click(const char* button) {
        QTest::mouseClick(&Get<QPushButton>(tool, button), Qt::LeftButton);
    }
    void ClickCell(int row, int column) {
        QTest::mouseClick(List().viewport(), Qt::LeftButton, {},
                          List().visualItemRect(List().item(row, column)).center());
    }
    void Key(int row, int column, Qt::Key key) {
        List().setFocus();
        List().setCurrentCell(row, column, QItemSelectionModel::NoUpdate);
        QTest::keyClick(&List(), key);
    }
    /// By keyboard: Enter, the text over the old one, Enter.
    void TypeInto(int row, int column, const QString& text) {
        Key(row, column, Qt::Key_Return);
        auto* const editor = List().findChild<QLineEdit*>();
        ASSERT_NE(editor, nullptr);
        editor->clear();
        QTest::keyClicks(editor, text);
        QTest::keyClick(editor, Qt::Key_Return);
        QCoreApplication::processEvents();  // Enter is taken from the message loop
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);  // the editor
    }
    void ExpectAt(int view, double x, double y) {
        Vec3d map;
        EXPECT_TRUE(Pois().GetPOIPosition(view, map).Good());
        EXPECT_NEAR(map.x, x, 1e-2);
        EXPECT_NEAR(map.y, y, 1e-2);
    }
    [[nodiscard]] std::string Message() {
        return Get<QLabel>(tool, "message").text().toStdString();
    }
    [[nodiscard]] FILEPATH File(const char* name) const {
        return FILEPATH(TARNVALE_TEST_TEMP) / name;
    }
    /// Presses a button of the next question. @return true once it came
    static void AnswerNext(QMessageBox::StandardButton button, int& asked) {
        QTimer::singleShot(0, [button, &asked] {
            auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr) return;
            ++asked;
            box->button(button)->click();
        });
    }

    ViewsHost host;
    int saves = 0;
    POITool tool{simulator,
                 {host, [this](int view) { return host.shown[view]; },
                  [this](QWidget*) { return ++saves > 0; }},
                 nullptr};
};

TEST_F(POIToolTest, ANewPointStandsUnderTheViewerAndIsSelected) {
    settings::POIMarker.SetUnsaved(5);
    Click("create_poi");
    EXPECT_EQ(Listed(), Views{8});
    EXPECT_EQ(Pois().CurrentPOIView(), 8);
    EXPECT_EQ(Pois().POIMarker(8), 5);
    ExpectAt(8, 500'325, 4'999'675);
    EXPECT_EQ(List().CellText(0, POIList::kX), "500325.00");
    EXPECT_EQ(List().CellText(0, POIList::kY), "4999675.00");
    EXPECT_EQ(List().CellText(0, POIList::kMarker), TextOf("flag"));
    EXPECT_EQ(List().CellText(0, POIList::kName), TextOf("point_of_interest") + " 1");
    EXPECT_FALSE(host.shown.at(8));
    Get<QCheckBox>(tool, "open_view_when_created").click();
    bool stored = false;
    EXPECT_TRUE(widgets::Stored("AutoOpenPOIView", stored) && stored);
    Click("create_poi");
    EXPECT_TRUE(host.shown.at(9));
    EXPECT_TRUE(tool.Rows()[1].shown);
}

TEST_F(POIToolTest, ANinthPointIsNotMadeAndDisturbsNothing) {
    for (int i = 0; i < 8; ++i) Click("create_poi");
    ClickCell(2, POIList::kSelected);
    tool.Create();
    EXPECT_EQ(List().rowCount(), 8);
    EXPECT_EQ(Pois().CurrentPOIView(), 10);
    EXPECT_EQ(List().MarkedRow(), 2);
    EXPECT_FALSE(Get<QPushButton>(tool, "create_poi").isEnabled());
}

TEST_F(POIToolTest, DeletingSelectsTheRowThatComesIntoItsPlaceOrTheOneBefore) {
    for (int i = 0; i < 3; ++i) Click("create_poi");
    ClickCell(0, POIList::kSelected);
    Click("delete_poi");
    EXPECT_EQ(Listed(), (Views{9, 10}));
    EXPECT_EQ(Pois().CurrentPOIView(), 9);
    EXPECT_FALSE(host.shown.at(8));
    EXPECT_FALSE(Pois().Exists(8));
    ClickCell(1, POIList::kSelected);
    Click("delete_poi");
    EXPECT_EQ(Pois().CurrentPOIView(), 9) << "the last of several: the one before";
    Click("delete_poi");
    EXPECT_EQ(Pois().CurrentPOIView(), 16);
    EXPECT_EQ(List().rowCount(), 0);
    tool.Delete();  // with none, nothing
    EXPECT_FALSE(Get<QPushButton>(tool, "delete_poi").isEnabled());
}

TEST_F(POIToolTest, TheLowestFreeViewIsUsedAgainUnderItsOwnName) {
    for (int i = 0; i < 3; ++i) Click("create_poi");
    TypeInto(0, POIList::kName, "Hut");
    EXPECT_EQ(host.titles.at(8), "Hut");
    EXPECT_EQ(List().CellText(0, POIList::kName), "Hut");
    ClickCell(0, POIList::kSelected);
    Click("delete_poi");
    Click("create_poi");
    EXPECT_EQ(Listed(), (Views{8, 9, 10}));
    EXPECT_EQ(Made(), (Views{9, 10, 8}));
    EXPECT_EQ(host.titles.at(8), "");
    EXPECT_EQ(Pois().CurrentPOIView(), 8);
    // What is clicked is what is shown there, whatever was made first.
    ClickCell(1, POIList::kSelected);
    EXPECT_EQ(Pois().CurrentPOIView(), 9);
    TypeInto(1, POIList::kX, "500100");
    ExpectAt(9, 500'100, 4'999'675);
    ExpectAt(8, 500'325, 4'999'675);
}

TEST_F(POIToolTest, OnlyTheFirstColumnSelects) {
    Click("create_poi");
    Click("create_poi");
    EXPECT_EQ(Pois().CurrentPOIView(), 9);
    Key(0, POIList::kName, Qt::Key_Up);
    ClickCell(0, POIList::kShown);
    EXPECT_TRUE(host.shown.at(8));
    ClickCell(0, POIList::kShown);
    EXPECT_FALSE(host.shown.at(8));
    EXPECT_EQ(Pois().CurrentPOIView(), 9);
    Key(0, POIList::kSelected, Qt::Key_Space);
    EXPECT_EQ(Pois().CurrentPOIView(), 8);
    Key(1, POIList::kShown, Qt::Key_Return);
    EXPECT_TRUE(host.shown.at(9));
    tool.ShowViewState(9, false);  // the user closed the window
    EXPECT_FALSE(tool.Rows()[1].shown);
    Key(1, POIList::kX, Qt::Key_Delete);
    EXPECT_EQ(Listed(), Views{8});
}

TEST_F(POIToolTest, PlacesAreTypedAsInTheUsersLanguageOrWithAPoint) {
    Click("create_poi");
    tool.CloseTool();
    const std::tuple<const char*, const char*, double> cases[] = {
        {"en", "500123.25", 500'123.25}, {"de", "500123,25", 500'123.25},
        {"de", "500123.25", 500'123.25}, {"de", "500.125", 500.125},
        {"en", "500123,5", 500'123.5},   {"en", " 5.001e5 ", 500'100},
        {"en", "513,125", 513.125},      {"de", "513,125", 513.125},
    };
    for (const auto& [language, typed, value] : cases) {
        QLocale::setDefault(QLocale(language));
        POITool other(simulator, {host, [](int) { return false; }, {}}, nullptr);
        other.OpenTool();
        auto& list = Get<POIList>(other, "pois");
        list.item(0, POIList::kX)->setText(typed);  // as an editor does
        ExpectAt(8, value, 4'999'675);
        EXPECT_EQ(
            list.CellText(0, POIList::kX),
            QLocale(language).toString(value, 'f', 2).remove(QLocale(language).groupSeparator()))
            << language << " " << typed;
    }
}

TEST_F(POIToolTest, TypedNonsenseLeavesThePointAndSaysSo) {
    Click("create_poi");
    const std::string hint = Message();
    for (const char* const typed :
         {"", "abc", "12 m", "nan", "inf", "1e400", "1e300", "--5", "12,345,678", "1,234.5"}) {
        TypeInto(0, POIList::kX, typed);
        EXPECT_EQ(List().CellText(0, POIList::kX), "500325.00") << typed;
        EXPECT_NE(Message(), hint) << typed;
        ExpectAt(8, 500'325, 4'999'675);
        TypeInto(0, POIList::kY, "4999600");
        EXPECT_EQ(Message(), hint) << "the next good number";
        TypeInto(0, POIList::kY, "4999675");
    }
    TypeInto(0, POIList::kName, "");
    EXPECT_EQ(List().CellText(0, POIList::kName), TextOf("point_of_interest") + " 1");
    EXPECT_EQ(host.titles.at(8), "");
}

TEST_F(POIToolTest, OneCoordinateTypedDoesNotMoveTheOther) {
    Click("create_poi");
    TypeInto(0, POIList::kY, "4999601.37");
    for (int i = 0; i < 3; ++i) TypeInto(0, POIList::kX, QString::number(500'200 + i));
    EXPECT_EQ(List().CellText(0, POIList::kY), "4999601.37");
    ExpectAt(8, 500'202, 4'999'601.37);
}

TEST_F(POIToolTest, MarkerAndColourComeFromDialogs) {
    Click("create_poi");
    ClickCell(0, POIList::kMarker);
    auto& marker = Get<QDialog>(tool, "POIMarkerDialog");
    auto& shapes = Get<QListWidget>(marker, "markers");
    EXPECT_EQ(shapes.count(), 6);
    EXPECT_EQ(shapes.currentRow(), 1);
    shapes.setCurrentRow(0);
    marker.accept();
    EXPECT_EQ(Pois().POIMarker(8), 0);
    EXPECT_EQ(List().CellText(0, POIList::kMarker), TextOf("none"));
    EXPECT_TRUE(Pois().Exists(8)) << "the point is only not drawn";
    EXPECT_EQ(Pois().CurrentPOIView(), 8);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    COLOR before, after;
    EXPECT_TRUE(Pois().GetPOIColor(8, before).Good());
    Key(0, POIList::kColor, Qt::Key_Return);
    auto& cancelled = Get<QColorDialog>(tool, "POIColorDialog");
    cancelled.setCurrentColor(QColor(1, 2, 3));
    cancelled.reject();
    EXPECT_TRUE(Pois().GetPOIColor(8, after).Good());
    EXPECT_EQ(after, before);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    Key(0, POIList::kColor, Qt::Key_Return);
    auto& dialog = Get<QColorDialog>(tool, "POIColorDialog");
    dialog.setCurrentColor(QColor(1, 2, 3));
    dialog.accept();
    EXPECT_TRUE(Pois().GetPOIColor(8, after).Good());
    EXPECT_EQ(after.red >> 8, 1);
    EXPECT_EQ(after.green >> 8, 2);
    EXPECT_EQ(after.blue >> 8, 3);
    EXPECT_EQ(after.word, before.word);
}

TEST_F(POIToolTest, ASwatchOfTheListsOwnColourHasABorder) {
    Click("create_poi");
    for (const char* const theme : {"light", "dark"}) {
        ApplyTheme(theme);
        const QColor own = List().palette().color(QPalette::Base);
        List().SetColour(0, own);
        const QRect cell = List().visualItemRect(List().item(0, POIList::kColor));
        const QImage picture = List().viewport()->grab(cell).toImage();
        EXPECT_EQ(picture.pixelColor(cell.width() / 2, cell.height() / 2), own) << theme;
        EXPECT_GT(std::abs(picture.pixelColor(2, cell.height() / 2).lightness() - own.lightness()),
                  60)
            << theme;
    }
    ApplyTheme("");
}

TEST_F(POIToolTest, ClosingEmptiesTheListAndOpeningBringsThePointsBack) {
    Click("create_poi");
    Click("create_poi");
    TypeInto(1, POIList::kName, "Hut");
    ClickCell(1, POIList::kMarker);
    auto& marker = Get<QDialog>(tool, "POIMarkerDialog");
    Get<QListWidget>(marker, "markers").setCurrentRow(0);  // none: still a point
    marker.accept();
    tool.close();
    EXPECT_EQ(List().rowCount(), 0);
    EXPECT_EQ(Pois().CurrentPOIView(), 16);
    EXPECT_TRUE(Pois().Exists(9));
    host.shown[9] = true;  // opened meanwhile
    tool.OpenTool();
    EXPECT_EQ(Listed(), (Views{8, 9}));
    EXPECT_EQ(List().CellText(1, POIList::kName), "Hut");
    EXPECT_EQ(List().CellText(1, POIList::kMarker), TextOf("none"));
    EXPECT_EQ(List().CellText(1, POIList::kX), "500325.00");
    EXPECT_TRUE(tool.Rows()[1].shown);
    EXPECT_EQ(List().MarkedRow(), -1);
    OpenLand();
    tool.Refill();
    EXPECT_EQ(List().rowCount(), 0);
    EXPECT_FALSE(Get<QPushButton>(tool, "save_pois_").isEnabled());
}

TEST_F(POIToolTest, TheListFollowsTheMouse) {
    Click("create_poi");
    EXPECT_TRUE(Pois().SetPOIPosition(8, 500'111, 4'999'888).Good());
    tool.ShowMoved();
    EXPECT_EQ(List().CellText(0, POIList::kX), "500111.00");
    EXPECT_EQ(List().CellText(0, POIList::kY), "4999888.00");
    EXPECT_EQ(tool.Rows()[0].y, 4'999'888);
}

TEST_F(POIToolTest, EverythingIsInTheMenuOfARow) {
    Click("create_poi");
    Click("create_poi");
    QContextMenuEvent byKey(QContextMenuEvent::Keyboard, {}, {});
    const auto menu = [&] {
        List().setCurrentCell(0, POIList::kName, QItemSelectionModel::NoUpdate);
        QApplication::sendEvent(&List(), &byKey);
        return tool.findChild<QMenu*>("POIMenu");
    };
    const auto pick = [&](const char* key) {
        QMenu* const shown = menu();
        ASSERT_NE(shown, nullptr);
        for (QAction* const action : shown->actions()) {
            if (action->text() == TextOf(key)) action->trigger();
        }
        shown->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    };
    pick("select_poi");
    EXPECT_EQ(Pois().CurrentPOIView(), 8);
    pick("show_poi_view");
    EXPECT_TRUE(host.shown.at(8));
    pick("delete_poi");
    EXPECT_EQ(Listed(), Views{9});
}

TEST_F(POIToolTest, UnsavedPointsAreAskedAbout) {
    int asked = 0;
    EXPECT_TRUE(MayLosePois(simulator, "/land.sim", nullptr)) << "there is none";
    Click("create_poi");
    AnswerNext(QMessageBox::Cancel, asked);
    EXPECT_FALSE(MayLosePois(simulator, "/land.sim", nullptr));
    EXPECT_TRUE(Pois().Exists(8));
    AnswerNext(QMessageBox::Discard, asked);
    EXPECT_TRUE(MayLosePois(simulator, "/land.sim", nullptr));
    EXPECT_EQ(asked, 2);
    EXPECT_TRUE(Pois().HasUnsaved()) << "if nothing is closed after all, the next time asks again";
    Pois().MarkSaved();
    EXPECT_TRUE(MayLosePois(simulator, "/land.sim", nullptr));
    EXPECT_EQ(asked, 2);
}

/// Types a file's name into the next file dialog and presses Enter; an empty one: Escape.
void NameNextFile(const FILEPATH& file) {
    QTimer::singleShot(0, [file] {
        auto* const dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        if (file.empty()) {
            dialog->reject();
            return;
        }
        auto* const name = dialog->findChild<QLineEdit*>("fileNameEdit");
        ASSERT_NE(name, nullptr);
        name->setText(QString::fromStdString(file.string()));
        QTest::keyClick(name, Qt::Key_Return);
    });
}

TEST_F(POIToolTest, PointsAreSavedWholeOrNotAtAll) {
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    const FILEPATH file = File("points.geojson");
    std::filesystem::remove(file);
    Click("create_poi");
    NameNextFile({});
    EXPECT_FALSE(SavePois(simulator, "/land.sim", nullptr)) << "cancelled";
    EXPECT_TRUE(Pois().HasUnsaved());
    FILEPATH bare = file;
    NameNextFile(bare.replace_extension());
    EXPECT_TRUE(SavePois(simulator, "/land.sim", nullptr));
    EXPECT_FALSE(Pois().HasUnsaved());
    EXPECT_TRUE(std::filesystem::exists(file));

    TypeInto(0, POIList::kX, "500100");
    int told = 0;
    NameNextFile(File("no such folder/points.geojson"));
    QTimer::singleShot(500, [&told] {
        // The dialog itself refuses such a folder on some systems, ours does on others.
        while (QWidget* const open = QApplication::activeModalWidget()) {
            ++told;
            open->close();
            QCoreApplication::processEvents();
        }
    });
    EXPECT_FALSE(SavePois(simulator, "/land.sim", nullptr));
    EXPECT_GT(told, 0);
    EXPECT_TRUE(Pois().HasUnsaved());
}

}  // namespace
}  // namespace tarnvale
