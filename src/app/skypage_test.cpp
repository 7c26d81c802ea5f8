#include "app/skypage.h"

#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QRadioButton>
#include <QTabWidget>
#include <cstdlib>

#include "app/optionsdialog.h"
#include "app/widgets_for_test.h"
#include "base/settings.h"
#include "graphics/nullgraphics.h"
#include "simulator/fakes_for_test.h"
#include "simulator/simulatr.h"
#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

using widgets::Get;
using widgets::Press;
using widgets::TypeAndEnter;
using ZPF::Good;
using Button = QDialogButtonBox;

/// A file of three skies, the last of them damaged.
void WriteSkies(const FILEPATH& path) {
    ZPF::PROJECTWRITER writer;
    ASSERT_TRUE(Good(writer.Create(path)));
    for (const char* name : {"noon", "dusk", "broken"}) {
        ZPF::RasterSpec spec;
        spec.name = name;
        spec.columns = 40;
        spec.rows = 20;
        int number = kNoObject;
        ASSERT_TRUE(Good(writer.AddRaster(kRootObject, spec, number)));
        const std::vector<std::byte> cells(40 * 20 * 3, std::byte{90});
        ASSERT_TRUE(Good(ZPF::PutCells(writer, number, spec, 0, cells, {})));
    }
    ASSERT_TRUE(Good(writer.Commit()));
    ZPF::RunSql(path, "UPDATE broken SET tile_data = x'0011'");
}

class SkyPageTest : public testing::Test {
protected:
    SkyPageTest() {
        widgets::NewStore();
        settings::SkyCentered.SetUnsaved(true);
        settings::Sky.SetUnsaved(false);
        EXPECT_TRUE(Good(ZPF::WriteLandscape(folder / "land.sim")));
        WriteSkies(folder / "some.sky");
        ::setenv("TARNVALE_SKY_FILE", (folder / "some.sky").c_str(), 1);
        EXPECT_TRUE(graphics.Open(&window).Good());
        EXPECT_TRUE(simulator.Initialize(nullptr).Good());
        EXPECT_TRUE(simulator.AttachGraphicsSystem(&graphics, View::kMain).Good());
        OpenLandscape();
        dialog = std::make_unique<OptionsDialog>(context);
        dialog->open();
        (void)QTest::qWaitForWindowActive(dialog.get());
        auto& tabs = *dialog->findChild<QTabWidget*>();
        tabs.setCurrentIndex(2);
        skies = &Get<QComboBox>(*dialog, "select_sky_c");
    }
    ~SkyPageTest() override {
        dialog.reset();
        simulator.Unload();
        (void)simulator.AttachGraphicsSystem(nullptr, View::kMain);
        ::setenv("TARNVALE_SKY_FILE", "none", 1);
        settings::Sky.SetUnsaved(false);
        settings::SkyCentered.SetUnsaved(true);
    }
    void OpenLandscape() {
        SimulatorFile file;
        ASSERT_TRUE(Good(file.Read(folder / "land.sim")));
        ASSERT_TRUE(Good(simulator.BuildScene(file)));
    }

    ZPF::ScratchFolder folder;
    fakes::FixedWindow window{200, 100};
    NullGraphicsSystem graphics;
    Simulator simulator;
    GraphicsSystemRegistry systems;
    OptionsContext context{simulator, systems, nullptr, {}};
    std::unique_ptr<OptionsDialog> dialog;
    QComboBox* skies = nullptr;
};

TEST_F(SkyPageTest, AChosenSkyShowsAtOnceAndCancelBringsTheOldOneBack) {
    EXPECT_TRUE(settings::Sky.Get()) << "a landscape with a sky shows it";
    ASSERT_EQ(skies->count(), 3);
    EXPECT_EQ(skies->currentText(), "Tarnvale / noon");
    skies->setCurrentIndex(1);
    EXPECT_EQ(simulator.CurrentSky(), 1);
    Press(*dialog, Button::Cancel);
    EXPECT_EQ(simulator.CurrentSky(), 0);
    dialog->open();
    EXPECT_EQ(skies->currentIndex(), 0);
    skies->setCurrentIndex(1);
    Press(*dialog, Button::Ok);
    dialog->open();
    Press(*dialog, Button::Cancel);
    EXPECT_EQ(simulator.CurrentSky(), 1);
}

TEST_F(SkyPageTest, ASkyThatCantBeLoadedSaysWhyAndLeavesTheOldOne) {
    auto& problem = Get<QLabel>(*dialog, "SkyProblem");
    EXPECT_FALSE(problem.isVisible());
    skies->setCurrentIndex(2);
    EXPECT_TRUE(problem.isVisible());
    EXPECT_TRUE(problem.text().contains("broken")) << problem.text().toStdString();
    EXPECT_EQ(skies->currentIndex(), 0);
    EXPECT_TRUE(simulator.Sky().HasPicture());
    skies->setCurrentIndex(1);
    EXPECT_FALSE(problem.isVisible());
}

TEST_F(SkyPageTest, NumbersAndCentreAreTriedAndSetBack) {
    const struct {
        const char* field;
        float SkyParameters::*value;
        const char* typed;
        float kept;
    } cases[] = {{"yaw_c", &SkyParameters::yaw, "400", 359.9F},
                 {"pitch_c", &SkyParameters::pitch, "12.5", 12.5F},
                 {"roll_c", &SkyParameters::roll, "7", 7},
                 {"scale_c", &SkyParameters::scale, "0", 1},
                 {"height_c", &SkyParameters::height, "-300", -200}};
    for (const auto& one : cases) {
        TypeAndEnter(Get<NumberField>(*dialog, one.field), one.typed);
        EXPECT_FLOAT_EQ(simulator.Sky().Parameters().*one.value, one.kept) << one.field;
    }
    Get<QRadioButton>(*dialog, "center_sky_on_viewer").click();
    EXPECT_FALSE(settings::SkyCentered.Get());
    Press(*dialog, Button::Cancel);
    EXPECT_EQ(simulator.Sky().Parameters(), SkyParameters());
    EXPECT_TRUE(settings::SkyCentered.Get());
    EXPECT_FALSE(widgets::IsStored("SkyCentered"));
}

TEST_F(SkyPageTest, AnotherLandscapeBringsItsOwnSkyAndKeepsIt) {
    skies->setCurrentIndex(1);
    TypeAndEnter(Get<NumberField>(*dialog, "scale_c"), "300");
    OpenLandscape();
    dialog->LandscapeOpened();
    EXPECT_EQ(simulator.CurrentSky(), 0);
    simulator.Sky().Parameters().scale = 120;
    Press(*dialog, Button::Cancel);
    EXPECT_EQ(simulator.Sky().Parameters().scale, 120) << "nothing of the old one is undone";

    ::setenv("TARNVALE_SKY_FILE", "none", 1);
    OpenLandscape();
    dialog->open();
    EXPECT_EQ(skies->count(), 0);
    EXPECT_FALSE(skies->isEnabled());
    EXPECT_FALSE(settings::Sky.Get());
    EXPECT_FALSE(simulator.LoadSky(0).Good());
}

}  // namespace
}  // namespace tarnvale
