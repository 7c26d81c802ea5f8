#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <map>
#include <set>

#include "app/graphicssystemdialog.h"
#include "app/inputassignmentspanel.h"
#include "app/layeroffsetsdialog.h"
#include "app/widgets_for_test.h"
#include "input/standardinput.h"
#include "simulator/fakes_for_test.h"

namespace tarnvale {
namespace {

using testing::ElementsAre;
using widgets::Get;
using widgets::IsStored;
using widgets::Press;
using widgets::Stored;
using Button = QDialogButtonBox;

/// Binds what it is told to.
class ChangingInput final : public InputSystem {
public:
    ChangingInput() : InputSystem("changing", "") {}
    void Close() override {}
    void Reconfigure() override {}
    [[nodiscard]] QNSTRING GetKeyboardLabel(Action) const override { return {}; }
    [[nodiscard]] QNSTRING GetJoystickLabel(Action action) const override {
        return action == bound ? "Button 1" : "";
    }
    void ReadRaw(FlightInput&) override {}
    [[nodiscard]] std::unique_ptr<InputSystem> CreateInstance() const override { return nullptr; }
    Action bound = Action::Pitch;

private:
    Status OpenDevices() override { return StatusCode::Ok; }
};

std::set<int> RedRows(const InputAssignmentsPanel& panel) {
    const auto& table = Get<QTableWidget>(panel, "input_assignments");
    std::set<int> red;
    for (int row = 0; row < table.rowCount(); ++row) {
        const QColor ink = table.item(row, 0)->foreground().color();
        if (ink.red() > 200 && ink.green() < 150 && ink.blue() < 150) red.insert(row);
    }
    return red;
}

class InputAssignmentsTest : public testing::Test {
protected:
    InputAssignmentsTest() { widgets::NewStore(); }
    static bool ShownNextTime() {
        bool show = false;
        return Stored("ShowInputAssignments", show) && show;
    }
    StandardInput keyboard;
};

TEST_F(InputAssignmentsTest, ActionsWithoutAnyBindingStandInRed) {
    const InputAssignmentsPanel panel(&keyboard);
    const auto& table = Get<QTableWidget>(panel, "input_assignments");
    EXPECT_EQ(table.rowCount(), 36);
    EXPECT_EQ(table.columnCount(), 4);
    EXPECT_EQ(table.item(10, 1)->text(), "S, Num 1");
    EXPECT_EQ(table.item(10, 2)->text(), "");
    // The keyboard binds neither the seven axes, nor the screen shot, nor the three hats.
    EXPECT_EQ(RedRows(panel), (std::set{0, 1, 2, 3, 4, 5, 6, 31, 33, 34, 35}));
    EXPECT_EQ(RedRows(InputAssignmentsPanel(nullptr)).size(), 36U) << "without controls";
}

TEST_F(InputAssignmentsTest, ARefreshShowsNewBindings) {
    ChangingInput input;
    InputAssignmentsPanel panel(&input);
    EXPECT_EQ(RedRows(panel).count(4), 0U);
    input.bound = Action::Turn;
    panel.Refresh();
    EXPECT_EQ(RedRows(panel).count(4), 1U);
    EXPECT_EQ(RedRows(panel).count(6), 0U);
    EXPECT_EQ(Get<QTableWidget>(panel, "input_assignments").item(6, 2)->text(), "Button 1");
}

TEST_F(InputAssignmentsTest, TheRedCanBeReadOnAnyBackground) {
    EXPECT_EQ(UnboundColor(Qt::white).rgb(), QColor(255, 0, 0).rgb()) << "as it is meant to be";
    const auto luminance = [](const QColor& color) {
        const auto linear = [](double c) {
            return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
               0.0722 * linear(color.blueF());
    };
    for (const QColor dark : {QColor(0, 0, 0), QColor(30, 30, 30), QColor(53, 53, 53)}) {
        const QColor red = UnboundColor(dark);
        EXPECT_GE((luminance(red) + 0.05) / (luminance(dark) + 0.05), 4.5)
            << dark.name().toStdString();
        EXPECT_GT(red.red(), red.green() + 80) << "and is still red";
    }
}

TEST_F(InputAssignmentsTest, EachToggleIsNotedAndClosingByTheUserToo) {
    InputAssignmentsPanel panel(&keyboard);
    QSignalSpy shown(&panel, &InputAssignmentsPanel::Shown);
    panel.Toggle();
    EXPECT_TRUE(panel.isVisible() && ShownNextTime());
    panel.Toggle();
    EXPECT_FALSE(panel.isVisible() || ShownNextTime());
    panel.Toggle();
    panel.close();
    EXPECT_FALSE(ShownNextTime());
    EXPECT_TRUE(IsStored("InputAssignmentsPanelWindow"));
    std::vector<bool> told;
    for (const auto& one : shown) told.push_back(one.at(0).toBool());
    EXPECT_THAT(told, ElementsAre(true, false, true, false));
}

TEST_F(InputAssignmentsTest, TheProgramsEndKeepsItOpenForNextTimeAtItsPlace) {
    {
        InputAssignmentsPanel panel(&keyboard);
        panel.ShowAtStart();
        EXPECT_FALSE(panel.isVisible()) << "never shown before";
        panel.Toggle();
        panel.setGeometry(60, 70, 333, 222);
        panel.CloseWithProgram();
        EXPECT_TRUE(ShownNextTime());
    }
    InputAssignmentsPanel again(&keyboard);
    again.ShowAtStart();
    EXPECT_TRUE(again.isVisible());
    EXPECT_EQ(again.geometry(), QRect(60, 70, 333, 222));
}

class LayerOffsetsDialogTest : public testing::Test {
protected:
    LayerOffsetsDialogTest() {
        EXPECT_TRUE(main.Open(&window).Good());
        EXPECT_TRUE(simulator.Initialize(nullptr).Good());
        EXPECT_TRUE(simulator.AttachGraphicsSystem(&main, View::kMain).Good());
        EXPECT_TRUE(simulator
                        .BuildScene({fakes::Entry("land", {"photo", "map"}),
                                     fakes::Entry("island", {"photo"})})
                        .Good());
        EXPECT_TRUE(simulator.SetLayerOffsets(std::vector<float>{100.0F / 3, 0, 0}).Good());
    }
    [[nodiscard]] std::vector<float> Offsets() const {
        std::vector<float> offsets;
        for (const LayerOffset& row : simulator.LayerOffsets()) offsets.push_back(row.offset);
        return offsets;
    }
    fakes::Log log;
    std::map<std::string, fakes::FakeTerrainSpec> specs{{"land", {}}, {"island", {}}};
    int aliveTextures = 0, textureRoom = 100;
    fakes::FixedWindow window{200, 100};
    fakes::RecordingGraphics main{log, "16"};
    Simulator simulator{
        std::make_unique<fakes::FakeModels>(log, specs, aliveTextures, textureRoom)};
    const UserUnit feet{3.2808398950131233, "ft"};
};

TEST_F(LayerOffsetsDialogTest, OkSetsAllInTheUsersUnit) {
    LayerOffsetsDialog dialog(simulator, nullptr, feet);
    QSignalSpy changed(&dialog, &LayerOffsetsDialog::settingsChanged);
    dialog.open();
    EXPECT_EQ(dialog.findChildren<NumberField*>().size(), 3);
    EXPECT_NEAR(Get<NumberField>(dialog, "offset0").value(), 109.36, 0.001);
    widgets::Type(Get<NumberField>(dialog, "offset2"), "-328.0839895");
    Press(dialog, Button::Ok);
    const std::vector<float> offsets = Offsets();
    EXPECT_EQ(offsets[0], 100.0F / 3) << "nobody entered anything there";
    EXPECT_NEAR(offsets[2], -100, 0.01);
    EXPECT_EQ(changed.count(), 1);
}

TEST_F(LayerOffsetsDialogTest, CancelChangesNothing) {
    LayerOffsetsDialog dialog(simulator, nullptr, feet);
    dialog.open();
    (void)QTest::qWaitForWindowActive(&dialog);
    widgets::TypeAndEnter(Get<NumberField>(dialog, "offset1"), "500");
    Press(dialog, Button::Cancel);
    EXPECT_THAT(Offsets(), ElementsAre(100.0F / 3, 0, 0));
}

TEST_F(LayerOffsetsDialogTest, ALandscapeThatWentMeanwhileIsLeftAlone) {
    LayerOffsetsDialog dialog(simulator, nullptr, feet);
    dialog.open();
    (void)QTest::qWaitForWindowActive(&dialog);
    widgets::TypeAndEnter(Get<NumberField>(dialog, "offset0"), "500");
    ASSERT_TRUE(simulator.BuildScene({fakes::Entry("land", {"photo"})}).Good());
    Press(dialog, Button::Ok);
    EXPECT_THAT(Offsets(), ElementsAre(0));
}

class GraphicsSystemDialogTest : public testing::Test {
protected:
    GraphicsSystemDialogTest() {
        widgets::NewStore();
        systems.Register(0, std::make_unique<widgets::TestSystem>("directx"));
        systems.Register(1, std::make_unique<widgets::TestSystem>("opengl"));
        systems.FindAvailable();
    }
    GraphicsSystemRegistry systems;
};

TEST_F(GraphicsSystemDialogTest, OffersTheStoredSystemWhateverItsCase) {
    EXPECT_EQ(GraphicsSystemDialog(systems, "OPENGL", true).Chosen(), systems.At(1));
    EXPECT_EQ(GraphicsSystemDialog(systems, "", true).Chosen(), systems.At(0));
    EXPECT_EQ(GraphicsSystemDialog(systems, "gone", true).Chosen(), systems.At(0));
}

TEST_F(GraphicsSystemDialogTest, OkStoresTheChoiceAndExitDoesNot) {
    GraphicsSystemDialog dialog(systems, "", true);
    dialog.open();
    Get<QRadioButton>(dialog, "opengl").click();
    Get<QCheckBox>(dialog, "always_ask_this_at_startup").click();
    Get<QPushButton>(dialog, "exit").click();
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
    EXPECT_FALSE(IsStored("GraphicsSystem"));
    EXPECT_FALSE(dialog.AlwaysAsk()) << "counts all the same";
    dialog.open();
    Press(dialog, Button::Ok);
    std::string stored;
    EXPECT_TRUE(Stored("GraphicsSystem", stored));
    EXPECT_EQ(stored, "opengl");
    EXPECT_EQ(dialog.Chosen(), systems.At(1));
}

}  // namespace
}  // namespace tarnvale
