#include "simulator/readouts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "base/settings.h"
#include "geom/system_for_test.h"
#include "geom/units.h"
#include "simulator/fakes_for_test.h"
#include "simulator/simulatr.h"

namespace tarnvale {
namespace {

[[maybe_unused]] const int kEnglish = ::setenv("LC_ALL", "C", 1);  // before any text is read

constexpr int kTerrain = 0, kViewer = 1, kMouse = Readouts::kMousePage;
constexpr int kForward = Readouts::kForwardPage;

class TextList final : public ReadoutsDisplay {
public:
    void ShowReadout(const ReadoutField& field, std::string_view text) override {
        texts[{field.page, field.row, field.column}] = text;
        ++drawn;
    }
    [[nodiscard]] std::string At(int page, int row, int column = 0) const {
        const auto found = texts.find({page, row, column});
        return found != texts.end() ? found->second : "(never drawn)";
    }
    std::map<std::tuple<int, int, int>, std::string> texts;
    int drawn = 0;
};

class ReadoutsTest : public testing::Test {
protected:
    void SetUp() override { Reset(); }
    void TearDown() override { Reset(); }
    static void Reset() {
        settings::Format.SetUnsaved(128);
        for (Setting<std::int32_t>* unit : {&settings::DistanceUnits, &settings::ElevationUnits,
                                            &settings::AngleUnits, &settings::VelocityUnits}) {
            unit->SetUnsaved(0);
        }
    }
    // Each value another one, so that a wrong field shows.
    static SimulatorReadoutValues Values() {
        SimulatorReadoutValues values;
        values.instantFrameRate = 61;
        values.averageFrameRate = 60;
        values.terrainQuality = 85;
        values.velocity = 12.345F;
        values.pitch = -10.25F;
        values.roll = 0;
        values.heading = 359.5F;
        values.altitude = 1500;
        values.surfaceElevation = 400.5F;
        values.viewerNorth = 5'000'000.1;
        values.viewerEast = 500'000.75;
        values.mouse = {true, true, 1, 2, 3, 4, 5};
        values.centres[View::kMain] = {true, true, 11, 12, 13, 14, 15};
        values.centres[View::kCustom] = {true, true, 71, 72, 73, 74, 75};
        values.northExtent = 5'010'000;
        values.southExtent = 4'990'000;
        values.eastExtent = 520'000;
        values.westExtent = 480'000;
        values.eastWestExtents = 40'000;
        values.northSouthExtents = 20'000;
        values.minimumElevation = -3;
        values.maximumElevation = 2000;
        return values;
    }

    Readouts readouts;
    TextList list;
};

TEST_F(ReadoutsTest, EveryRowShowsItsValueAndUnit) {
    readouts.Update(Values(), false, true);  // nobody looks
    readouts.SetDisplay(&list);
    readouts.Update(Values(), false, false);
    const std::tuple<int, int, const char*, const char*> rows[] = {
        {kTerrain, 0, "520000.00", "(never drawn)"},
        {kTerrain, 1, "480000.00", "(never drawn)"},
        {kTerrain, 2, "5010000.00", "(never drawn)"},
        {kTerrain, 3, "4990000.00", "(never drawn)"},
        {kTerrain, 4, "40000.00", "m"},
        {kTerrain, 5, "20000.00", "m"},
        {kTerrain, 6, "2000.00", "m"},
        {kTerrain, 7, "-3.00", "m"},
        {kTerrain, 8, "85.00", "%"},
        {kTerrain, 9, "60.00", "frames/s"},
        {kViewer, 0, "5000000.10", "500000.75"},
        {kViewer, 1, "1500.00", "m"},
        {kViewer, 2, "400.50", "m"},
        {kViewer, 3, "1099.50", "m"},
        {kViewer, 4, "-10.25", "\u00B0"},
        {kViewer, 5, "0.00", "\u00B0"},
        {kViewer, 6, "359.50", "\u00B0"},
        {kViewer, 7, "12.35", "m/s"},  // 12.345 lies above as a 32-bit number
        {kMouse, 0, "1.00", "2.00"},
        {kMouse, 1, "3.00", "m"},
        {kMouse, 2, "4.00 m", "(never drawn)"},
        {kMouse, 3, "5 m", "(never drawn)"},
        {kForward, 0, "11.00", "12.00"},
        {kForward, 3, "15 m", "(never drawn)"},
        {Readouts::kFirstViewPage + View::kCustom, 2, "74.00 m", "(never drawn)"},
        {Readouts::kFirstViewPage + View::kLeft, 0, "(never drawn)", "(never drawn)"},
    };
    for (const auto& [page, row, value, second] : rows) {
        EXPECT_EQ(list.At(page, row), value) << page << ' ' << row;
        EXPECT_EQ(list.At(page, row, 1), second) << page << ' ' << row;
    }
}

TEST_F(ReadoutsTest, OnlyAFieldWhoseFloatChangedIsDrawn) {
    readouts.SetDisplay(&list);
    SimulatorReadoutValues values = Values();
    readouts.Update(values, false, false);
    list.drawn = 0;
    readouts.Update(values, false, false);
    EXPECT_EQ(list.drawn, 0);
    values.viewerNorth += 0.01;  // less than a 32-bit number can tell up there
    values.roll = -0.0F;
    readouts.Update(values, false, false);
    EXPECT_EQ(list.drawn, 0);
    values.viewerNorth += 1;
    readouts.Update(values, false, false);
    EXPECT_EQ(list.drawn, 1);
    EXPECT_EQ(list.At(kViewer, 0), "5000001.11");
    values.altitude += 1;
    readouts.Update(values, false, false);
    EXPECT_EQ(list.drawn, 5) << "altitude and height above the surface, each with its unit";

    values.viewerNorth = 35'000'000;  // where one less is the same 32-bit number
    readouts.Update(values, false, false);
    list.texts.clear();
    readouts.Update(values, false, true);
    EXPECT_EQ(list.At(kViewer, 0), "35000000.00") << "forced, though nothing changed";
    EXPECT_EQ(list.At(kTerrain, 9), "60.00");
    list.drawn = 0;
    readouts.Update(values, false, false);
    EXPECT_EQ(list.drawn, 0);

    readouts.SetDisplay(nullptr);
    readouts.SetDisplay(&list);
    readouts.Update(values, false, false);
    EXPECT_GT(list.drawn, 40) << "a window opened anew";
}

TEST_F(ReadoutsTest, PlacesWithoutAHitStayAndLackingNumbersAreEmptied) {
    readouts.SetDisplay(&list);
    SimulatorReadoutValues values = Values();
    readouts.Update(values, false, false);
    values.mouse = {};
    values.mouse.elevation = 999;
    values.centres[View::kMain].hasDistance = false;
    values.centres[View::kMain].accuracy = -1;
    values.viewerEast = SimulatorReadoutValues::kUnknown;
    list.drawn = 0;
    readouts.Update(values, false, false);
    readouts.Update(values, false, false);
    EXPECT_EQ(list.drawn, 3) << "emptied once each";
    EXPECT_EQ(list.At(kMouse, 1), "3.00");
    EXPECT_EQ(list.At(kForward, 2), "");
    EXPECT_EQ(list.At(kForward, 3), "");
    EXPECT_EQ(list.At(kViewer, 0, 1), "");
    values.centres[View::kMain].hasDistance = true;
    readouts.Update(values, false, false);
    EXPECT_EQ(list.At(kForward, 2), "14.00 m");
    readouts.Clear();
    for (const auto& [field, text] : list.texts) EXPECT_EQ(text, "");
}

TEST_F(ReadoutsTest, TheChosenSystemLastsFromLandscapeToLandscape) {
    ReadoutScale scale;
    double east = 500'000, north = 0;
    ASSERT_TRUE(scale.Convert(east, north));
    EXPECT_EQ(east, 500'000) << "without a landscape nothing is known";
    scale.SetLandscape(System("EPSG:32632"));
    EXPECT_FALSE(scale.IsLatLon());
    EXPECT_EQ(scale.MetresPerUnit(), 1);
    ASSERT_TRUE(scale.ChooseSystem(System("EPSG:4807")).Good());  // in gon, from Paris
    EXPECT_TRUE(scale.IsLatLon());
    ASSERT_TRUE(scale.Convert(east, north));
    EXPECT_NEAR(east, 9 - 2.33722917, 2e-3) << "degrees, whatever the system counts in";

    scale.SetLandscape(COORDREFSYS());
    EXPECT_FALSE(scale.System().Valid());
    EXPECT_EQ(scale.ChooseSystem(System("EPSG:4326")), StatusCode::BadState);
    scale.SetLandscape(System("EPSG:32633"));
    EXPECT_TRUE(scale.IsLatLon()) << "chosen once";
    ASSERT_TRUE(scale.ChooseSystem(COORDREFSYS()).Good());
    EXPECT_EQ(scale.System().Wkt(), System("EPSG:32633").Wkt());
}

// A plane 100 high in zone 32, whose middle column lies on the zone's meridian.
class ReadoutValuesTest : public ReadoutsTest, protected fakes::World {
protected:
    void SetUp() override {
        ReadoutsTest::SetUp();
        fakes::FakeTerrainSpec& land = specs["land"];
        land.grid = {500'000 - 325, 10, 0, 5'000'000, 0, -10};
        land.system = "EPSG:32632";
        Attach(View::kMain);
        Build();
    }
    void TearDown() override {
        simulator.GetReadouts().SetDisplay(nullptr);
        ReadoutsTest::TearDown();
    }

    fakes::FixedWindow nothing{0, 0};
};

// What the main view's pixel sees of the plane, with the eye 500 above it looking north and down by
// 45 degrees: metres east and north of the eye.
std::pair<double, double> SeenFromAbove(double x, double y) {
    const double half = std::tan(M_PI / 8), s = std::sqrt(0.5);
    const double across = (x + 0.5 - 100) / 50 * half, above = (50 - y - 0.5) / 50 * half;
    const double north = s + above * s, down = s - above * s;
    return {across * 500 / down, north * 500 / down};
}

TEST_F(ReadoutValuesTest, TellWhatTheViewerAndThePixelsSee) {
    simulator.GetReadouts().SetDisplay(&list);
    ASSERT_TRUE(simulator.PlaceByLookAt({325, -625, 600}, {325, -125, 100}, true).Good());
    simulator.OnMouse(View::kMain, 30, 80, false, false);
    Frame(200);
    const SimulatorReadoutValues& values = simulator.ReadoutValues();
    EXPECT_NEAR(values.viewerEast, 500'000, 1e-3);
    EXPECT_NEAR(values.viewerNorth, 5'000'000 - 625, 1e-3);
    EXPECT_NEAR(values.altitude, 600, 1e-3);
    EXPECT_NEAR(values.surfaceElevation, 100, 1e-3);
    EXPECT_NEAR(values.pitch, -45, 1e-3);
    EXPECT_NEAR(values.heading, 0, 1e-3);

    const std::tuple<const ReadoutPlace*, int, int> places[] = {
        {&values.centres[View::kMain], 100, 50}, {&values.mouse, 30, 80}};
    for (const auto& [place, x, y] : places) {
        const auto [east, north] = SeenFromAbove(x, y);
        ASSERT_TRUE(place->valid && place->hasDistance) << x;
        EXPECT_NEAR(place->east, 500'000 + east, 0.01) << x;
        EXPECT_NEAR(place->north, 5'000'000 - 625 + north, 0.01) << x;
        EXPECT_NEAR(place->elevation, 100, 1e-3);
        EXPECT_NEAR(place->distance, std::hypot(east, north, 500), 0.01);
        double apart = 0;
        for (const auto& [dx, dy] : {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}}) {
            const auto [nextEast, nextNorth] = SeenFromAbove(x + dx, y + dy);
            apart = std::max(apart, std::hypot(nextEast - east, nextNorth - north));
        }
        EXPECT_EQ(place->accuracy, static_cast<int>(std::ceil(apart)));
    }
    EXPECT_NEAR(values.eastExtent, 500'325, 1e-3);
    EXPECT_NEAR(values.westExtent, 499'675, 1e-3);
    EXPECT_NEAR(values.northExtent, 5'000'000, 1e-3);
    EXPECT_NEAR(values.southExtent, 4'999'350, 1e-3);
    EXPECT_NEAR(values.eastWestExtents, 650, 1e-3);
    EXPECT_EQ(values.minimumElevation, 0);
    EXPECT_EQ(values.maximumElevation, 300);
    const std::optional<GeographicPlace> middle = LandscapeCentre(simulator);
    ASSERT_TRUE(middle.has_value());
    EXPECT_NEAR(middle->longitude, 9, 1e-9);
    EXPECT_NEAR(middle->latitude, 45.15, 0.01);
    EXPECT_EQ(list.At(kViewer, 0), "4999375.00");
    EXPECT_EQ(list.At(kViewer, 0, 1), "500000.00");

    // Twice as high in the picture, but not in the world.
    settings::VerticalExaggeration.SetUnsaved(2);
    Frame(200);
    Frame(200);
    EXPECT_NEAR(values.altitude, 600, 1e-3);
    EXPECT_NEAR(values.maximumElevation, 300, 1e-3);
    const ReadoutPlace& centre = values.centres[View::kMain];
    ASSERT_TRUE(centre.valid);
    EXPECT_NEAR(centre.elevation, 100, 1e-3);
    EXPECT_NEAR(centre.distance,
                std::hypot(centre.east - values.viewerEast, centre.north - values.viewerNorth, 500),
                0.01);
}

TEST_F(ReadoutValuesTest, AreToldInTheChosenUnitsAndSystem) {
    ReadoutScale& scale = simulator.GetReadouts().Scale();
    simulator.GetReadouts().SetDisplay(&list);
    ASSERT_TRUE(simulator.PlaceByLookAt({325, 0, 600}, {325, 500, 100}, true).Good());
    Frame(200);
    const double metres = simulator.ReadoutValues().centres[View::kMain].distance;
    for (const auto& [quantity, unit] : {std::pair{ReadoutQuantity::Distance, 9036},
                                         {ReadoutQuantity::Elevation, 9002},
                                         {ReadoutQuantity::Angle, 9105},
                                         {ReadoutQuantity::Velocity, kPerHour + 9036}}) {
        ASSERT_TRUE(scale.SetUnit(quantity, unit, UnitChoice::ForRun).Good());
    }
    ASSERT_TRUE(scale.ChooseSystem(System("EPSG:4326")).Good());
    simulator.RefreshReadouts();
    const SimulatorReadoutValues& values = simulator.ReadoutValues();
    EXPECT_NEAR(values.altitude, 600 / 0.3048, 1e-2);
    EXPECT_NEAR(values.maximumElevation, 300 / 0.3048, 1e-2);
    EXPECT_NEAR(values.pitch, -50, 1e-3) << "gon";
    EXPECT_NEAR(values.eastWestExtents, 0.65, 1e-6);
    EXPECT_NEAR(values.centres[View::kMain].distance, metres / 1000, 1e-5);
    EXPECT_EQ(values.centres[View::kMain].accuracy, 1) << "never better than it is";
    EXPECT_NEAR(values.viewerEast, 9, 1e-9);
    // The latitude whose arc from the equator is 5000 km / 0.9996, by the ellipsoid's series.
    EXPECT_NEAR(values.viewerNorth, 45.153477183, 1e-7);
    EXPECT_EQ(list.At(kViewer, 0, 1), "E 9\u00B0 00' 00.00\"");
    EXPECT_EQ(list.At(kViewer, 1, 1), "ft");
    EXPECT_LT(values.southExtent, values.northExtent);
}

TEST_F(ReadoutValuesTest, AViewWithoutSizeOrAimedAtTheSkyHasNoPlace) {
    Attach(View::kMap);
    Attach(View::kDown);
    Attach(View::kLeft, &nothing);
    simulator.GetReadouts().SetDisplay(&list);
    ASSERT_TRUE(simulator.PlaceByLookAt({325, -325, 600}, {325, -225, 700}, true).Good());
    Frame(200);
    Frame(200);
    const SimulatorReadoutValues& values = simulator.ReadoutValues();
    EXPECT_FALSE(values.centres[View::kMain].valid) << "looks up";
    EXPECT_FALSE(values.centres[View::kLeft].valid) << "a picture of no size";
    EXPECT_FALSE(values.centres[View::kRear].valid) << "not open";
    EXPECT_FALSE(values.mouse.valid) << "the mouse is nowhere";
    EXPECT_TRUE(values.centres[View::kDown].valid);
    ASSERT_TRUE(values.centres[View::kMap].valid);
    EXPECT_FALSE(values.centres[View::kMap].hasDistance);
    EXPECT_NEAR(values.centres[View::kMap].elevation, 100, 1e-3);
    EXPECT_EQ(list.At(Readouts::kFirstViewPage + View::kMap, 2), "");
    ASSERT_TRUE(simulator.AttachGraphicsSystem(nullptr, View::kDown).Good());
    Frame(200);
    EXPECT_FALSE(values.centres[View::kDown].valid) << "closed again";
}

TEST_F(ReadoutValuesTest, AreRefreshedEightTimesASecondWhileSomebodyLooks) {
    for (int i = 0; i < 10; ++i) Frame(100);
    EXPECT_FALSE(simulator.ReadoutValues().centres[View::kMain].valid) << "nobody looks";
    EXPECT_GT(simulator.ReadoutValues().instantFrameRate, 0) << "the controls need it";
    simulator.GetReadouts().SetDisplay(&list);
    FlightInput climb;
    climb.altitude = 1;
    int refreshes = 0;
    for (int i = 0; i < 200; ++i) {  // two seconds
        clock.milliseconds += 10;
        list.drawn = 0;
        ASSERT_TRUE(simulator.Update(&climb, true).Good());
        refreshes += list.drawn > 0 ? 1 : 0;
    }
    EXPECT_GE(refreshes, 14);
    EXPECT_LE(refreshes, 16);
    simulator.Unload();
    EXPECT_EQ(list.At(kViewer, 1), "") << "nothing to tell of without a landscape";
    simulator.RefreshReadouts();
}

}  // namespace
}  // namespace tarnvale
