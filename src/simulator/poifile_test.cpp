#include "simulator/poifile.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "simulator/fakes_for_test.h"
#include "simulator/simulatr.h"

namespace tarnvale {
namespace {

// In zone 32 of UTM with its corner at 500000, 5000000: on the zone's meridian, 9 degrees east.
class PoiFile : public testing::Test, protected fakes::World {
protected:
    void Open(const char* system) {
        specs["land"].grid = {500'000, 10, 0, 5'000'000, 0, -10};
        specs["land"].system = system;
        Attach(View::kMain);
        Build();
    }
    void Make(int view, double x, double y, int marker, const std::string& name) {
        ASSERT_TRUE(simulator.Pois().CreatePOIView(view, marker).Good());
        ASSERT_TRUE(simulator.Pois().SetPOIPosition(view, x, y).Good());
        simulator.Pois().SetPOIName(view, name);
    }
};

TEST_F(PoiFile, PointsBecomeFeaturesOnTheGlobe) {
    Open("EPSG:32632");
    Make(8, 500'000, 5'000'000, 1, "Hütte \"am See\"\n\xFF");
    Make(15, 500'100, 4'999'900, 0, "");
    ASSERT_TRUE(simulator.Pois().SetPOIColor(15, {0x12FF, 0xAB00, 0x0034, 1}).Good());
    std::string text;
    ASSERT_TRUE(WritePoiText(simulator, text).Good());
    const auto json = nlohmann::json::parse(text);
    EXPECT_EQ(json["type"], "FeatureCollection");
    ASSERT_EQ(json["features"].size(), 2U);
    const auto& first = json["features"][0];
    EXPECT_EQ(first["type"], "Feature");
    EXPECT_EQ(first["geometry"]["type"], "Point");
    const auto& place = first["geometry"]["coordinates"];
    // What the projection's formulas give there.
    EXPECT_NEAR(place[0].get<double>(), 9.0, 1e-6);
    EXPECT_NEAR(place[1].get<double>(), 45.1535, 1e-3);
    EXPECT_EQ(place[2], 100);
    EXPECT_EQ(first["properties"]["name"], "Hütte \"am See\"\n\xEF\xBF\xBD");
    EXPECT_EQ(first["properties"]["marker"], "arrow");
    const auto& second = json["features"][1];
    EXPECT_GT(second["geometry"]["coordinates"][0], place[0]);
    EXPECT_LT(second["geometry"]["coordinates"][1], place[1]);
    EXPECT_EQ(second["properties"]["color"], "#12ab00");
    EXPECT_EQ(second["properties"]["marker"], "none");
}

TEST_F(PoiFile, APlaceBeyondThePoleIsNoOtherPlaceOnTheGlobe) {
    Open("EPSG:32632");
    Make(8, 500'000, 45'000'000, 1, "Far");  // once around the globe from 5000000
    std::string text;
    const Status written = WritePoiText(simulator, text);
    EXPECT_EQ(written, Status(StatusCode::BadState)) << text;
    EXPECT_NE(GetErrString(written).find("Far lies nowhere"), std::string::npos);
}

TEST_F(PoiFile, WithoutACoordinateSystemItSaysWhatIsMissing) {
    std::string text = "as it was";
    EXPECT_EQ(WritePoiText(simulator, text), Status(StatusCode::BadState)) << "no landscape";
    Open("");
    Make(8, 500'000, 5'000'000, 1, "a");
    const Status written = WritePoiText(simulator, text);
    EXPECT_EQ(written, Status(StatusCode::BadState));
    EXPECT_NE(GetErrString(written).find("coordinate system"), std::string::npos);
    EXPECT_EQ(text, "as it was");
}

}  // namespace
}  // namespace tarnvale
