#include "overlays/poi.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "graphics/quietgraphics_for_test.h"
#include "terrain/quietterrain_for_test.h"

namespace tarnvale {
namespace {

/// Keeps what it is told to draw.
class Sketch final : public QuietGraphics {
public:
    Sketch() : QuietGraphics("sketch") {}
    void DrawMeshes(const RenderMeshBatch& batch) override {
        for (const RenderMesh* const mesh : batch) {
            meshes.emplace_back(mesh->vertices.begin(), mesh->vertices.end());
            colours.push_back(mesh->colour);
            EXPECT_EQ(mesh->kind, PrimitiveKind::List);
            EXPECT_FALSE(mesh->wireframe || mesh->texture != nullptr || !mesh->normals.Empty());
        }
    }
    void DrawLines(std::span<const Vec3f> vertices, COLOR colour, LineMode mode) override {
        EXPECT_EQ(mode, LineMode::Segments);
        lines.emplace_back(vertices.begin(), vertices.end());
        colours.push_back(colour);
    }

    std::vector<std::vector<Vec3f>> meshes, lines;
    std::vector<COLOR> colours;
};

/// 11 x 11 cells of 10 x 20 units; the elevation of a cell is 10 x column + row.
class Slope final : public QuietTerrain {
public:
    Slope() : QuietTerrain("slope", 11, 11) {
        open_ = true;
        cellWidth_ = 10;
        cellHeight_ = 20;
    }
    [[nodiscard]] float GetElevation(int x, int y) const override {
        return static_cast<float>(10 * x + y);
    }
};

class PoiTest : public testing::Test {
protected:
    PoiTest() {
        camera.eye = {50, -400, 300};
        camera.lookAt = {50, -100, 0};
        camera.up = {0, 0, 1};
    }
    void Mark(int view, int marker, float x, float y) {
        pois.SetMarker(view, marker);
        pois.SetPosition(view, x, y);
        pois.SetTerrain(view, &land);
    }
    void DrawIn(int view, float scale = 1) {
        pois.UpdateAxes(camera.eye, scale);
        pois.Draw(sketch, camera, view);
    }

    Slope land;
    SIMPOISET pois;
    Sketch sketch;
    RenderCamera camera;
};

// Seen from the south the axis to the right points east: every corner (a, b) stands at
// (x + 2a, y, z + 2b) for a scale of 2, and once more mirrored in the ground.
TEST_F(PoiTest, EachShapeStandsOnTheGroundFacingTheViewerAndOnceMoreBelow) {
    constexpr float kScale = 2;
    Mark(View::kFirstPoi, 1, 50, -100);
    camera.eye = {50, -400, 300};
    const std::vector<std::pair<std::size_t, Vec3f>> farthest{
        {0, {}},         {9, {2, 0, 12}},   {3, {4, 0, 4}}, {9, {2.5F, 0, 12.5F}},
        {6, {1, 0, 12}}, {9, {6.5F, 0, 10}}};
    for (int marker = 1; marker < SIMPOISET::kMarkers; ++marker) {
        SCOPED_TRACE(SIMPOISET::MarkerKey(marker));
        pois.SetMarker(View::kFirstPoi, marker);
        sketch.meshes.clear();
        DrawIn(View::kMain, kScale);
        ASSERT_EQ(sketch.meshes.size(), 1U);
        const auto& mesh = sketch.meshes.front();
        const auto& [corners, far] = farthest[static_cast<std::size_t>(marker)];
        ASSERT_EQ(mesh.size(), 2 * corners);
        const Vec3f foot{50, -100, 55};  // column 5, row 5
        bool reached = false;
        for (std::size_t i = 0; i < corners; ++i) {
            const Vec3f above = mesh[i] - foot, below = mesh[i + corners] - foot;
            EXPECT_EQ(below, (Vec3f{above.x, above.y, -above.z})) << i;
            EXPECT_FLOAT_EQ(above.y, 0) << i;
            EXPECT_GE(above.z, 0) << i;
            reached = reached || Length(above - far) < 1e-4F;
        }
        EXPECT_TRUE(reached) << "no corner where the shape's outermost should be";
    }
}

TEST_F(PoiTest, TheBroadSideTurnsToTheViewerWhereverHeIs) {
    Mark(View::kFirstPoi, 2, 50, -100);
    const std::pair<Vec3f, Vec3f> cases[] = {
        {{50, -400, 9}, {1, 0, 0}},     // from the south: right is east
        {{50, 400, 9}, {-1, 0, 0}},     // from the north
        {{-300, -100, 9}, {0, -1, 0}},  // from the west: looking east, right is south
        {{350, -100, 9}, {0, 1, 0}},
    };
    for (const auto& [eye, right] : cases) {
        camera.eye = eye;
        sketch.meshes.clear();
        DrawIn(View::kLeft);
        const Vec3f corner = sketch.meshes.front()[1] - Vec3f{50, -100, 55};  // (2, 2)
        EXPECT_LT(Length(corner - (right * 2.0F + Vec3f{0, 0, 2})), 1e-4F);
    }
}

TEST_F(PoiTest, AViewerExactlyAboveSeesALineForThatFrame) {
    Mark(View::kFirstPoi, 5, 50, -100);
    camera.eye = {50, -100, 900};
    DrawIn(View::kDown);
    for (const Vec3f& corner : sketch.meshes.front()) {
        EXPECT_EQ(corner.x, 50);
        EXPECT_EQ(corner.y, -100);
        EXPECT_TRUE(std::isfinite(corner.z));
    }
}

TEST_F(PoiTest, TheFootFollowsTheGroundAndTheExaggeration) {
    Mark(View::kFirstPoi, 2, 31, -158);  // column 3.1, row 7.9: cell 3, 8
    pois.SetVerticalScale(3);
    DrawIn(View::kMain);
    EXPECT_EQ(sketch.meshes.front()[0], (Vec3f{31, -158, 38 * 3}));
    pois.SetPosition(View::kFirstPoi, -9999, 9999);  // beyond the edge: its nearest cell
    sketch.meshes.clear();
    DrawIn(View::kMain);
    EXPECT_EQ(sketch.meshes.front()[0], (Vec3f{-9999, 9999, 0}));
    pois.SetTerrain(View::kFirstPoi, nullptr);
    DrawIn(View::kMain);
    EXPECT_EQ(sketch.meshes.back()[0].z, 0) << "no ground to stand on";
}

// The eye 1000 above: arms of 50. A cross lies on the flat map, whatever the ground's elevation.
TEST_F(PoiTest, TheMapShowsACrossWithOneArmAlongItsUpwardDirection) {
    Mark(15, 4, 50, -100);
    pois.SetColor(15, {1, 2, 3, 4});
    DrawIn(View::kMain);
    camera.eye = {50, -100, 1000};
    camera.up = {0.6F, 0.8F, 0};
    DrawIn(View::kMap);
    ASSERT_EQ(sketch.lines.size(), 1U);
    EXPECT_EQ(sketch.meshes.size(), 1U) << "no marker in the map";
    const std::vector<Vec3f> wanted{{50 + 40, -100 - 30, 0},
                                    {50 - 40, -100 + 30, 0},
                                    {50 + 30, -100 + 40, 0},
                                    {50 - 30, -100 - 40, 0}};
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_LT(Length(sketch.lines.front()[i] - wanted[i]), 1e-3F) << i;
    EXPECT_EQ(sketch.colours.back(), (COLOR{1, 2, 3, 4}));
}

TEST_F(PoiTest, SlotsAreDrawnInOrderAndThoseWithoutAMarkerNot) {
    Mark(12, 1, 10, -10);
    Mark(9, 2, 90, -10);
    Mark(10, 3, 50, -50);
    pois.SetMarker(10, 0);
    DrawIn(View::kMain);
    ASSERT_EQ(sketch.meshes.size(), 2U);
    EXPECT_EQ(sketch.meshes[0].size(), 6U);
    EXPECT_EQ(sketch.meshes[1].size(), 18U);
    COLOR ninth, twelfth;
    EXPECT_TRUE(pois.GetColor(9, ninth).Good() && pois.GetColor(12, twelfth).Good());
    EXPECT_EQ(sketch.colours, (std::vector<COLOR>{ninth, twelfth}));
}

TEST_F(PoiTest, EveryTwoOfTheFirstColoursAreFarApart) {
    for (int one = View::kFirstPoi; one < View::kMain; ++one) {
        for (int other = one + 1; other < View::kMain; ++other) {
            const COLOR a = SIMPOISET::FirstColor(one), b = SIMPOISET::FirstColor(other);
            const int apart =
                std::abs(a.red - b.red) + std::abs(a.green - b.green) + std::abs(a.blue - b.blue);
            EXPECT_GT(apart, 0x5000) << one << " and " << other;
        }
    }
}

}  // namespace
}  // namespace tarnvale
