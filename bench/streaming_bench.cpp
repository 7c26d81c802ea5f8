// What textures cost: cutting primitives by tile, and one tile from the file to pixels.

#include <benchmark/benchmark.h>

#include <cmath>
#include <thread>
#include <vector>

#include "streaming/fakegraphics_test.h"

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

}  // namespace
}  // namespace tarnvale
