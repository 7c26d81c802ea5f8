#include "streaming/trianglechooser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

namespace tarnvale {
namespace {

/// 64 cells of one unit, four pixels to a cell: a domain of 256.
TriangleChooser Chooser(int levels = 5, int pixelsPerCell = 4) {
    TerrainTextureMapping mapping;
    EXPECT_TRUE(mapping.Make(65, 65, 1, 1, 64 * pixelsPerCell, 64 * pixelsPerCell).Good());
    TriangleChooser chooser;
    chooser.SetDomain(mapping, 64 * pixelsPerCell, 64 * pixelsPerCell, levels);
    return chooser;
}

TEST(TerrainTextureMapping, PutsCellCentresOnPixels) {
    TerrainTextureMapping mapping;
    ASSERT_TRUE(mapping.Make(65, 33, 32, 16, 256, 128).Good());
    EXPECT_EQ(mapping.ToPixelX(16), 0);  // the centre of the first cell
    EXPECT_EQ(mapping.ToPixelY(-8), 0);
    EXPECT_EQ(mapping.ToPixelX(64.5F * 32), 256);  // the last sample
    EXPECT_EQ(mapping.ToPixelY(-32.5F * 16), 128);
    EXPECT_EQ(mapping.ToWorldX(4), 48);
    EXPECT_EQ(mapping.ToWorldY(4), -24);
    const std::tuple<const char*, int, int, float, float, int, int> refused[] = {
        {"unlike powers", 65, 65, 1, 1, 256, 128},       {"no power", 65, 65, 1, 1, 192, 192},
        {"coarser than the grid", 65, 65, 1, 1, 32, 32}, {"one column", 1, 65, 1, 1, 2, 64},
        {"no cell size", 65, 65, 0, 1, 64, 64},          {"a pixel", 2, 2, 1, 1, 1, 1},
    };
    for (const auto& [what, columns, rows, cw, ch, width, height] : refused) {
        EXPECT_EQ(mapping.Make(columns, rows, cw, ch, width, height), StatusCode::BadState) << what;
        EXPECT_FALSE(mapping.Valid());
    }
}

TEST(TriangleChooser, WhatHasNoDensityIsAsCoarseAsMayBeOrPlain) {
    const std::array<Vec3f, 3> triangle{
        Vec3f{9, -9, 0}, {12, -9, 0}, {9, -12, 0}};  // centre 10, -10
    const std::tuple<const char*, Vec3f, float, int> cases[] = {
        {"beyond the coarsest", {10, -10, 1e6F}, 1000, 4},
        {"edge-on", {200, -10, 0}, 1000, 4},
        {"no pixels", {10, -10, 200}, 0, 4},
        {"on the centre", {10, -10, 0}, 1000, -1},
    };
    TriangleChooser chooser = Chooser();
    for (const auto& [what, eye, pixelsPerRadian, level] : cases) {
        chooser.Choose({eye, pixelsPerRadian}, PrimitiveKind::List, triangle, 0, 1);
        EXPECT_EQ(chooser.Level(0), level) << what;
        EXPECT_EQ(chooser.X(0), 38) << what;  // 10 x 4 - 2
        EXPECT_EQ(chooser.Y(0), 38) << what;
    }
    const std::array<Vec3f, 3> line{Vec3f{9, -9, 0}, {10, -10, 0}, {11, -11, 0}};
    chooser.Choose({{0, 0, 100}, 1000}, PrimitiveKind::List, line, 0, 1);
    EXPECT_EQ(chooser.Level(0), -1) << "no area";
}

TEST(TriangleChooser, HoldsCentresInsideTheDomain) {
    TriangleChooser chooser = Chooser(3, 1);  // one texel to a cell: pixels 0 to 63
    const std::tuple<const char*, Vec3f, int, int> cases[] = {
        {"the first cell", {0.5F, -0.5F, 0}, 1, 1},
        // Two thirds into the last cell: 63.67 rounds to 64.
        {"the last column", {63.5F, -10.5F, 0}, 63, 11},
        {"the last row", {10.5F, -63.5F, 0}, 11, 63},
        {"far beside", {500, 300, 0}, 63, 0},
        {"far on the other side", {-500, -300, 0}, 0, 63},
    };
    for (const auto& [what, corner, x, y] : cases) {
        const std::array<Vec3f, 3> triangle{corner + Vec3f{1, -1, 0}, corner + Vec3f{1, 0, 0},
                                            corner + Vec3f{0, -1, 0}};
        chooser.Choose({{0, 0, 100}, 1000}, PrimitiveKind::List, triangle, 0, 1);
        EXPECT_EQ(chooser.X(0), x) << what;
        EXPECT_EQ(chooser.Y(0), y) << what;
    }
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    const std::array<Vec3f, 3> broken{Vec3f{kNone, kNone, kNone}, {1, 0, 0}, {0, 1, 0}};
    chooser.Choose({{0, 0, 100}, 1000}, PrimitiveKind::List, broken, 0, 1);
    EXPECT_EQ(chooser.X(0), 0);
    EXPECT_EQ(chooser.Y(0), 0);
    EXPECT_LT(chooser.Level(0), 3);
}

using Vec = std::array<double, 3>;
Vec To(Vec3f p) {
    return {p.x, p.y, p.z};
}
Vec Minus(Vec a, Vec b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
double Norm(Vec a) {
    return std::hypot(a[0], a[1], a[2]);
}

/// The density by plain geometry in double precision.
double Density(const TriangleView& view, Vec a, Vec b, Vec c, double texelsPerUnit) {
    const Vec g{(a[0] + b[0] + c[0]) / 3, (a[1] + b[1] + c[1]) / 3, (a[2] + b[2] + c[2]) / 3};
    double reach = 0, texels = 0;
    for (const Vec& p : {a, b, c}) {
        const Vec d = Minus(p, g);
        reach = std::max(reach, Norm(d));
        texels = std::max(texels, std::hypot(d[0], d[1]) * texelsPerUnit);
    }
    const Vec v = Minus(To(view.eye), g), u = Minus(b, a), w = Minus(c, a);
    const Vec n{u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2], u[0] * w[1] - u[1] * w[0]};
    const double along = n[0] * v[0] + n[1] * v[1] + n[2] * v[2];
    return std::abs(view.pixelsPerRadian / Norm(v) * along / Norm(n) / Norm(v) * reach) / texels;
}

// Runs of every length, in the middle of primitives of every kind.
TEST(TriangleChooser, AgreesWithPlainGeometry) {
    std::mt19937 random(5);
    std::uniform_real_distribution<float> place(0, 64), height(0, 6), pixels(10, 5000);
    TriangleChooser chooser = Chooser();
    int checked = 0;
    for (int round = 0; round < 300; ++round) {
        const auto kind = static_cast<PrimitiveKind>(round % 3);
        std::vector<Vec3f> vertices(3 + static_cast<std::size_t>(round));
        for (Vec3f& vertex : vertices) vertex = {place(random), -place(random), height(random)};
        const TriangleView view{{place(random), -place(random), 20 * height(random)},
                                pixels(random)};
        const std::uint32_t total =
            TriangleChooser::Count(kind, static_cast<std::uint32_t>(vertices.size()));
        for (std::uint32_t first = 0; first < total; first += TriangleChooser::kRun) {
            const std::uint32_t count = std::min(TriangleChooser::kRun, total - first);
            chooser.Choose(view, kind, vertices, first, count);
            for (std::uint32_t i = 0; i < count; ++i) {
                std::array<Vec, 3> p;
                for (std::size_t k = 0; k < 3; ++k) {
                    const Vec3f& corner = vertices[TriangleChooser::Corners(kind, first + i)[k]];
                    p[k] = To(corner);
                    EXPECT_NEAR(chooser.Pixel(i, k).x, corner.x * 4 - 2, 1e-4);
                    EXPECT_NEAR(chooser.Pixel(i, k).y, -corner.y * 4 - 2, 1e-4);
                }
                EXPECT_NEAR(chooser.X(i), (p[0][0] + p[1][0] + p[2][0]) / 3 * 4 - 2, 0.51);
                const double density = Density(view, p[0], p[1], p[2], 4);
                EXPECT_NEAR(chooser.Density(i), density, density * 1e-3 + 1e-3);
                const double level = -std::log2(density);
                // Rounding may decide only right beside a border, and edge-on.
                if (std::abs(level - std::round(level)) < 1e-2 || density < 0.01) continue;
                EXPECT_EQ(chooser.Level(i), std::clamp(static_cast<int>(std::ceil(level)), 0, 4));
                ++checked;
            }
        }
    }
    EXPECT_GT(checked, 20000);
}

}  // namespace
}  // namespace tarnvale
