#include "geom/degtext.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <tuple>

namespace tarnvale {
namespace {

[[maybe_unused]] const int kEnglish = ::setenv("LC_ALL", "C", 1);  // before any text is read

TEST(ConvertDegsToString, WritesSixFormats) {
    // 12.5875 degrees are 35 minutes and 15 seconds past 12.
    const std::tuple<double, int, const char*> cases[] = {
        {12.5875, 128 | 1, "N 12° 35' 15.00\""},      //
        {-12.5875, 128 | 1, "S 12° 35' 15.00\""},     //
        {12.5875, 128 | 2, "E 12° 35' 15.00\""},      //
        {-12.5875, 144 | 2, "12° 35' 15.00\" W"},     //
        {-12.5875, 32 | 2, "W 12.58750°"},            //
        {-12.5875, 48 | 1, "12.58750° S"},            //
        {12.5875, 64 | 2, "E 12° 35.250'"},           //
        {12.5875, 80 | 1, "12° 35.250' N"},           //
        {12.5875, 1, "N 12° 35.250'"},                // no base
        {12.5875, 128 | 64 | 32, "12° 35' 15.00\""},  // the finest of several bases
        {-12.5875, 128, "-12° 35' 15.00\""},          // no direction
    };
    for (const auto& [degrees, flags, text] : cases) {
        EXPECT_EQ(ConvertDegsToString(degrees, flags), text) << degrees << ' ' << flags;
    }
}

TEST(ConvertDegsToString, RoundingCarriesAndTurnsAround) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const std::tuple<double, int, const char*> cases[] = {
        {59.99 / 3600, 128 | 1, "N 0° 00' 59.99\""},
        {59.999 / 3600, 128 | 1, "N 0° 01' 00.00\""},
        {46 + 59.0 / 60 + 59.996 / 3600, 144 | 1, "47° 00' 00.00\" N"},
        {46 + 59.9996 / 60, 64 | 1, "N 47° 00.000'"},
        {46.999996, 32 | 1, "N 47.00000°"},
        {-0.001 / 3600, 128 | 1, "N 0° 00' 00.00\""},  // no south of nothing
        {-0.0, 32, "0.00000°"},
        {180, 32 | 2, "E 180.00000°"},
        {-180, 32 | 2, "W 180.00000°"},
        {180.5, 32 | 2, "W 179.50000°"},
        {-190, 32 | 2, "E 170.00000°"},
        {180.000001, 32 | 2, "E 180.00000°"},
        {725, 32 | 2, "E 5.00000°"},
        {91, 32 | 1, "N 91.00000°"},  // no latitude, but not ours to bend
        {kInfinity, 32 | 1, ""},
        {std::numeric_limits<double>::quiet_NaN(), 128 | 2, ""},
        {1e300, 32, ""},
    };
    for (const auto& [degrees, flags, text] : cases) {
        EXPECT_EQ(ConvertDegsToString(degrees, flags), text) << degrees << ' ' << flags;
    }
}

}  // namespace
}  // namespace tarnvale
