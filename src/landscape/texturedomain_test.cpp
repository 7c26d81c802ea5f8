#include "landscape/texturedomain.h"

#include <gtest/gtest.h>

#include <tuple>

#include "geom/system_for_test.h"

namespace tarnvale {
namespace {

/// Domain of a raster of one-metre pixels whose first pixel lies `x` metres east and `y` south of
/// the terrain's first sample, over a square of `metres` on a side.
Status DomainAt(double x, double y, int metres, int columns, int rows, TextureDomain& domain) {
    const COORDREFSYS system = System("EPSG:32633");
    TransGen terrain;
    EXPECT_TRUE(TransGenInit(terrain, {400000 - 0.5, 1, 0, 5600000 + 0.5, 0, -1}, system).Good());
    return ComputeTextureDomain(terrain, metres + 1, metres + 1,
                                {400000 + x, 1, 0, 5600000 - y, 0, -1}, system, columns, rows,
                                domain);
}

TEST(TextureDomain, SnapsTheBoxOfTheFourSampleCentres) {
    struct Case {
        const char* what;
        double x;
        int metres, columns;
        int offset, end, width;
    };
    const Case cases[] = {
        {"whole", 0, 1024, 1024, 0, 1024, 1024},
        {"part, on the step of 4", 100, 1024, 300, 100, 924, 1024},
        {"halves round up, then snap", 0.5, 1024, 1024, 0, 1024, 1024},
        {"three halves round to one, which snaps to 0", 1.5, 1024, 1024, 0, 1024, 1024},
        {"a little off", -1.3, 1024, 1024, 0, 1024, 1024},
        {"two is half of the step of 4: up", 2, 1024, 1024, 0, 1024, 1024},
        {"three is not", 3, 1024, 1024, 4, 1020, 1024},
        // 8192 / 256 = 32, 256 / 256 = 1: steps of 2^5.
        {"coarse steps where the raster is small", 100, 8192, 256, 96, 8096, 8192},
        {"half a coarse step rounds up", 112, 8192, 256, 96, 8096, 8192},
        // 4096 / 256 = 16, 700 / 256 = 2 in whole numbers, logarithms 4 and 1: steps of 8.
        {"whole quotients", 4, 4096, 700, 0, 4096, 4096},
        // 768 / 256 = 3, logarithm rounded up 2: steps of 4.
        {"logarithms round up", 4, 4096, 768, 4, 4092, 4096},
        {"width is the nearest power of two", 0, 1000, 1000, 0, 1000, 1024},
    };
    for (const Case& c : cases) {
        TextureDomain domain;
        ASSERT_TRUE(DomainAt(c.x, 0, c.metres, c.columns, c.metres, domain).Good()) << c.what;
        EXPECT_EQ(domain.xOffset, c.offset) << c.what;
        EXPECT_EQ(domain.x0, -c.offset) << c.what;
        EXPECT_EQ(domain.x1, c.end) << c.what;
        EXPECT_EQ(domain.width, c.width) << c.what;
        EXPECT_EQ(domain.rasterColumns, c.columns) << c.what;
        TextureDomain turned;
        ASSERT_TRUE(DomainAt(0, c.x, c.metres, c.metres, c.columns, turned).Good()) << c.what;
        EXPECT_EQ(turned.yOffset, c.offset) << c.what;
        EXPECT_EQ(turned.y1, c.end) << c.what;
        EXPECT_EQ(turned.height, c.width) << c.what;
    }
}

TEST(TextureDomain, ConvertsBetweenSystems) {
    // A degree of latitude south of the equator is close to 110574 m on the grid of zone 33.
    TransGen terrain;
    ASSERT_TRUE(
        TransGenInit(terrain, {14.999, 0.002, 0, 1.001, 0, -0.002}, System("EPSG:4326")).Good());
    TextureDomain domain;
    ASSERT_TRUE(ComputeTextureDomain(terrain, 513, 513, {500000, 216, 0, 110530, 0, -216},
                                     System("EPSG:32633"), 512, 512, domain)
                    .Good());
    EXPECT_EQ(domain.xOffset, 0);
    EXPECT_NEAR(domain.x1, 1.024 * 111293 / 216, 4);
    EXPECT_EQ(domain.width, 512);
}

TEST(TextureDomain, RefusesWhatCantBePlaced) {
    const COORDREFSYS utm = System("EPSG:32633");
    TransGen terrain;
    ASSERT_TRUE(TransGenInit(terrain, {400000, 30, 0, 5600000, 0, -30}, utm).Good());
    const std::tuple<const char*, GeoTransform, COORDREFSYS> cases[] = {
        {"no system", {400000, 30, 0, 5600000, 0, -30}, COORDREFSYS()},
        {"no inverse", {400000, 0, 0, 5600000, 0, 0}, utm},
        {"pixels of a millionth", {400000, 1e-6, 0, 5600000, 0, -1e-6}, utm},
        {"a pixel larger than the terrain", {300000, 1e6, 0, 5700000, 0, -1e6}, utm},
    };
    for (const auto& [what, place, system] : cases) {
        TextureDomain domain;
        EXPECT_EQ(ComputeTextureDomain(terrain, 513, 513, place, system, 1024, 1024, domain),
                  StatusCode::BadState)
            << what;
    }
}

}  // namespace
}  // namespace tarnvale
