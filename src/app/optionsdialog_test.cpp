#include "app/optionsdialog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QColorDialog>
#include <QLabel>
#include <QListWidget>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <cmath>
#include <functional>
#include <set>
#include <tuple>

#include "app/colourbutton.h"
#include "app/formatreadoutsdialog.h"
#include "app/widgets_for_test.h"
#include "base/settings.h"
#include "base/textres.h"
#include "geom/units.h"
#include "input/standardinput.h"
#include "simulator/fakes_for_test.h"

namespace tarnvale {
namespace {

using testing::ElementsAre;
using widgets::Get;
using widgets::IsStored;
using widgets::Press;
using widgets::Stored;
using widgets::Type;
using widgets::TypeAndEnter;
using Button = QDialogButtonBox;

constexpr COLOR kSlate{0x1234, 0x5678, 0x9ABC, 0};

class OptionsDialogTest : public testing::Test, protected fakes::World {
protected:
    OptionsDialogTest() {
        widgets::NewStore();
        settings::BackgroundColor.SetUnsaved(kSlate);
        settings::FogColor.SetUnsaved({1, 2, 3, 0});
        settings::UseBackgroundColor.SetUnsaved(false);
        settings::Fog.SetUnsaved(false);
        settings::FogType.SetUnsaved(0);
        settings::FogStart.SetUnsaved(4000.123F);
        settings::FogDensity.SetUnsaved(0.0001F);
        settings::UseSun.SetUnsaved(true);
        settings::SunElevationAngle.SetUnsaved(45);
        settings::Subterrain.SetUnsaved(false);
        settings::TerrainChoice.SetUnsaved(1);
        settings::TerrainQuality.SetUnsaved(85);
        settings::FrameRate.SetUnsaved(20);
        TerrainModel::SetQuality(85, false);
        settings::UseMinimumHeight.SetUnsaved(false);
        settings::UseMaximumHeight.SetUnsaved(false);
        settings::MinimumHeight.SetUnsaved(100);
        settings::MaximumHeight.SetUnsaved(100);
        settings::TurnSpeed.SetUnsaved(45);
        settings::UpDownSpeed = 500;
        settings::MapViewOrientationNorth.SetUnsaved(true);
        settings::MapLocator.SetUnsaved(0);

        auto first = std::make_unique<widgets::TestSystem>("directx", true);
        auto second = std::make_unique<widgets::TestSystem>("opengl");
        direct = first.get();
        open = second.get();
        systems.Register(GraphicsSystemRegistry::kDirect3D, std::move(first));
        systems.Register(GraphicsSystemRegistry::kOpenGL, std::move(second));
        systems.FindAvailable();
        EXPECT_TRUE(open->Open(&surface).Good());
        EXPECT_TRUE(simulator.AttachGraphicsSystem(open, View::kMain).Good());
        context.changeGraphicsSystem = [this](GraphicsSystem* system) {
            asked = system;
            if (mayChange) (void)simulator.AttachGraphicsSystem(system, View::kMain);
            return mayChange;
        };
        // Feet, radians and kilometres an hour, so that a conversion forgotten shows.
        context.unit = [](UnitUse use) {
            switch (use) {
                case UnitUse::Angle:
                    return UserUnit{0.017453292519943295, "rad"};
                case UnitUse::Velocity:
                    return UserUnit{3.6, "km/h"};
                default:
                    return UserUnit{3.2808398950131233, "ft"};
            }
        };
    }
    ~OptionsDialogTest() override { (void)simulator.AttachGraphicsSystem(nullptr, View::kMain); }
    OptionsDialog& Open() {
        dialog = std::make_unique<OptionsDialog>(context);
        dialog->open();
        (void)QTest::qWaitForWindowActive(dialog.get());
        return *dialog;
    }
    void ShowPage(int index) { dialog->findChild<QTabWidget*>()->setCurrentIndex(index); }

    GraphicsSystemRegistry systems;
    widgets::TestSystem *direct = nullptr, *open = nullptr;
    StandardInput input;
    GraphicsSystem* asked = nullptr;
    bool mayChange = true;
    OptionsContext context{simulator, systems, &input, {}};
    std::unique_ptr<OptionsDialog> dialog;
};

enum Page { kGraphics, kEffects, kSky, kTerrain, kControls, kMapView, kExaggeration };

TEST_F(OptionsDialogTest, WhatCanBeSeenChangesAtOnceAndCancelBringsItBack) {
    Open();
    QSignalSpy seen(dialog.get(), &OptionsDialog::settingsChanged);
    ShowPage(kExaggeration);
    TypeAndEnter(Get<NumberField>(*dialog, "vertical_exaggeration_c"), "2.5");
    EXPECT_EQ(settings::VerticalExaggeration.Get(), 2.5F);
    ShowPage(kEffects);
    Get<QCheckBox>(*dialog, "fog").click();
    TypeAndEnter(Get<NumberField>(*dialog, "start_c"), "328.084");
    EXPECT_NEAR(settings::FogStart.Get(), 100, 0.01);
    ShowPage(kTerrain);
    TypeAndEnter(Get<NumberField>(*dialog, "quality"), "30");
    EXPECT_EQ(TerrainModel::Quality(), 30);
    ShowPage(kMapView);
    TypeAndEnter(Get<NumberField>(*dialog, "extents_c"), "25");
    EXPECT_EQ(settings::MapExtents, 25);
    EXPECT_GE(seen.count(), 5);

    QTest::keyClick(dialog.get(), Qt::Key_Escape);
    EXPECT_FALSE(dialog->isVisible());
    EXPECT_EQ(settings::VerticalExaggeration.Get(), 1);
    EXPECT_FALSE(settings::Fog.Get());
    EXPECT_EQ(settings::FogStart.Get(), 4000.123F);
    EXPECT_EQ(TerrainModel::Quality(), 85);
    EXPECT_EQ(settings::MapExtents, 100);
    for (const char* key : {"VerticalExaggeration", "Fog", "FogStart", "TerrainQuality"}) {
        EXPECT_FALSE(IsStored(key)) << key;
    }
}

TEST_F(OptionsDialogTest, ApplyKeepsAndStaysAndALaterCancelGoesBackToThere) {
    Open();
    ShowPage(kExaggeration);
    NumberField& exaggeration = Get<NumberField>(*dialog, "vertical_exaggeration_c");
    TypeAndEnter(exaggeration, "2");
    Press(*dialog, Button::Apply);
    EXPECT_TRUE(dialog->isVisible());
    float stored = 0;
    EXPECT_TRUE(Stored("VerticalExaggeration", stored));
    EXPECT_EQ(stored, 2);
    ShowPage(kEffects);
    Get<QCheckBox>(*dialog, "fog").click();
    Get<QCheckBox>(*dialog, "fog").click();
    Press(*dialog, Button::Apply);
    EXPECT_FALSE(IsStored("Fog")) << "what is as it was needs no writing";
    ShowPage(kExaggeration);
    TypeAndEnter(exaggeration, "3");
    Press(*dialog, Button::Cancel);
    EXPECT_EQ(settings::VerticalExaggeration.Get(), 2);
}

TEST_F(OptionsDialogTest, AHalfTypedNumberCountsWhenAButtonsKeyIsPressed) {
    Open();
    ShowPage(kExaggeration);
    Type(Get<NumberField>(*dialog, "vertical_exaggeration_c"), "4");
    EXPECT_EQ(settings::VerticalExaggeration.Get(), 1) << "half a number is no value yet";
    dialog->accept();
    float stored = 0;
    EXPECT_TRUE(Stored("VerticalExaggeration", stored));
    EXPECT_EQ(stored, 4);
}

TEST_F(OptionsDialogTest, AHalfTypedNumberIsGoneAfterCancel) {
    Open();
    ShowPage(kExaggeration);
    Type(Get<NumberField>(*dialog, "vertical_exaggeration_c"), "4");
    QTest::keyClick(dialog.get(), Qt::Key_Escape);
    QCoreApplication::processEvents();
    EXPECT_EQ(settings::VerticalExaggeration.Get(), 1);
    for (const auto& typing : {widgets::Type, widgets::TypeAndEnter}) {
        Open();
        ShowPage(kExaggeration);
        typing(Get<NumberField>(*dialog, "vertical_exaggeration_c"), "5");
        dialog.reset();
        EXPECT_EQ(settings::VerticalExaggeration.Get(), 1) << "nor does it outlive the dialog";
    }
}

TEST_F(OptionsDialogTest, WhatIsNoNumberOrOutOfRangeIsHeld) {
    Open();
    ShowPage(kExaggeration);
    NumberField& exaggeration = Get<NumberField>(*dialog, "vertical_exaggeration_c");
    const std::tuple<const char*, float> cases[] = {
        {"150", 100}, {"-3", 0.01F}, {"0", 0.01F},  {"7", 7},     {"wide", 7},
        {"", 7},      {"1,5", 1.5F}, {"nan", 1.5F}, {"1e9", 100},
    };
    for (const auto& [typed, held] : cases) {
        Type(exaggeration, typed);
        if (*typed == '\0') QTest::keyClick(&exaggeration, Qt::Key_Delete);
        QTest::keyClick(&exaggeration, Qt::Key_Tab);
        EXPECT_EQ(settings::VerticalExaggeration.Get(), held) << typed;
        EXPECT_NEAR(exaggeration.value(), held, 1e-6) << typed;
    }
}

TEST_F(OptionsDialogTest, EffectsEnableWhatTheirSwitchesSay) {
    Open();
    ShowPage(kEffects);
    const auto usable = [this](const char* name) {
        return Get<QWidget>(*dialog, name).isEnabled();
    };
    EXPECT_FALSE(usable("subterrain_color_c") || usable("subterrain_opacity_c"));
    Get<QCheckBox>(*dialog, "subterrain").click();
    EXPECT_TRUE(usable("subterrain_color_c") && usable("subterrain_opacity_c"));
    EXPECT_TRUE(usable("elevation_c") && usable("azimuth_c"));
    Get<QCheckBox>(*dialog, "sun").click();
    EXPECT_FALSE(usable("elevation_c") || usable("azimuth_c"));

    EXPECT_FALSE(usable("fog_color_c") || usable("linear") || usable("start_c") || usable("end_c"));
    Get<QCheckBox>(*dialog, "fog").click();
    EXPECT_TRUE(usable("fog_color_c") && usable("linear") && usable("start_c") && usable("end_c"));
    EXPECT_FALSE(usable("density_c"));
    Get<QRadioButton>(*dialog, "exponential_two").click();
    EXPECT_TRUE(usable("density_c") && !usable("start_c") && !usable("end_c"));
    EXPECT_EQ(settings::FogType.Get(), 2);
    Get<QCheckBox>(*dialog, "use_background_color").click();
    EXPECT_FALSE(usable("fog_color_c"));
}

TEST_F(OptionsDialogTest, TheFogFollowsTheBackgroundWhileItUsesIt) {
    settings::Fog.SetUnsaved(true);
    Open();
    ShowPage(kEffects);
    auto& background = Get<ColourButton>(*dialog, "background_color_c");
    auto& fog = Get<ColourButton>(*dialog, "fog_color_c");
    auto& use = Get<QCheckBox>(*dialog, "use_background_color");
    EXPECT_EQ(fog.Color(), (COLOR{1, 2, 3, 0}));
    use.click();
    EXPECT_EQ(fog.Color(), kSlate);
    EXPECT_EQ(settings::FogColor.Get(), kSlate) << "seen at once";
    use.click();
    EXPECT_EQ(fog.Color(), (COLOR{1, 2, 3, 0})) << "its own colour isn't lost";
    use.click();

    const COLOR orange{0xFFFF, 0x8080, 0, 0};
    for (const auto& end : {&QDialog::reject, &QDialog::accept}) {
        QTest::mouseClick(&background, Qt::LeftButton);
        auto* const picker = background.findChild<QColorDialog*>();
        ASSERT_NE(picker, nullptr);
        EXPECT_EQ(settings::BackgroundColor.Get(), kSlate) << "opening rounds nothing to 8 bits";
        picker->setCurrentColor(QColor(255, 128, 0));
        EXPECT_EQ(settings::BackgroundColor.Get(), orange);
        EXPECT_EQ(fog.Color(), orange);
        (picker->*end)();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (end == &QDialog::reject) {
            EXPECT_EQ(settings::BackgroundColor.Get(), kSlate) << "bit for bit";
        }
    }
    Press(*dialog, Button::Ok);
    COLOR stored;
    EXPECT_TRUE(Stored("FogColor", stored));
    EXPECT_EQ(stored, orange);
}

TEST_F(OptionsDialogTest, TerrainHoldsAQualityOrAFrameRate) {
    _iniWrite("TerrainChoice", std::int32_t{9});
    Open();
    std::int32_t choice = 0;
    EXPECT_TRUE(Stored("TerrainChoice", choice));
    EXPECT_EQ(choice, 1) << "an unknown choice is written back";
    ShowPage(kTerrain);
    auto& quality = Get<NumberField>(*dialog, "quality");
    auto& rate = Get<NumberField>(*dialog, "frame_rate");
    EXPECT_TRUE(quality.isEnabled() && !rate.isEnabled());
    Get<QRadioButton>(*dialog, "frame_rate_c").click();
    EXPECT_TRUE(!quality.isEnabled() && rate.isEnabled());
    EXPECT_EQ(settings::TerrainChoice.Get(), 2) << "regulated at once";
    TypeAndEnter(rate, "0.2");
    EXPECT_EQ(rate.value(), 1) << "a rate below 1 is held";
    TypeAndEnter(rate, "40");
    TerrainModel::SetQuality(50, false);  // as the frame rate moves it
    Press(*dialog, Button::Ok);
    double stored = 0;
    EXPECT_TRUE(Stored("FrameRate", stored));
    EXPECT_EQ(stored, 40);
    EXPECT_TRUE(Stored("TerrainChoice", choice));
    EXPECT_EQ(choice, 2);
    EXPECT_EQ(TerrainModel::Quality(), 85) << "OK puts the dialog's quality in force";
}

TEST_F(OptionsDialogTest, SpeedsAndHeightsAreInTheUsersUnitsAndWaitForOk) {
    Open();
    ShowPage(kControls);
    auto& upDown = Get<NumberField>(*dialog, "speed_up_down_c");
    EXPECT_NEAR(upDown.value(), 1800, 0.01) << "500 m/s in km/h";
    EXPECT_EQ(upDown.decimals(), 2);
    TypeAndEnter(upDown, "3600");
    TypeAndEnter(Get<NumberField>(*dialog, "turn_speed_c"), "1.57");
    EXPECT_EQ(settings::UpDownSpeed, 500);
    auto& minimum = Get<NumberField>(*dialog, "minimum_height");
    auto& maximum = Get<NumberField>(*dialog, "maximum_height");
    EXPECT_FALSE(minimum.isEnabled());
    Get<QCheckBox>(*dialog, "minimum_height_c").click();
    Get<QCheckBox>(*dialog, "maximum_height_c").click();
    TypeAndEnter(minimum, "1000");
    EXPECT_NEAR(maximum.value(), 1000, 0.01) << "raised with it";
    TypeAndEnter(maximum, "500");
    EXPECT_NEAR(minimum.value(), 500, 0.01) << "lowered with it";
    Press(*dialog, Button::Ok);
    EXPECT_NEAR(settings::UpDownSpeed, 1000, 0.01);
    EXPECT_NEAR(settings::TurnSpeed.Get(), 89.954, 0.01);
    float height = 0;
    bool use = false;
    EXPECT_TRUE(Stored("MinimumHeight", height) && Stored("UseMinimumHeight", use));
    EXPECT_NEAR(height, 152.4, 0.01);
    EXPECT_TRUE(use);
    EXPECT_FALSE(IsStored("UpDownSpeed")) << "kept in the process only";
    EXPECT_FALSE(IsStored("PitchSpeed")) << "nobody changed it";
}

TEST_F(OptionsDialogTest, ALandscapeThatOpensBringsItsOwnSpeedsAndExtents) {
    Open();
    ShowPage(kControls);
    TypeAndEnter(Get<NumberField>(*dialog, "speed_up_down_c"), "77");
    ShowPage(kMapView);
    TypeAndEnter(Get<NumberField>(*dialog, "extents_c"), "20");
    settings::UpDownSpeed = 250;
    settings::MapExtents = 70;
    dialog->LandscapeOpened();
    EXPECT_NEAR(Get<NumberField>(*dialog, "speed_up_down_c").value(), 900, 0.01);
    for (const auto button : {Button::Apply, Button::Cancel}) {
        Press(*dialog, button);
        EXPECT_EQ(settings::UpDownSpeed, 250);
        EXPECT_EQ(settings::MapExtents, 70);
    }
}

TEST_F(OptionsDialogTest, ASystemIsChangedByOkAndSelectedBackIfThatFails) {
    mayChange = false;
    Open();
    auto& list = Get<QListWidget>(*dialog, "graphics_system_c");
    ASSERT_EQ(list.count(), 2);
    EXPECT_EQ(list.currentRow(), 1) << "the one in use";
    EXPECT_FALSE(Get<QLabel>(*dialog, "graphics_description").text().isEmpty());
    list.setCurrentRow(0);
    std::string stored;
    EXPECT_TRUE(Stored("GraphicsSystem", stored));
    EXPECT_EQ(stored, "directx") << "written as it is selected";
    EXPECT_EQ(asked, nullptr);
    Press(*dialog, Button::Apply);
    EXPECT_EQ(asked, direct);
    EXPECT_EQ(list.currentRow(), 1);
    EXPECT_TRUE(Stored("GraphicsSystem", stored));
    EXPECT_EQ(stored, "opengl");

    mayChange = true;
    list.setCurrentRow(0);
    Get<QComboBox>(*dialog, "adapter_c").setCurrentIndex(1);
    Press(*dialog, Button::Ok);
    EXPECT_EQ(simulator.GetGraphicsSystem(View::kMain), direct);
    EXPECT_EQ(direct->adapter, 1) << "its own controls were taken over";
}

TEST_F(OptionsDialogTest, CancelLeavesTheSystemThatDrawsForTheNextStart) {
    for (const bool stored : {false, true}) {
        if (stored) _iniWrite("GraphicsSystem", std::string("opengl"));
        Open();
        Get<QListWidget>(*dialog, "graphics_system_c").setCurrentRow(0);
        Press(*dialog, Button::Cancel);
        std::string next;
        EXPECT_TRUE(Stored("GraphicsSystem", next));
        EXPECT_EQ(next, "opengl") << stored;
        EXPECT_EQ(asked, nullptr);
        dialog->open();
        EXPECT_EQ(Get<QListWidget>(*dialog, "graphics_system_c").currentRow(), 1);
    }
}

TEST_F(OptionsDialogTest, ASystemsOwnControlsShowOnlyWhileItIsSelected) {
    Open();
    const auto shown = [this](const char* name) { return !Get<QWidget>(*dialog, name).isHidden(); };
    EXPECT_FALSE(shown("adapter_c") || shown("antialias") || shown("smooth_texture"));
    auto& list = Get<QListWidget>(*dialog, "graphics_system_c");
    list.setCurrentRow(0);
    EXPECT_TRUE(shown("adapter_c") && shown("antialias") && shown("smooth_texture"));
    list.setCurrentRow(1);
    EXPECT_FALSE(shown("adapter_c") || shown("antialias") || shown("smooth_texture"));
}

TEST_F(OptionsDialogTest, AMapThatTurnsWithTheViewerOffersOnlyTheArrow) {
    Open();
    ShowPage(kMapView);
    auto& orientation = Get<QComboBox>(*dialog, "orientation_c");
    auto& locator = Get<QComboBox>(*dialog, "locator_c");
    EXPECT_EQ(locator.count(), 2);
    orientation.setCurrentIndex(1);
    EXPECT_FALSE(settings::MapViewOrientationNorth.Get());
    EXPECT_EQ(locator.count(), 1);
    EXPECT_EQ(settings::MapLocator.Get(), 1);
    QTest::mouseClick(&Get<QPushButton>(*dialog, "configure_"), Qt::LeftButton);
    auto& colors = Get<QDialog>(*dialog, "MapLocatorColors");
    EXPECT_EQ(colors.findChildren<ColourButton*>().size(), 1);
    colors.reject();
    orientation.setCurrentIndex(0);
    EXPECT_EQ(settings::MapLocator.Get(), 0) << "the user's own choice comes back";
}

// The units that the readouts' format dialog stores are those of the options opened next.
class OptionUnitsTest : public OptionsDialogTest {
protected:
    OptionUnitsTest() {
        context.unit = UserUnitFor;
        settings::FogStart.SetUnsaved(4000);
        settings::Fog.SetUnsaved(true);
        settings::UseMinimumHeight.SetUnsaved(true);
        settings::UseMaximumHeight.SetUnsaved(true);
        settings::MaximumHeight.SetUnsaved(9000);
    }
    ~OptionUnitsTest() override {
        for (const char* box : {"distance_c", "elevation_c", "angle_c", "velocity_c"}) {
            SettingOf(box).SetUnsaved(kInternalUnit);
        }
        settings::UseMinimumHeight.SetUnsaved(false);
        settings::UseMaximumHeight.SetUnsaved(false);
        settings::SunAzimuthAngle.SetUnsaved(90);
    }
    static Setting<std::int32_t>& SettingOf(const std::string& box) {
        return box == "distance_c"    ? settings::DistanceUnits
               : box == "elevation_c" ? settings::ElevationUnits
               : box == "angle_c"     ? settings::AngleUnits
                                      : settings::VelocityUnits;
    }
    /// By the list that a user sees.
    void ChooseUnit(const char* box, int unit) {
        FormatReadoutsDialog format(simulator.GetReadouts().Scale(), nullptr);
        format.open();
        auto& list = Get<QComboBox>(format, box);
        ASSERT_GE(list.findData(unit), 0) << unit;
        list.setCurrentIndex(list.findData(unit));
        Press(format, Button::Ok);
    }
};

TEST_F(OptionUnitsTest, NumbersAreShownAndTakenInTheUnitChosenForTheReadouts) {
    struct Case {
        const char* box;
        int unit;
        Page page;
        const char *field, *shown, *typed;
        std::function<double()> kept;
        double expected;
    };
    const auto of = [](const Setting<float>& setting) {
        return [&setting] { return static_cast<double>(setting.Get()); };
    };
    const std::vector<Case> cases{
        {"distance_c", 9002, kEffects, "start_c", "13123.36", "1000", of(settings::FogStart),
         304.8},
        {"distance_c", 9036, kEffects, "end_c", "40.00000", "12.3456", of(settings::FogEnd),
         12345.6},
        {"distance_c", 9030, kEffects, "start_c", "2.159827", "1", of(settings::FogStart), 1852},
        {"elevation_c", 9003, kControls, "minimum_height", "328.08", "1000",
         of(settings::MinimumHeight), 304.800610},
        {"elevation_c", 9002, kControls, "maximum_height", "29527.56", "30000",
         of(settings::MaximumHeight), 9144},
        {"angle_c", 9105, kEffects, "azimuth_c", "100.00", "50", of(settings::SunAzimuthAngle), 45},
        {"angle_c", 9105, kControls, "turn_speed_c", "50.00", "-100", of(settings::TurnSpeed), -90},
        {"angle_c", 9101, kControls, "turn_speed_c", "0.79", "1.5708", of(settings::TurnSpeed),
         89.954},  // two decimals: 1.57
        {"velocity_c", kPerHour + 9030, kControls, "speed_up_down_c", "971.92", "100",
         [] { return static_cast<double>(settings::UpDownSpeed); }, 51.444},
        {"velocity_c", 9002, kControls, "speed_left_right_c", "1640.42", "10",
         [] { return static_cast<double>(settings::LeftRightSpeed); }, 3.048},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(std::string(one.field) + " in unit " + std::to_string(one.unit));
        settings::FogStart.SetUnsaved(4000);
        settings::FogEnd.SetUnsaved(40'000);
        settings::MinimumHeight.SetUnsaved(100);
        settings::MaximumHeight.SetUnsaved(9000);
        settings::SunAzimuthAngle.SetUnsaved(90);
        settings::TurnSpeed.SetUnsaved(45);
        settings::UpDownSpeed = settings::LeftRightSpeed = 500;
        ChooseUnit(one.box, one.unit);
        EXPECT_EQ(SettingOf(one.box).Get(), one.unit);
        Open();
        ShowPage(one.page);
        auto& field = Get<NumberField>(*dialog->Page(one.page), one.field);
        EXPECT_EQ(field.text().toStdString(), one.shown);
        TypeAndEnter(field, one.typed);
        Press(*dialog, Button::Ok);
        EXPECT_NEAR(one.kept(), one.expected, std::abs(one.expected) * 1e-5 + 1e-3);
        ChooseUnit(one.box, kInternalUnit);
    }
}

TEST_F(OptionUnitsTest, NoUnitMakesAValueDriftThatNobodyEnters) {
    settings::FogStart.SetUnsaved(4000.123F);
    settings::FogEnd.SetUnsaved(39'999.996F);
    settings::MinimumHeight.SetUnsaved(123.4567F);
    settings::MaximumHeight.SetUnsaved(123.4568F);
    settings::TurnSpeed.SetUnsaved(33.33333F);
    settings::SunAzimuthAngle.SetUnsaved(0.0123F);
    const std::vector<Setting<float>*> watched{
        &settings::FogStart,      &settings::FogEnd,          &settings::MinimumHeight,
        &settings::MaximumHeight, &settings::PitchSpeed,      &settings::RollSpeed,
        &settings::TurnSpeed,     &settings::SunAzimuthAngle, &settings::SunElevationAngle};
    std::vector<float> before;
    for (const Setting<float>* one : watched) before.push_back(one->Get());
    settings::UpDownSpeed = 342.6667F;
    const auto lengths = GetUnitList(UnitClass::Length), angles = GetUnitList(UnitClass::Angle),
               velocities = GetUnitList(UnitClass::Velocity);
    ASSERT_GT(lengths.size(), 20U);
    OptionsDialog options(context);
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        settings::DistanceUnits.SetUnsaved(lengths[i].number);
        settings::ElevationUnits.SetUnsaved(lengths[lengths.size() - 1 - i].number);
        settings::AngleUnits.SetUnsaved(angles[i % angles.size()].number);
        settings::VelocityUnits.SetUnsaved(velocities[i % velocities.size()].number);
        options.open();
        Press(options, i % 2 == 0 ? Button::Ok : Button::Apply);
        options.accept();
    }
    for (std::size_t i = 0; i < watched.size(); ++i) {
        EXPECT_EQ(watched[i]->Get(), before[i]) << watched[i]->Key();
        EXPECT_FALSE(IsStored(watched[i]->Key())) << watched[i]->Key();
    }
    EXPECT_EQ(settings::UpDownSpeed, 342.6667F);
    EXPECT_EQ(settings::BackgroundColor.Get(), kSlate);
    EXPECT_FALSE(IsStored("BackgroundColor"));
    EXPECT_EQ(asked, nullptr);
}

TEST_F(OptionUnitsTest, AnOpenDialogStaysInTheUnitsThatItShows) {
    Open();
    ShowPage(kEffects);
    auto& start = Get<NumberField>(*dialog, "start_c");
    ChooseUnit("distance_c", 9002);
    EXPECT_EQ(start.accessibleDescription().toStdString(), "m");
    TypeAndEnter(start, "1000");
    EXPECT_EQ(settings::FogStart.Get(), 1000);
    dialog->reject();
    dialog->open();
    EXPECT_EQ(start.accessibleDescription().toStdString(), "ft");
    EXPECT_EQ(start.text().toStdString(), "13123.36");
}

TEST_F(OptionUnitsTest, AStoredUnitThatIsNoneShowsAsTheProgramsOwn) {
    settings::DistanceUnits.SetUnsaved(4711);
    Open();
    auto& start = Get<NumberField>(*dialog, "start_c");
    EXPECT_EQ(start.text().toStdString(), "4000.00");
    EXPECT_EQ(start.accessibleDescription().toStdString(), "m");
}

TEST_F(OptionsDialogTest, KeysTurnThePagesFromAnyControl) {
    Open();
    const auto* const tabs = dialog->findChild<QTabWidget*>();
    auto& list = Get<QComboBox>(*dialog->Page(kMapView), "locator_c");
    const std::tuple<QWidget*, int> from[] = {{&list, kMapView},
                                              {&Get<NumberField>(*dialog, "quality"), kTerrain}};
    const std::tuple<Qt::Key, Qt::KeyboardModifiers, int> keys[] = {
        {Qt::Key_Tab, Qt::ControlModifier, 1},
        {Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier, -1},
        {Qt::Key_PageDown, Qt::ControlModifier, 1},
        {Qt::Key_PageUp, Qt::ControlModifier, -1}};
    for (const auto& [control, page] : from) {
        for (const auto& [key, modifiers, step] : keys) {
            ShowPage(page);
            control->setFocus();
            QTest::keyClick(control, key, modifiers);
            EXPECT_EQ(tabs->currentIndex(), page + step);
        }
    }
    EXPECT_EQ(list.currentIndex(), 0) << "not the setting";
    ShowPage(kExaggeration);
    QTest::keyClick(dialog.get(), Qt::Key_PageDown, Qt::ControlModifier);
    EXPECT_EQ(tabs->currentIndex(), kGraphics) << "round and round";
}

// Letters of a page and of the buttons below it: each once, in each language.
TEST_F(OptionsDialogTest, NoTwoControlsShareALetter) {
    for (const char* language : {"en", "de"}) {
        ::setenv("LC_ALL", language, 1);
        TEXTRES::Terminate();
        context.hasOverlays = true;
        Open();
        for (int i = kGraphics; i <= kExaggeration; ++i) {
            const QWidget& page = *dialog->Page(i);
            std::set<QChar> letters;
            const auto add = [&letters, language](const QString& text) {
                const qsizetype at = text.indexOf(QLatin1Char('&'));
                if (at < 0 || at + 1 >= text.size()) return;
                EXPECT_TRUE(letters.insert(text[at + 1].toUpper()).second)
                    << language << ": " << text.toStdString();
            };
            for (const auto* button : dialog->findChild<QDialogButtonBox*>()->buttons()) {
                add(button->text());
            }
            EXPECT_EQ(letters.size(), 1U) << "Apply, which no key stands for";
            for (const QLabel* label : page.findChildren<QLabel*>()) {
                if (label->buddy() != nullptr) add(label->text());
            }
            for (const QAbstractButton* button : page.findChildren<QAbstractButton*>()) {
                add(button->text());
            }
        }
    }
    ::setenv("LC_ALL", "C", 1);
    TEXTRES::Terminate();
}

}  // namespace
}  // namespace tarnvale
