#include "app/readoutswindow.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <cstdlib>
#include <functional>
#include <string>
#include <tuple>

#include "app/coordsystemdialog.h"
#include "app/formatreadoutsdialog.h"
#include "app/widgets_for_test.h"
#include "geom/system_for_test.h"
#include "geom/units.h"
#include "simulator/fakes_for_test.h"

namespace tarnvale {
namespace {

[[maybe_unused]] const int kEnglish = ::setenv("LC_ALL", "C", 1);  // before any text is read

class ReadoutsWindowTest : public testing::Test, protected fakes::World {
protected:
    void SetUp() override {
        widgets::NewStore();
        settings::Format.SetUnsaved(128);
        specs["land"].grid = {500'000 - 325, 10, 0, 5'000'000, 0, -10};
        specs["land"].system = "EPSG:32632";
        Attach(View::kMain);
        Build();
        ASSERT_TRUE(simulator.PlaceByLookAt({325, -325, 600}, {325, -225, 100}, true).Good());
    }
    static bool Stored() {
        bool shown = false;
        return _iniRead("ShowReadouts", shown) && shown;
    }
    [[nodiscard]] QString Text(const char* field) const {
        const auto* const value = window->findChild<QLineEdit*>(QLatin1String(field));
        if (value != nullptr) return value->text();
        const auto* const unit = window->findChild<QLabel*>(QLatin1String(field));
        return unit != nullptr ? unit->text() : QStringLiteral("(no such field)");
    }
    // Runs `act` on the dialog that the button opens.
    template <typename Dialog, typename Act>
    void InDialog(const char* button, Act act) {
        bool ran = false;
        QTimer::singleShot(0, window.get(), [&] {
            auto* const dialog = window->findChild<Dialog*>();
            ASSERT_NE(dialog, nullptr);
            act(*dialog);
            ran = true;
            if (dialog->isVisible()) dialog->reject();
        });
        window->findChild<QPushButton*>(QLatin1String(button))->click();
        EXPECT_TRUE(ran) << button;
    }

    std::unique_ptr<ReadoutsWindow> window = std::make_unique<ReadoutsWindow>(simulator, nullptr);
};

TEST_F(ReadoutsWindowTest, NobodyCastsRaysForAClosedWindow) {
    QSignalSpy changes(window.get(), &ReadoutsWindow::ShownChanged);
    window->ShowAtStart();
    EXPECT_FALSE(window->isVisible()) << "never opened before";
    const std::function<void()> closings[] = {
        [&] { window->Toggle(); }, [&] { window->close(); },
        [&] { QTest::keyClick(window.get(), Qt::Key_Escape); }};
    for (const auto& close : closings) {
        window->Toggle();
        EXPECT_TRUE(window->isVisible() && Stored());
        EXPECT_TRUE(simulator.GetReadouts().HasDisplay());
        close();
        EXPECT_FALSE(window->isVisible() || Stored());
        EXPECT_FALSE(simulator.GetReadouts().HasDisplay());
    }
    EXPECT_EQ(changes.count(), 6);
}

TEST_F(ReadoutsWindowTest, ShowsEveryPageByItsTexts) {
    window->Toggle();
    const auto* const pages = window->findChild<QTabWidget*>();
    QStringList titles;
    for (int i = 0; i < pages->count(); ++i) titles << pages->tabText(i);
    EXPECT_EQ(titles.join(' ').toStdString(),
              "Terrain Viewer Mouse Forward Left Right Rear Up Down Vertical Map Custom view");
    const std::tuple<const char*, const char*> fields[] = {
        {"terrain.east_extent_c.0", "500325.00"}, {"terrain.maximum_elevation_c.1", "m"},
        {"viewer.position_c.0", "4999675.00"},    {"viewer.position_c.1", "500000.00"},
        {"viewer.altitude_c.0", "600.00"},        {"viewer.height_above_surface_c.0", "500.00"},
        {"viewer.velocity_c.1", "m/s"},           {"mouse.mouse_elevation_c.0", ""},
        {"forward.elevation_c.0", "100.00"},
    };
    for (const auto& [field, text] : fields) EXPECT_EQ(Text(field).toStdString(), text) << field;
}

TEST_F(ReadoutsWindowTest, ValuesCanBeCopiedWhileTheyChange) {
    window->Toggle();
    auto* const pages = window->findChild<QTabWidget*>();
    pages->setCurrentIndex(1);
    auto* const altitude = window->findChild<QLineEdit*>("viewer.altitude_c.0");
    QTest::keyClick(altitude, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text().toStdString(), "600.00") << "nothing selected: all";
    altitude->setSelection(0, 2);
    ASSERT_TRUE(simulator.PlaceByLookAt({325, -325, 750}, {325, -225, 100}, true).Good());
    simulator.RefreshReadouts();
    EXPECT_EQ(altitude->selectedText().toStdString(), "75") << "the selection stays";
    QTest::keyClick(altitude, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text().toStdString(), "75");
}

TEST_F(ReadoutsWindowTest, FormatAndUnitsAreStoredOnlyByOk) {
    window->Toggle();
    ASSERT_TRUE(simulator.GetReadouts().Scale().ChooseSystem(System("EPSG:4326")).Good());
    simulator.RefreshReadouts();
    EXPECT_EQ(Text("viewer.position_c.1").toStdString(), "E 9° 00' 00.00\"");
    const auto choose = [](FormatReadoutsDialog& dialog, QDialogButtonBox::StandardButton button) {
        auto* const formats = dialog.findChild<QListWidget*>();
        EXPECT_EQ(formats->count(), 6);
        EXPECT_EQ(formats->currentRow(), 0);
        EXPECT_TRUE(formats->item(3)->text().contains("47° 22' 17.00\" N"));
        formats->setCurrentRow(4);
        const std::tuple<const char*, int> units[] = {{"distance_c", 9036},
                                                      {"elevation_c", 9002},
                                                      {"angle_c", 9101},
                                                      {"velocity_c", kPerHour + 9030}};
        for (const auto& [name, unit] : units) {
            auto* const box = dialog.findChild<QComboBox*>(name);
            EXPECT_EQ(box->currentData().toInt(), 0) << name;
            box->setCurrentIndex(box->findData(unit));
        }
        dialog.findChild<QDialogButtonBox*>()->button(button)->click();
    };
    InDialog<FormatReadoutsDialog>("format_readouts", [&](FormatReadoutsDialog& dialog) {
        choose(dialog, QDialogButtonBox::Cancel);
    });
    std::int32_t stored = -1;
    EXPECT_FALSE(_iniRead("Format", stored));
    EXPECT_EQ(Text("viewer.altitude_c.1").toStdString(), "m");

    InDialog<FormatReadoutsDialog>("format_readouts", [&](FormatReadoutsDialog& dialog) {
        choose(dialog, QDialogButtonBox::Ok);
    });
    const std::tuple<const char*, int> settings[] = {{"Format", 48},
                                                     {"DistanceUnits", 9036},
                                                     {"ElevationUnits", 9002},
                                                     {"AngleUnits", 9101},
                                                     {"VelocityUnits", kPerHour + 9030}};
    for (const auto& [key, value] : settings) {
        EXPECT_TRUE(_iniRead(key, stored)) << key;
        EXPECT_EQ(stored, value) << key;
    }
    EXPECT_EQ(Text("viewer.position_c.1").toStdString(), "9.00000° E") << "drawn at once";
    EXPECT_EQ(Text("viewer.altitude_c.0").toStdString(), "1968.50");
    EXPECT_EQ(Text("viewer.altitude_c.1").toStdString(), "ft");
    EXPECT_EQ(Text("viewer.velocity_c.1").toStdString(), "kn");
    EXPECT_TRUE(Text("forward.distance_c.0").endsWith(" km"));
    for (Setting<std::int32_t>* unit : {&settings::DistanceUnits, &settings::ElevationUnits,
                                        &settings::AngleUnits, &settings::VelocityUnits}) {
        unit->SetUnsaved(0);
    }
}

class CoordSystemDialogTest : public ReadoutsWindowTest {
protected:
    void SetUp() override {
        ReadoutsWindowTest::SetUp();
        simulator.GetReadouts().Scale().SetLandscape(System("EPSG:32632"));
        if (!list.IsLoaded()) {
            QSignalSpy loaded(&list, &CoordSystemList::Loaded);
            ASSERT_TRUE(loaded.wait(20'000));
        }
        Reopen();
    }
    void Reopen() {
        dialog = std::make_unique<CoordSystemDialog>(simulator.GetReadouts().Scale(), list,
                                                     GeographicPlace{9, 45}, nullptr);
        dialog->show();
        search = dialog->findChild<QLineEdit*>("search");
        table = dialog->findChild<QTableView*>();
        recent = dialog->findChild<QListWidget*>("recent");
        ok = dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
    }
    [[nodiscard]] std::string Message() const {
        return dialog->findChild<QLabel*>("message")->text().toStdString();
    }
    [[nodiscard]] std::string InForce() { return simulator.GetReadouts().Scale().System().Name(); }
    [[nodiscard]] std::string Cell(int row) const {
        return table->model()->index(row, 0).data().toString().toStdString();
    }

    CoordSystemList list;
    std::unique_ptr<CoordSystemDialog> dialog;
    QLineEdit* search = nullptr;
    QTableView* table = nullptr;
    QListWidget* recent = nullptr;
    QPushButton* ok = nullptr;
};

TEST_F(CoordSystemDialogTest, FindsAsOneTypes) {
    EXPECT_GT(table->model()->rowCount(), 3000);
    EXPECT_FALSE(ok->isEnabled()) << "nothing chosen";
    QTest::keyClicks(search, "utm zone 33n wgs");
    EXPECT_LT(table->model()->rowCount(), 20);
    QTest::keyClicks(search, " 32633");
    EXPECT_EQ(table->model()->rowCount(), 1);
    EXPECT_EQ(Cell(0), "EPSG:32633");
    EXPECT_EQ(Message(), "Chosen: WGS 84 / UTM zone 33N (EPSG:32633)");
    EXPECT_TRUE(dialog->findChild<QPlainTextEdit*>()->toPlainText().contains("12°E and 18°E"));
    QTest::keyClick(search, Qt::Key_Return);
    EXPECT_EQ(dialog->result(), QDialog::Accepted);
    EXPECT_EQ(InForce(), "WGS 84 / UTM zone 33N");

    // What was used is offered again, and leads back to the landscape's own system.
    Reopen();
    ASSERT_EQ(recent->count(), 2);
    EXPECT_EQ(recent->item(1)->text().toStdString(), "WGS 84 / UTM zone 33N (EPSG:32633)");
    recent->setCurrentRow(0);
    EXPECT_TRUE(ok->isEnabled());
    ok->click();
    EXPECT_EQ(InForce(), "WGS 84 / UTM zone 32N");
    Reopen();
    EXPECT_EQ(recent->count(), 2) << "the landscape's own isn't noted";
}

TEST_F(CoordSystemDialogTest, TheArrowLeadsIntoTheList) {
    QTest::keyClicks(search, "utm 32");
    const std::string first = Cell(0), second = Cell(1);
    EXPECT_TRUE(table->selectionModel()->isRowSelected(0));
    QTest::keyClick(search, Qt::Key_Down);
    EXPECT_TRUE(table->selectionModel()->isRowSelected(1));
    EXPECT_NE(Message().find("(" + second + ")"), std::string::npos) << Message();
    EXPECT_EQ(Message().find(first + ")"), std::string::npos);
}

TEST_F(CoordSystemDialogTest, TakesPastedDefinitionsAndSaysWhatItDoesNotUnderstand) {
    const std::tuple<QString, bool, const char*> cases[] = {
        {"+proj=utm +zone=31 +datum=WGS84", true, "Chosen: "},
        {QString::fromStdString(System("EPSG:2056").Wkt()), true, "Chosen: CH1903+ / LV95"},
        {QString::fromStdString(System("EPSG:2056").Wkt1()), true, "Chosen: CH1903+ / LV95"},
        {"epsg:21781", true, "Chosen: CH1903 / LV03 (EPSG:21781)"},
        {"EPSG:4979", true, "Chosen: WGS 84"},  // with heights, thus not in the list
        {"+proj=nonsense", false, "This isn't understood as a coordinate system of maps."},
        {"PROJCS[\"half", false, "This isn't understood as a coordinate system of maps."},
        {"EPSG:5773", false, "No system has all these words in its name or code."},
        {"no such words", false, "No system has all these words in its name or code."},
    };
    for (const auto& [text, understood, message] : cases) {
        search->clear();
        QApplication::clipboard()->setText(text);
        search->paste();
        EXPECT_EQ(ok->isEnabled(), understood) << text.toStdString();
        EXPECT_TRUE(Message().starts_with(message)) << Message();
    }
    search->setText("+proj=utm +zone=31 +datum=WGS84");
    ok->click();
    double east = 500'000, north = 5'000'000;
    ASSERT_TRUE(simulator.GetReadouts().Scale().Convert(east, north));
    EXPECT_GT(east, 900'000) << "from the next zone";
}

TEST_F(CoordSystemDialogTest, ASystemWithoutANameIsCalledAsItWasGiven) {
    const std::tuple<std::string, std::string> cases[] = {
        {"+proj=utm  +zone=31\n+datum=WGS84", "+proj=utm +zone=31 +datum=WGS84"},
        {"+proj=utm +zone=33 +datum=WGS84", "+proj=utm +zone=33 +datum=WGS84"},
    };
    for (const auto& [given, name] : cases) {
        search->setText(QString::fromStdString(given));
        EXPECT_EQ(Message(), "Chosen: " + name);
        ok->click();
        Reopen();
        EXPECT_EQ(recent->item(1)->text().toStdString(), name);
        EXPECT_EQ(Message(), "Chosen: " + name) << "opened again";
    }
    simulator.GetReadouts().Scale().SetLandscape(System(std::get<0>(cases[0])));
    Reopen();
    EXPECT_TRUE(recent->item(0)->text().contains("PROJCRS[")) << "given by its file";
}

TEST_F(CoordSystemDialogTest, StaysOpenWhereNoConversionLeads) {
    search->setText("+proj=longlat +a=3396190 +b=3376200 +no_defs");  // another planet
    ASSERT_TRUE(ok->isEnabled());
    ok->click();
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(Message(), "No conversion leads from the landscape's system to this one.");
    EXPECT_EQ(InForce(), "WGS 84 / UTM zone 32N");
    simulator.GetReadouts().Scale().SetLandscape(COORDREFSYS());
    Reopen();
    search->setText("4326");
    EXPECT_FALSE(ok->isEnabled());
    EXPECT_TRUE(Message().starts_with("No landscape")) << Message();
}

TEST_F(CoordSystemDialogTest, KeepsFiveSystemsAndSkipsJunk) {
    _iniWrite("RecentCoordinateSystem1", std::string("+proj=junk"));
    for (const char* code : {"EPSG:32631", "EPSG:32632", "EPSG:32633", "EPSG:32634", "EPSG:32635",
                             "EPSG:32636", "EPSG:32633"}) {
        Reopen();
        search->setText(code);
        ok->click();
    }
    Reopen();
    QStringList names;
    for (int i = 1; i < recent->count(); ++i) names << recent->item(i)->text().right(6);
    EXPECT_EQ(names.join(' ').toStdString(), "32633) 32636) 32635) 32634) 32632)");
}

}  // namespace
}  // namespace tarnvale
