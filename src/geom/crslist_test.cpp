#include "geom/crslist.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "geom/system_for_test.h"

namespace tarnvale {
namespace {

const std::vector<CoordRefSysEntry>& Entries() {
    static const std::vector<CoordRefSysEntry> entries = ReadCoordRefSystems();
    return entries;
}

std::string First(const std::string& text) {
    const auto found = FindCoordRefSystems(Entries(), text);
    return found.empty() ? "" : Entries()[found.front()].code;
}

TEST(CoordRefSystems, AreFoundByNameOrCode) {
    const std::tuple<const char*, const char*> cases[] = {
        {"4326", "EPSG:4326"},
        {"epsg:25832", "EPSG:25832"},
        {"  ETRS89   utm ZONE 32n  EPSG:25832", "EPSG:25832"},
        {"utm 33n", "EPSG:32633"},
        {"no such system anywhere", ""},
    };
    for (const auto& [text, code] : cases) EXPECT_EQ(First(text), code) << text;
    // Words of the name count more than digits inside a code.
    const auto named = FindCoordRefSystems(Entries(), "wgs utm 32n");
    ASSERT_GE(named.size(), 2U);
    for (std::size_t i = 0; i < 2; ++i)
        EXPECT_NE(Entries()[named[i]].name.find("UTM zone 32N"), std::string::npos) << i;
    EXPECT_EQ(FindCoordRefSystems(Entries(), " ").size(), Entries().size());
}

TEST(CoordRefSystems, ThoseMeantForAPlaceComeFirst) {
    const std::tuple<const char*, GeographicPlace, const char*> cases[] = {
        {"utm", {9, 47}, "northern hemisphere"},
        {"map grid", {174, -41}, "New Zealand"},
        {"utm zone 1", {179.9, -17}, "Fiji"}};  // across the 180th meridian
    for (const auto& [text, place, area] : cases) {
        const auto found = FindCoordRefSystems(Entries(), text, place);
        ASSERT_FALSE(found.empty()) << text;
        EXPECT_TRUE(Entries()[found.front()].bounds.Holds(place)) << text;
        const bool named = std::ranges::any_of(
            found.begin(), found.begin() + 10,
            [&](std::uint32_t i) { return Entries()[i].area.find(area) != std::string::npos; });
        EXPECT_TRUE(named) << text;
        EXPECT_EQ(found.size(), FindCoordRefSystems(Entries(), text).size());
    }
    EXPECT_EQ(
        Entries()[FindCoordRefSystems(Entries(), "2193", GeographicPlace{9, 47}).front()].code,
        "EPSG:2193")
        << "a code counts more than the place";
}

TEST(CoordRefSystems, HoldOnlyWhatAMapOfTheEarthCanUse) {
    ASSERT_GT(Entries().size(), 3000U);
    for (const char* absent : {"IAU_2015:50610", "EPSG:4978", "EPSG:5773"})
        EXPECT_NE(First(absent), absent) << "a moon's, a geocentric and a height system";
    const auto utm = std::ranges::find(Entries(), "EPSG:32632", &CoordRefSysEntry::code);
    ASSERT_NE(utm, Entries().end());
    EXPECT_NE(utm->area.find("northern hemisphere"), std::string::npos);
    EXPECT_EQ(System("EPSG:32632").AreaOfUse(), utm->area);
    EXPECT_EQ(System("+proj=utm +zone=32").AreaOfUse(), "");
}

TEST(CoordRefSys, OnlyWhatHasTheFormOfADefinitionIsRead) {
    for (const char* text :
         {"epsg:25832", "OGC:CRS84", "EPSG:2393+5717", "EPSG:4326\n", "urn:ogc:def:crs:EPSG::4326",
          "+proj=utm +zone=32", "proj=longlat datum=WGS84"}) {
        EXPECT_TRUE(System(text).Valid()) << text;
    }
    // Names would be found somehow, by a search that takes up to a second.
    for (const char* text : {"WGS 84", "UTM=", "+", "+p", "+proj", "proj", "[", "{", ":",
                             "EPSG:", "EPSG:999999", "a name: b", "PROJCS[\"a\""}) {
        COORDREFSYS system;
        EXPECT_EQ(COORDREFSYS::FromText(text, system), StatusCode::BadState) << text;
        EXPECT_FALSE(system.Valid());
    }
}

}  // namespace
}  // namespace tarnvale
