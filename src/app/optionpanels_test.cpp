#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTableWidget>
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

std::set<int> RedRows(const InputAssignmentsPanel& panel) {
    const auto& table = Get<QTableWidget>(panel, "input_assignments");
    std::set<int> red;
    for (int row = 0; row < table.rowCount(); ++row) {
        const QColor ink = table.item(row, 0)->foreground().color();
        if (ink.red() > 200 && ink.green() < 150 && ink.blue() < 150) red.insert(row);
    }
    return red;
}

TEST(InputAssignments, ActionsWithoutAnyBindingStandInRed) {
    const StandardInput keyboard;
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

TEST(InputAssignments, TheRedCanBeReadOnAnyBackground) {
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

class LayerOffsetsDialogTest : public testing::Test, protected fakes::World {
protected:
    LayerOffsetsDialogTest() {
        specs["island"] = {};
        Attach(View::kMain);
        Build({fakes::Entry("land", {"photo", "map"}), fakes::Entry("island", {"photo"})});
        EXPECT_TRUE(simulator.SetLayerOffsets(std::vector<float>{100.0F / 3, 0, 0}).Good());
    }
    [[nodiscard]] std::vector<float> Offsets() const {
        std::vector<float> offsets;
        for (const LayerOffset& row : simulator.LayerOffsets()) offsets.push_back(row.offset);
        return offsets;
    }
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
    Build();
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
