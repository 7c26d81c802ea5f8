#include "geom/transgen.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "geom/system_for_test.h"

namespace tarnvale {
namespace {

// The Olinda region as three programs spelled it: without a datum but with an empty shift to WGS
// 84, by the registry's number, and as nothing but an ellipsoid in another dialect.
const std::string kUnnamedUtm25 =
    R"wkt(PROJCS["UTM Zone 25, Southern Hemisphere",GEOGCS["GRS 1980(IUGG, 1980)",DATUM["unknown",)wkt"
    R"wkt(SPHEROID["GRS80",6378137,298.257222101],TOWGS84[0,0,0,0,0,0,0]],PRIMEM["Greenwich",0],)wkt"
    R"wkt(UNIT["degree",0.0174532925199433]],PROJECTION["Transverse_Mercator"],)wkt"
    R"wkt(PARAMETER["latitude_of_origin",0],PARAMETER["central_meridian",-33],)wkt"
    R"wkt(PARAMETER["scale_factor",0.9996],PARAMETER["false_easting",500000],)wkt"
    R"wkt(PARAMETER["false_northing",10000000],UNIT["metre",1]])wkt";
const std::string kUnnamedDegrees =
    R"wkt(GEOGCS["GRS 1980(IUGG, 1980)",DATUM["D_unknown",SPHEROID["GRS80",6378137,298.257222101]],)wkt"
    R"wkt(PRIMEM["Greenwich",0],UNIT["Degree",0.017453292519943295]])wkt";

TransGen Chain(const GeoTransform& grid, const std::string& from, const std::string& to) {
    TransGen transform;
    EXPECT_TRUE(TransGenInit(transform, grid, System(from)).Good());
    EXPECT_TRUE(TransGenSetOutputMapCoordRefSys(transform, System(to)).Good());
    return transform;
}

constexpr GeoTransform kIdentity{0, 1, 0, 0, 0, 1};

TEST(CoordRefSys, EqualSystemsAreRecognisedHoweverTheyAreSpelled) {
    const std::tuple<std::string, std::string, bool> cases[] = {
        {kUnnamedUtm25, "EPSG:31985", true},
        {kUnnamedUtm25, "EPSG:32725", true},
        {kUnnamedUtm25, "EPSG:31984", false},  // the next zone
        {kUnnamedUtm25, kUnnamedDegrees, false},
        {kUnnamedDegrees, "EPSG:4326", true},
        {"EPSG:4326", "OGC:CRS84", true},  // axes the other way round
        {"EPSG:32633", "+proj=utm +zone=33 +datum=WGS84", true},
        {"EPSG:32633", "+proj=utm +zone=33 +datum=WGS84 +units=us-ft", false},
        {"EPSG:32633", "+proj=utm +zone=33 +ellps=intl", false},  // 200 m apart in the north
        {"EPSG:32661", "EPSG:5041", true},                        // north first, east first
        {"EPSG:9518", "EPSG:4326", true},  // a height beside it changes nothing on the map
        {"EPSG:26910", "EPSG:32610", true},
        {"EPSG:26710", "EPSG:26910", false},  // a shift of 90 m
        {"EPSG:29195", "EPSG:31985", false},  // of 60 m
        {"EPSG:28355", "EPSG:7855", false},   // of 1.8 m
        {"EPSG:3857", "EPSG:3395", false},
    };
    for (const auto& [a, b, equal] : cases) {
        EXPECT_EQ(System(a).Equivalent(System(b)), equal) << a << " and " << b;
        EXPECT_EQ(System(b).Equivalent(System(a)), equal) << b << " and " << a;
    }
}

TEST(CoordRefSys, TextThatIsNoMapSystemIsRefused) {
    COORDREFSYS kept = System("EPSG:3395");
    const std::string before = kept.Wkt();
    std::vector<std::string> texts = {
        "",
        "  \n",
        "EPSG:0",
        "EPSG:99999999",
        "utm",
        "+proj=nonsense",
        "EPSG:5773",
        "EPSG:4978",
        "{\"type\":",
        std::string(50'000, '['),
        std::string(200'000, ' ') + "EPSG:4326",
        kUnnamedUtm25.substr(0, kUnnamedUtm25.find("TOWGS84")) + "TOWGS84[nan]]]"};
    std::string nested;
    for (int i = 0; i < 5'000; ++i) nested += "PROJCS[\"a\",GEOGCS[";
    texts.push_back(nested);
    for (const std::string& text : texts) {
        EXPECT_FALSE(COORDREFSYS::FromText(text, kept).Good()) << text.substr(0, 60);
    }
    for (std::size_t length = 0; length + 8 < kUnnamedUtm25.size(); length += 5) {
        COORDREFSYS cut;  // a head may still make sense; it has only to come to an end
        if (COORDREFSYS::FromText(kUnnamedUtm25.substr(0, length), cut).Good()) {
            EXPECT_TRUE(cut.Valid());
        }
    }
    EXPECT_EQ(kept.Wkt(), before);
    EXPECT_FALSE(COORDREFSYS::FromIdentity(7, kept).Good());
}

TEST(CoordRefSys, OtherProgramsGetTheSameSystem) {
    for (const std::string& text :
         std::vector<std::string>{"EPSG:31985", "EPSG:4326", kUnnamedUtm25}) {
        const COORDREFSYS system = System(text);
        EXPECT_EQ(system.Wkt().find('\n'), std::string::npos);
        EXPECT_TRUE(System(system.Wkt()).Equivalent(system)) << text;
        EXPECT_TRUE(System(system.Wkt1()).Equivalent(system)) << text;
    }
    EXPECT_EQ(System("+proj=utm +zone=33 +datum=WGS84").EpsgCode(), 32633);
    EXPECT_EQ(System(kUnnamedUtm25).EpsgCode(), std::nullopt);
    // The number at the end is another zone's.
    std::string liar = System("EPSG:32633").Wkt();
    liar.replace(liar.rfind("32633"), 5, "32632");
    EXPECT_EQ(System(liar).EpsgCode(), 32633);
    EXPECT_DOUBLE_EQ(System("EPSG:2222").MetresPerUnit(), 0.3048);
    EXPECT_EQ(System(kUnnamedDegrees).MetresPerUnit(), 0.0);
    EXPECT_TRUE(System("EPSG:9518").IsGeographic());
}

// Places that can be worked out by hand: an origin, a quarter of the equator.
TEST(TransGen, EastComesFirstEverywhere) {
    const std::tuple<const char*, Vec2f, const char*, double, double> cases[] = {
        {"EPSG:4326", {3, 0}, "EPSG:32631", 500000, 0},
        {"EPSG:4326", {-33, 0}, "EPSG:31985", 500000, 10000000},
        {"EPSG:4326", {90, 0}, "EPSG:3395", 6378137 * 1.5707963267948966, 0},
        {"OGC:CRS84", {90, 0}, "EPSG:3395", 6378137 * 1.5707963267948966, 0},
        {"EPSG:4258", {10, 52}, "EPSG:3035", 4321000, 3210000},  // its registry puts north first
    };
    for (const auto& [from, point, to, east, north] : cases) {
        const TransGen transform = Chain(kIdentity, from, to);
        double x = point.x, y = point.y;
        ASSERT_TRUE(TransGenConvPointFwd(transform, x, y).Good());
        EXPECT_NEAR(x, east, 1e-3) << from << " to " << to;
        EXPECT_NEAR(y, north, 1e-3) << from << " to " << to;
    }
}

TEST(TransGen, GridsOfUnlikeSpellingsMeetPixelByPixel) {
    // Cells of 90 m; pixels of 28.5 m that start 900 m east and 450 m south of the grid.
    const GeoTransform dem{288000, 90, 0, 9121000, 0, -90};
    const GeoTransform image{288900, 28.5, 0, 9120550, 0, -28.5};
    TransGen transform;
    ASSERT_TRUE(TransGenInit(transform, dem, System(kUnnamedUtm25)).Good());
    ASSERT_TRUE(TransGenSetOutputGrid(transform, image, System("EPSG:31985")).Good());
    double x = 10, y = 5;
    ASSERT_TRUE(TransGenConvPointFwd(transform, x, y).Good());
    EXPECT_NEAR(x, 0, 1e-9);
    EXPECT_NEAR(y, 0, 1e-9);
    x = 29;
    y = 24;
    ASSERT_TRUE(TransGenConvPointFwd(transform, x, y).Good());
    EXPECT_NEAR(x, 60, 1e-9);  // 19 cells, 1710 m
    EXPECT_NEAR(y, 60, 1e-9);
    ASSERT_TRUE(TransGenConvPointInv(transform, x, y).Good());
    EXPECT_NEAR(x, 29, 1e-9);
    EXPECT_NEAR(y, 24, 1e-9);

    // Through degrees without a datum's name the place is the same.
    TransGen over = Chain(dem, kUnnamedUtm25, kUnnamedDegrees);
    x = y = 0;
    ASSERT_TRUE(TransGenConvPointFwd(over, x, y).Good());
    TransGen back = Chain(kIdentity, kUnnamedDegrees, "EPSG:31985");
    ASSERT_TRUE(TransGenConvPointFwd(back, x, y).Good());
    EXPECT_NEAR(x, 288000, 1e-3);
    EXPECT_NEAR(y, 9121000, 1e-3);
    // The output can be taken back to the grid's own map.
    ASSERT_TRUE(TransGenSetOutputMapCoordRefSys(transform, System(kUnnamedUtm25)).Good());
    x = y = 0;
    ASSERT_TRUE(TransGenConvPointFwd(transform, x, y).Good());
    EXPECT_EQ(x, 288000);
}

TEST(TransGen, ThereAndBackIsTheSamePlace) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> anywhere(0, 5000);
    const GeoTransform turned{500000, 17.3, 8.1, 5200000, 6.4, -21.7};
    for (const char* to : {"EPSG:32633", "EPSG:25832", "EPSG:4326", "EPSG:3857", "EPSG:23033"}) {
        const TransGen transform = Chain(turned, "EPSG:32633", to);
        for (int i = 0; i < 200; ++i) {
            const double column = anywhere(random), row = anywhere(random);
            double x = column, y = row;
            ASSERT_TRUE(TransGenConvPointFwd(transform, x, y).Good());
            ASSERT_TRUE(TransGenConvPointInv(transform, x, y).Good());
            EXPECT_NEAR(x, column, 1e-3) << to;  // a few centimetres: where two shifts meet
            EXPECT_NEAR(y, row, 1e-3) << to;
        }
    }
}

TEST(TransGen, WhatCantBeConvertedStaysAsItWas) {
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInfinite = std::numeric_limits<double>::infinity();
    const TransGen mercator = Chain(kIdentity, "EPSG:4326", "EPSG:3395");
    const TransGen plain = Chain(kIdentity, "EPSG:4326", "EPSG:4326");
    for (const auto& [x, y] : {std::pair{10.0, 95.0}, {kNaN, 0.0}, {0.0, kInfinite}}) {
        double x1 = x, y1 = y;
        EXPECT_EQ(TransGenConvPointFwd(mercator, x1, y1).Code(), StatusCode::BadState);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(x1), std::bit_cast<std::uint64_t>(x));
        EXPECT_EQ(y1, y);
    }
    double x = 1, y = kNaN;
    EXPECT_FALSE(TransGenConvPointInv(plain, x, y).Good());
    TransGen transform = mercator;
    for (const GeoTransform& flat :
         {GeoTransform{0, 0, 0, 0, 0, -1}, GeoTransform{0, 2, 4, 0, 1, 2},
          GeoTransform{kNaN, 1, 0, 0, 0, 1}, GeoTransform{0, 1e300, 0, 0, 0, 1e300}}) {
        EXPECT_FALSE(TransGenInit(transform, flat, COORDREFSYS()).Good());
        EXPECT_FALSE(TransGenSetOutputGrid(transform, flat, System("EPSG:4326")).Good());
    }
    // A map without a system and one with can't be brought together; both refusals change nothing.
    EXPECT_FALSE(TransGenSetOutputMapCoordRefSys(transform, COORDREFSYS()).Good());
    EXPECT_FALSE(
        TransGenSetOutputMapCoordRefSys(transform, System(R"(LOCAL_CS["mine",UNIT["metre",1]])"))
            .Good());
    x = 90;
    y = 0;
    ASSERT_TRUE(TransGenConvPointFwd(transform, x, y).Good());
    EXPECT_NEAR(x, 10018754.17, 0.01);
    // Two without a system share their plane.
    ASSERT_TRUE(TransGenInit(transform, {100, 10, 0, 0, 0, -10}, COORDREFSYS()).Good());
    ASSERT_TRUE(TransGenSetOutputGrid(transform, {50, 5, 0, 0, 0, -5}, COORDREFSYS()).Good());
    x = y = 1;
    ASSERT_TRUE(TransGenConvPointFwd(transform, x, y).Good());
    EXPECT_DOUBLE_EQ(x, 12);
    EXPECT_DOUBLE_EQ(y, 2);
}

TEST(TransGen, CopiesServeThreadsOfTheirOwn) {
    const GeoTransform grid{400000, 30, 0, 5000000, 0, -30};
    const TransGen original =
        Chain(grid, "EPSG:32610", "EPSG:26710");  // several shifts to choose from
    const auto run = [](const TransGen& transform) {
        std::vector<double> places;
        for (int i = 0; i < 500; ++i) {
            double x = 7.0 * i, y = 11.0 * i;
            if (TransGenConvPointFwd(transform, x, y).Good()) places.insert(places.end(), {x, y});
            if (TransGenConvPointInv(transform, x, y).Good()) places.insert(places.end(), {x, y});
        }
        return places;
    };
    std::vector<std::vector<double>> found(4);
    {
        std::vector<std::jthread> threads;
        threads.reserve(found.size());
        for (auto& places : found) {
            threads.emplace_back([&places, &run, copy = original] { places = run(copy); });
        }
        run(original);
    }
    EXPECT_EQ(found[0].size(), 2000U);
    for (const auto& places : found) EXPECT_EQ(places, run(original));
}

}  // namespace
}  // namespace tarnvale
