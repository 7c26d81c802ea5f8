#include <gtest/gtest.h>
#include <proj.h>

#include <cmath>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "geom/projcontext.h"
#include "terrain/qtmorphs.h"

// The terrain's angle to true north against the coordinate library's own convergence of meridians.
namespace tarnvale {
namespace {

struct Place {
    double longitude, latitude;  // degrees
};

struct System {
    const char* code;
    std::vector<Place> places;
    double most;  // degrees that the two norths are apart somewhere in the table, at least
};

class TrueNorth : public testing::TestWithParam<System> {
protected:
    // Degrees from grid north to true north, counter-clockwise. @return NaN where there is none
    [[nodiscard]] double Convergence(const Place& place) const {
        const PJ_FACTORS factors =
            proj_factors(system_.get(),
                         proj_coord(proj_torad(place.longitude), proj_torad(place.latitude), 0, 0));
        if (proj_errno(system_.get()) != 0) return std::nan("");
        return factors.meridian_convergence * 180 / std::numbers::pi;
    }
    // What a terrain of 33 x 33 samples about the place answers in its middle; degrees.
    void Ask(const Place& place, double& degrees) const {
        ElevationSamples samples;
        samples.columns = samples.rows = 33;
        samples.values.assign(33 * 33, 0);
        ASSERT_TRUE(COORDREFSYS::FromText(GetParam().code, samples.system).Good());
        const PJ_COORD map =
            proj_trans(toMap_.get(), PJ_FWD, proj_coord(place.longitude, place.latitude, 0, 0));
        ASSERT_TRUE(std::isfinite(map.xy.x) && std::isfinite(map.xy.y));
        constexpr double kMetres = 25;
        samples.cellWidth = samples.cellHeight = static_cast<float>(kMetres);
        double across = kMetres, up = kMetres;
        if (samples.system.IsGeographic()) {
            up = kMetres / 111'000;
            across = up / std::cos(proj_torad(place.latitude));
        }
        samples.georeference = {map.xy.x - 16 * across, across, 0, map.xy.y + 16 * up, 0, -up};
        ElevationGrid grid;
        ASSERT_TRUE(grid.Create(samples).Good());
        QuadtreeMorphTerrain terrain;
        ASSERT_TRUE(terrain.OpenGrid(std::move(grid)).Good());
        degrees = terrain.GetNorthAngle(16, 16) * 180 / std::numbers::pi;
    }

    void SetUp() override {
        system_.reset(proj_create(context_.get(), GetParam().code));
        ASSERT_NE(system_, nullptr);
        COORDREFSYS map;
        ASSERT_TRUE(COORDREFSYS::FromText(GetParam().code, map).Good());
        COORDREFSYS globe;
        ASSERT_TRUE(COORDREFSYS::FromText("EPSG:4326", globe).Good());
        toMap_ = NewConversion(context_.get(), globe.Wkt(), map.Wkt());
        ASSERT_NE(toMap_, nullptr);
    }

    ProjContext context_ = NewProjContext();
    ProjObject system_, toMap_;
};

TEST_P(TrueNorth, AgreesWithTheConvergenceOfMeridians) {
    double most = 0;
    for (const Place& place : GetParam().places) {
        SCOPED_TRACE(std::to_string(place.longitude) + " " + std::to_string(place.latitude));
        const bool geographic = std::string(GetParam().code) == "EPSG:4326";
        const double expected = geographic ? 0 : Convergence(place);
        double found = 0;
        Ask(place, found);
        EXPECT_NEAR(std::remainder(found - expected, 360), 0, 0.1);
        most = std::max(most, std::abs(found));
    }
    EXPECT_GE(most, GetParam().most) << "places where there is nothing to find out";
}

INSTANTIATE_TEST_SUITE_P(
    Systems, TrueNorth,
    testing::Values(
        // Universal transverse Mercator, north and south
        System{"EPSG:32633", {{15, 47}, {12.2, 47}, {17.9, 47}, {17.5, 70}, {12.5, 5}}, 2.3},
        System{"EPSG:32733", {{15, -33}, {12.2, -33}, {17.9, -33}, {17.5, -70}, {12.5, -5}}, 2.3},
        // Lambert's conformal conics: France, and the southern hemisphere
        System{"EPSG:2154", {{3, 46.5}, {-4.5, 48.4}, {7.5, 43.7}, {9.3, 42}, {2.3, 51}}, 5},
        System{"EPSG:3112", {{134, -25}, {115, -32}, {153, -28}, {131, -12}, {147, -43}}, 8},
        // Polar stereographic
        System{"EPSG:3413", {{-45, 70}, {0, 75}, {90, 82}, {179, 71}, {-150, 88}}, 130},
        System{"EPSG:3031", {{0, -75}, {60, -68}, {-120, -85}, {166.7, -77.8}, {180, -72}}, 160},
        // Oblique: the Swiss cylinder and the Czech cone
        System{"EPSG:2056", {{7.44, 46.95}, {6.1, 46.2}, {10.4, 46.8}, {9, 47.7}, {7, 45.9}}, 2},
        System{
            "EPSG:5514", {{14.4, 50.1}, {12.2, 50.2}, {18.6, 49.5}, {17.1, 48.2}, {16, 50.5}}, 8},
        System{"EPSG:4326", {{15, 47}, {-70, -33}, {0, 0}, {120, 65}, {-179, 80}}, 0}),
    [](const auto& tested) {
        std::string name = tested.param.code;
        return name.erase(4, 1);
    });

}  // namespace
}  // namespace tarnvale
