// What textures cost: cutting primitives by tile, and one tile from the file to pixels.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "streaming/fakegraphics_test.h"
#include "streaming/rastertilesource.h"
#include "streaming/tilepyramid.h"
#include "zpf/zpfwriter.h"

namespace tarnvale {
namespace {

using fake::AnyItem;
using fake::FakeGraphics;
using fake::FakeTerrain;

constexpr int kSamples = 513;
constexpr int kDomain = 8192;
constexpr int kTileSide = 512;

float Height(float x, float y) {
    return 12.0F * std::sin(x * 0.05F) * std::cos(y * 0.07F);
}

void AddStrip(std::vector<TerrainPrimitive>& mesh, int x, int y, int step, int cells, bool down) {
    TerrainPrimitive strip{.kind = PrimitiveKind::Strip, .vertices = {}};
    for (int i = 0; i <= cells; ++i) {
        for (int side = 0; side < 2; ++side) {
            const auto px = static_cast<float>(x + step * (down ? side : i));
            const auto py = -static_cast<float>(y + step * (down ? i : side));
            strip.vertices.Append(Vec3f{px, py, Height(px, py)});
        }
    }
    mesh.push_back(std::move(strip));
}

/// The mesh of a flight as the terrain sends it, node after node of eight cells a side: corners,
/// interior and edges, coarser with the distance.
std::vector<TerrainPrimitive> Mesh(const Vec3f& eye) {
    std::vector<TerrainPrimitive> mesh;
    const auto addNode = [&](int x, int y, int step) {
        const int last = 7 * step;
        for (const int cornerY : {y, y + last}) {
            for (const int cornerX : {x, x + last}) AddStrip(mesh, cornerX, cornerY, step, 1, true);
        }
        for (int row = 0; row < 8; ++row) {
            AddStrip(mesh, x + step, y + row * step, step, 6, false);
        }
        AddStrip(mesh, x, y + step, step, 6, true);
        AddStrip(mesh, x + last, y + step, step, 6, true);
    };
    for (int y = 0; y < kSamples - 1; y += 32) {
        for (int x = 0; x < kSamples - 1; x += 32) {
            const float dx = static_cast<float>(x) - eye.x, dy = static_cast<float>(y) + eye.y;
            const float distance = std::sqrt(dx * dx + dy * dy);
            const int step = distance < 120 ? 1 : distance < 250 ? 2 : 4;
            for (int row = y; row < y + 32; row += 8 * step) {
                for (int column = x; column < x + 32; column += 8 * step) {
                    addNode(column, row, step);
                }
            }
        }
    }
    return mesh;
}

void Frame(BandwidthLimitedTexture& model, const std::vector<TerrainPrimitive>& mesh,
           std::uint64_t& triangles) {
    for (const TerrainPrimitive& primitive : mesh) {
        const RenderMeshBatch& batch = model.Prepare(primitive);
        for (const RenderMesh* part : batch) triangles += part->vertices.Count() / 3;
        benchmark::DoNotOptimize(batch.data());
    }
}

/// @param range(0)  1: all tiles wanted are resident; 0: only the coarsest, so that every triangle
///                  wishes for one
void BM_Prepare(benchmark::State& state) {
    FakeTerrain terrain(kSamples);
    FakeGraphics graphics(kTileSide);
    BandwidthLimitedTexture model(fake::Tagged(fake::WholeDomain(kDomain)));
    if (!model.Open(AnyItem(), terrain, &graphics).Good() || !model.IsOpen()) {
        state.SkipWithError("the model doesn't open");
        return;
    }
    const RenderCamera camera = fake::CameraAt({256, -256, 25}, 60);
    const std::vector<TerrainPrimitive> mesh = Mesh(camera.eye);
    model.SetView(camera, 1280, 720);
    std::uint64_t triangles = 0;
    Frame(model, mesh, triangles);
    if (state.range(0) != 0) {
        do {
            model.Service();
            std::this_thread::sleep_for(TileLoader::kPoll / 2);
            Frame(model, mesh, triangles);
        } while (!model.Settled());
    }
    triangles = 0;
    for (auto _ : state) Frame(model, mesh, triangles);
    state.SetItemsProcessed(static_cast<std::int64_t>(triangles));
    state.counters["ns_a_triangle"] =
        benchmark::Counter(static_cast<double>(triangles) * 1e-9,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["triangles_a_primitive"] = static_cast<double>(triangles) /
                                              static_cast<double>(mesh.size()) /
                                              static_cast<double>(state.iterations());
    state.counters["resident"] = model.Figures().resident;
}
BENCHMARK(BM_Prepare)->ArgName("resident")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

/// A file with one texture of 2 x 2 tiles that look like ground; gone with the object.
class TextureFile {
public:
    static constexpr int kTiles = 2;

    explicit TextureFile(ZPF::TileEncoding encoding)
        : path_(std::filesystem::temp_directory_path() /
                ("tarnvale-bench-" + std::to_string(getpid()) + ".sim")) {
        ZPF::RasterSpec spec;
        spec.name = "Land";
        spec.columns = spec.rows = kTiles * ZPF::kTileSide;
        spec.encoding = encoding;
        spec.georeference = {400000, 1, 0, 5600000, 0, -1};
        ZPF::PROJECTWRITER writer;
        int number = kNoObject;
        good_ = COORDREFSYS::FromText("EPSG:32633", spec.system).Good() &&
                writer.Create(path_).Good() && writer.AddRaster(kRootObject, spec, number).Good();
        for (int i = 0; i < kTiles * kTiles && good_; ++i) {
            ZPF::EncodedTile tile;
            good_ = ZPF::PROJECTWRITER::EncodeTile(spec, 0, Ground(i), {}, tile).Good() &&
                    writer.PutTile(number, 0, i % kTiles, i / kTiles, tile).Good();
        }
        good_ = good_ && writer.Commit().Good();
        item_.file = path_;
        item_.header.number = number;
    }
    TextureFile(const TextureFile&) = delete;
    TextureFile& operator=(const TextureFile&) = delete;
    ~TextureFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    [[nodiscard]] bool Good() const { return good_; }
    [[nodiscard]] const ZPFObjectItem& Item() const { return item_; }

private:
    static std::vector<std::byte> Ground(int seed) {
        std::vector<std::byte> cells;
        unsigned noise = static_cast<unsigned>(seed) + 1;
        for (int y = 0; y < ZPF::kTileSide; ++y) {
            for (int x = 0; x < ZPF::kTileSide; ++x) {
                noise = noise * 1664525U + 1013904223U;
                const auto fx = static_cast<float>(x), fy = static_cast<float>(y);
                const int shade =
                    static_cast<int>(60 + 40 * std::sin(fx * 0.11F) * std::cos(fy * 0.07F) +
                                     static_cast<float>(noise >> 28));
                for (const int add : {20, 45, 0}) {
                    cells.push_back(static_cast<std::byte>(shade + add));
                }
            }
        }
        return cells;
    }

    FILEPATH path_;
    bool good_ = false;
    ZPFObjectItem item_;
};

/// @param range(0)  1: JPEG, 0: PNG
void BM_TileFromFileToPixels(benchmark::State& state) {
    const TextureFile file(state.range(0) != 0 ? ZPF::TileEncoding::Jpeg
                                               : ZPF::TileEncoding::Lossless);
    COORDREFSYS system;
    const bool placed = COORDREFSYS::FromText("EPSG:32633", system).Good();
    const int domain = TextureFile::kTiles * kTileSide;
    const double cell = static_cast<double>(domain) / 64;
    const FakeTerrain terrain(65, {400000 - cell / 2, cell, 0, 5600000 + cell / 2, 0, -cell},
                              system);
    RasterTileSource source;
    TilePyramid pyramid;
    if (!file.Good() || !placed ||
        !source.Open(file.Item(), terrain, kTileSide, TexturePixelFormat::Bgra).Good() ||
        !pyramid.BuildPyramid(domain, domain, 9).Good()) {
        state.SkipWithError(GetErrPosn().detail.c_str());
        return;
    }
    std::vector<std::byte> pixels(static_cast<std::size_t>(kTileSide) * kTileSide * 4);
    std::size_t next = 0;
    for (auto _ : state) {
        const TileEntry& tile = pyramid.At(static_cast<std::uint32_t>(next++ % 4));
        benchmark::DoNotOptimize(source.Read(tile, pixels));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TileFromFileToPixels)->ArgName("jpeg")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tarnvale
