#include "streaming/bandwidthlimitedtexture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>
#include <tuple>
#include <vector>

#include "base/allocations_for_test.h"
#include "streaming/fakegraphics_test.h"

namespace tarnvale {
namespace {

using namespace std::chrono_literals;
using fake::AnyItem;
using fake::FakeGraphics;
using fake::FakeTerrain;
using fake::Strip;
using fake::Tagged;
using fake::TagOf;
using fake::WholeDomain;

constexpr int kSide = 16;  // of a tile
constexpr float kRadian = 57.29578F;

RenderCamera EyeAt(float x, float y, float z) {
    return fake::CameraAt({x, y, z}, kRadian);
}

/// A texture of 256 pixels over 64 cells, seen with 1000 pixels to a radian: 5 levels.
class ModelTest : public ::testing::Test {
protected:
    void Open(const TextureDomain& domain = WholeDomain(256), int samples = 65,
              int finestLevel = 0) {
        terrain = std::make_unique<FakeTerrain>(samples);
        model = std::make_unique<BandwidthLimitedTexture>(Tagged(domain, finestLevel));
        ASSERT_TRUE(model->Open(AnyItem(), *terrain, &graphics).Good());
        ASSERT_TRUE(model->IsOpen());
    }
    /// Every texture in sight shows the tile that it is named for.
    void ExpectRightTiles(const RenderMeshBatch& batch) {
        for (const RenderMesh* mesh : batch) {
            if (mesh->texture == nullptr) continue;
            const TileName name = model->NameOf(mesh->texture);
            EXPECT_EQ(FakeGraphics::Tag(mesh->texture), TagOf(name.level, name.entry));
        }
    }
    void Frame(const TerrainPrimitive& primitive, const RenderCamera& camera) {
        model->SetView(camera, 1600, 1000);
        ExpectRightTiles(model->Prepare(primitive));
        model->Service();
    }
    void Settle(const TerrainPrimitive& primitive, const RenderCamera& camera) {
        const auto start = std::chrono::steady_clock::now();
        do {
            Frame(primitive, camera);
            std::this_thread::sleep_for(2ms);
        } while (!model->Settled() && std::chrono::steady_clock::now() - start < 10s);
        EXPECT_TRUE(model->Settled());
    }
    TileName OnlyTile(const TerrainPrimitive& primitive) {
        const RenderMeshBatch& batch = model->Prepare(primitive);
        EXPECT_EQ(batch.size(), 1U);
        return batch.empty() ? TileName{} : model->NameOf(batch.front()->texture);
    }

    FakeGraphics graphics{kSide};
    std::unique_ptr<FakeTerrain> terrain;
    std::unique_ptr<BandwidthLimitedTexture> model;
};

TEST_F(ModelTest, BeginsWithTheCoarsestTileAndAsksFromTheTopDown) {
    Open();
    const TerrainPrimitive strip = Strip(9, 9, 1, 1);  // cell (9, 9): pixels 34 to 38
    EXPECT_EQ(model->Figures().resident, 1U);
    std::vector<int> levels;
    for (int frame = 0; frame < 400; ++frame) {
        model->SetView(EyeAt(10, -10, 100), 1600, 1000);  // density 2.5: the finest
        const TileName tile = OnlyTile(strip);
        if (levels.empty() || levels.back() != tile.level) levels.push_back(tile.level);
        const int column = 36 / kSide >> tile.level;
        EXPECT_EQ(tile.entry, column * (16 >> tile.level) + column);
        model->Service();
        // Once settled, the frame just drawn is complete.
        if (model->Settled()) break;
        std::this_thread::sleep_for(5ms);
    }
    EXPECT_EQ(levels, (std::vector<int>{4, 3, 2, 1, 0}));
    EXPECT_EQ(model->Figures().uploadsEver, 5U);
    EXPECT_EQ(model->Figures().inFlight, 0U);
}

// From 50 above, one cell is seen with 4.9 pixels to a texel, another with 4.1. The first lacks a
// tile of level 2, with four such texels to one of its own, the second one of level 3, with
// eight: 32.5 pixels to each, against 19.5.
TEST_F(ModelTest, AsksForTheDensestTileFirst) {
    Open();
    const TerrainPrimitive near = Strip(3.5F, 3.5F, 1, 1), far = Strip(35.5F, 3.5F, 1, 1);
    Settle(near, EyeAt(4, -4, 1400));
    EXPECT_EQ(OnlyTile(near).level, 3);
    graphics.made.clear();
    model->SetView(EyeAt(12, -4, 50), 1600, 1000);
    (void)model->Prepare(near);
    Frame(far, EyeAt(12, -4, 50));
    while (graphics.made.size() < 2) {
        model->Service();
        std::this_thread::sleep_for(2ms);
    }
    EXPECT_EQ(graphics.made, (std::vector<std::uint32_t>{TagOf(3, 1), TagOf(2, 0)}));
}

TEST_F(ModelTest, GivesCoordinatesWithTheBottomRowFirst) {
    Open();
    const TerrainPrimitive strip = Strip(9, 9, 1, 1);
    Settle(strip, EyeAt(10, -10, 300));  // density 0.83: tiles of 32 domain pixels
    const RenderMeshBatch& batch = model->Prepare(strip);
    ASSERT_EQ(batch.size(), 1U);
    const RenderMesh& mesh = *batch.front();
    EXPECT_EQ(model->NameOf(mesh.texture).level, 1);
    EXPECT_EQ(model->NameOf(mesh.texture).entry, 9);  // column 1, row 1 of 8
    // The strip's vertices lie on pixels 34 and 38: (34 - 32) / 32, and (64 - 34) / 32 down to up.
    const std::vector<Vec2f> corners{
        {0.0625F, 0.9375F}, {0.0625F, 0.8125F}, {0.1875F, 0.9375F}, {0.1875F, 0.8125F}};
    const std::vector<std::uint32_t> order{0, 1, 2, 1, 2, 3};
    ASSERT_EQ(mesh.vertices.Count(), order.size());
    ASSERT_EQ(mesh.texcoords.Count(), order.size());
    for (std::uint32_t i = 0; i < order.size(); ++i) {
        EXPECT_EQ(mesh.vertices[i], strip.vertices[order[i]]) << i;
        EXPECT_EQ(mesh.texcoords[i], corners[order[i]]) << i;
    }
    EXPECT_EQ(mesh.kind, PrimitiveKind::List);
    EXPECT_EQ(mesh.colour, COLOR::Plain());
    EXPECT_FALSE(mesh.wireframe);
}

TEST_F(ModelTest, SortsTrianglesByTileAndKeepsAll) {
    Open();
    // Along a row of the finest tiles, each four cells wide, and over the end of a run of
    // triangles.
    const TerrainPrimitive strip = Strip(0.5F, 20.5F, 1, 64);
    const RenderCamera camera = EyeAt(32, -20, 60);
    Settle(strip, camera);
    const RenderMeshBatch& batch = model->Prepare(strip);
    std::uint32_t triangles = 0;
    std::vector<TextureHandle*> seen;
    for (const RenderMesh* mesh : batch) {
        EXPECT_EQ(std::ranges::count(seen, mesh->texture), 0) << "one mesh for each texture";
        seen.push_back(mesh->texture);
        ASSERT_NE(mesh->texture, nullptr);
        ASSERT_EQ(mesh->texcoords.Count(), mesh->vertices.Count());
        triangles += mesh->vertices.Count() / 3;
        for (std::uint32_t i = 0; i < mesh->vertices.Count(); ++i) {
            // A cell is four pixels of a tile of 16 and more; it may hang over by most of its
            // width.
            EXPECT_GE(mesh->texcoords[i].x, -0.25F);
            EXPECT_LE(mesh->texcoords[i].x, 1.25F);
        }
    }
    EXPECT_EQ(triangles, 128U);
    EXPECT_GE(batch.size(), 16U);

    TerrainPrimitive odd{.kind = static_cast<PrimitiveKind>(7), .vertices = {}};
    for (int i = 0; i < 9; ++i) odd.vertices.Append(Vec3f{static_cast<float>(i), 0, 0});
    EXPECT_TRUE(model->Prepare(odd).empty());
}

TEST_F(ModelTest, TrianglesWithoutATileArePlain) {
    Open();
    TerrainPrimitive list{.kind = PrimitiveKind::List, .vertices = {}};
    const std::vector<Vec3f> corners{{9, -9, 0},   {10, -9, 0},  {9, -10, 0},   // good
                                     {9, -9, 0},   {10, -10, 0}, {11, -11, 0},  // no area
                                     {20, -20, 0}, {21, -20, 0}, {20, -21, 0}};
    list.vertices.Append(std::span(corners));
    model->SetView(EyeAt(10, -10, 100), 1600, 1000);
    const RenderMeshBatch& batch = model->Prepare(list);
    ASSERT_EQ(batch.size(), 2U);
    EXPECT_EQ(batch[0]->vertices.Count(), 6U);
    EXPECT_EQ(batch[0]->vertices[3], corners[6]) << "the third triangle joins the first";
    EXPECT_EQ(batch[1]->texture, nullptr);
    EXPECT_EQ(batch[1]->vertices.Count(), 3U);
    EXPECT_EQ(batch[1]->texcoords.Count(), 0U);
    EXPECT_EQ(model->NameOf(nullptr).level, -1);
}

// At one texel a cell the centre of a triangle in the last column rounds to the pixel after the
// last.
TEST_F(ModelTest, TheLastColumnIsNeverPlain) {
    Open(WholeDomain(64));
    for (const TerrainPrimitive& strip : {Strip(63.5F, 10.5F, 1, 1), Strip(10.5F, 63.5F, 1, 1)}) {
        Settle(strip, EyeAt(40, -40, 20));
        const RenderMeshBatch& batch = model->Prepare(strip);
        ASSERT_EQ(batch.size(), 1U);
        EXPECT_EQ(model->NameOf(batch.front()->texture).level, 0);
    }
}

// The raster covers the north-western quarter. Tiles beyond it, wished for more densely than any
// other, would fill the queue for ever.
TEST_F(ModelTest, NeverWishesForTilesOutsideAPartialRaster) {
    TextureDomain domain = WholeDomain(256);
    domain.rasterColumns = domain.rasterRows = 128;
    Open(domain);
    const RenderCamera camera = EyeAt(48, -48, 20);
    TerrainPrimitive list{.kind = PrimitiveKind::List, .vertices = {}};
    for (const float corner : {48.0F, 56.0F, 60.0F, 12.0F}) {
        for (const Vec3f& p : {Vec3f{corner, -corner, 0}, Vec3f{corner + 1, -corner, 0},
                               Vec3f{corner, -corner - 1, 0}}) {
            list.vertices.Append(p);
        }
    }
    Settle(list, camera);
    EXPECT_EQ(model->Figures().wishes, 0U);
    EXPECT_EQ(model->Figures().inFlight, 0U);
    const RenderMeshBatch& batch = model->Prepare(list);
    ASSERT_EQ(batch.size(), 2U);
    EXPECT_EQ(model->NameOf(batch[0]->texture).level, 4) << "outside: the resident ancestor serves";
    EXPECT_EQ(batch[0]->vertices.Count(), 9U);
    EXPECT_LT(model->NameOf(batch[1]->texture).level, 2) << "inside";
}

TEST_F(ModelTest, OpensPlainWhatCantBeUsed) {
    terrain = std::make_unique<FakeTerrain>(65);
    ZPFObjectItem none;
    BandwidthLimitedTexture texture(Tagged(WholeDomain(256)));
    EXPECT_EQ(texture.Open(AnyItem(), *terrain, nullptr), StatusCode::BadState);
    EXPECT_TRUE(texture.Open(none, *terrain, &graphics).Good());
    EXPECT_FALSE(texture.IsOpen());
    EXPECT_TRUE(texture.Prepare(Strip(9, 9, 1, 4)).empty());
    EXPECT_TRUE(texture.Settled());

    FakeGraphics full(kSide, 0);
    EXPECT_TRUE(texture.Open(AnyItem(), *terrain, &full).Good());
    EXPECT_FALSE(texture.IsOpen()) << "no texture for the coarsest tile";
    BandwidthLimitedTexture uneven(Tagged(WholeDomain(192)));
    EXPECT_TRUE(uneven.Open(AnyItem(), *terrain, &graphics).Good());
    EXPECT_FALSE(uneven.IsOpen()) << "no power of two to a cell";
    BandwidthLimitedTexture raster;
    EXPECT_TRUE(raster.Open(AnyItem(), *terrain, &graphics).Good());
    EXPECT_FALSE(raster.IsOpen()) << "no such file";
    EXPECT_EQ(graphics.Live(), 0U);

    EXPECT_TRUE(texture.Open(AnyItem(), *terrain, &graphics).Good());
    EXPECT_TRUE(texture.IsOpen());
    EXPECT_EQ(texture.Extent(), (std::array<double, 4>{0.5, -0.5, 64.5, -64.5}));
    texture.Close();
    EXPECT_EQ(graphics.Live(), 0U);
    EXPECT_GT(texture.Extent()[0], texture.Extent()[2]);
}

// Memory for 24 textures, and a flight past some hundred tiles.
TEST_F(ModelTest, AFlightKeepsToTheTexturesThatFit) {
    graphics.Allow(24);
    Open(WholeDomain(1024), 257);
    std::uint32_t most = 0;
    const auto start = std::chrono::steady_clock::now();
    int frame = 0;
    std::uint64_t refusedAt = 0;
    while (std::chrono::steady_clock::now() - start < 3s) {
        const float x = 20 + static_cast<float>(frame++) * 0.05F;
        Frame(Strip(x, 100, 4, 10), EyeAt(x + 20, -100, 60));
        const TextureFigures figures = model->Figures();
        if (figures.inFlight > 0 && refusedAt == 0 && figures.limit < 24) {
            refusedAt = figures.uploadsEver;
        }
        most = std::max(most, figures.resident);
        std::this_thread::sleep_for(3ms);
    }
    EXPECT_EQ(graphics.peak, 24U);
    EXPECT_EQ(most, 24U);
    EXPECT_EQ(model->Figures().limit, 22U);
    EXPECT_LE(model->Figures().resident, 22U);
    EXPECT_GT(refusedAt, 0U);
    EXPECT_GT(model->Figures().uploadsEver, refusedAt + 20) << "tiles go on coming";
    EXPECT_GE(model->Figures().inFlight, 1U) << "the refused one isn't asked for again";
    // More tiles are wanted than fit: that is no reason to wait for ever.
    const auto strip = Strip(20, 100, 1, 200);
    Settle(strip, EyeAt(100, -100, 30));
}

TEST_F(ModelTest, ASteadyFrameAllocatesNothing) {
    Open(WholeDomain(64), 65, 1);  // the 16 finest tiles fail, and are wished for again and again
    std::vector<TerrainPrimitive> mesh;
    mesh.reserve(64);
    for (int row = 0; row < 64; ++row) mesh.push_back(Strip(0.5F, static_cast<float>(row), 1, 64));
    std::size_t inFrames = 0;
    std::uint64_t wishes = 0;
    for (int number = 0; number < 600; ++number) {
        const std::size_t before = Allocations();
        const float turn = static_cast<float>(number) * 0.1F;
        model->SetView(EyeAt(32 + 8 * std::cos(turn), -32, 30), 1600, 1000);
        for (const TerrainPrimitive& strip : mesh) (void)model->Prepare(strip);
        model->Service();
        if (number >= 300) {
            inFrames += Allocations() - before;
            wishes += model->Figures().wishes;
        }
        std::this_thread::sleep_for(2ms);
    }
    EXPECT_EQ(inFrames, 0U);
    EXPECT_GT(wishes, 1000U);
    EXPECT_EQ(model->Figures().resident, 5U);
}

}  // namespace
}  // namespace tarnvale
