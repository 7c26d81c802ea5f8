// The terrain's share of a frame: error tables at opening, selection, morph and mesh.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "terrain/errortables.h"
#include "terrain/qtmorphs.h"

namespace tarnvale {
namespace {

constexpr int kSide = 4097;
constexpr float kCell = 10.0F;  // metres
constexpr float kSea = 0.0F;    // elevations below are flat water
constexpr int kPictureWidth = 1280;
constexpr int kPictureHeight = 720;
constexpr float kFieldOfView = 45.0F;
constexpr int kPathFrames = 360;
constexpr float kPathStep = 30.0F;  // metres a frame

/// Mountains, hills and a sea: midpoint displacement, rougher where it is high.
ElevationSamples MakeLandscape() {
    ElevationSamples samples;
    samples.columns = kSide;
    samples.rows = kSide;
    samples.cellWidth = kCell;
    samples.cellHeight = kCell;
    std::vector<float> heights(static_cast<std::size_t>(kSide) * kSide, 700.0F);
    const auto at = [&heights](int x, int y) -> float& {
        return heights[static_cast<std::size_t>(std::clamp(y, 0, kSide - 1)) * kSide +
                       static_cast<std::size_t>(std::clamp(x, 0, kSide - 1))];
    };
    std::mt19937 random(20);
    float amplitude = 1500.0F;
    std::uniform_real_distribution<float> unit(-1.0F, 1.0F);
    for (int step = kSide - 1; step > 1; step /= 2, amplitude *= 0.55F) {
        const int half = step / 2;
        const auto displaced = [&](float mean) {
            const float rough = std::clamp(0.25F + mean / 1500.0F, 0.1F, 1.3F);
            return mean + unit(random) * amplitude * rough;
        };
        for (int y = half; y < kSide; y += step) {
            for (int x = half; x < kSide; x += step) {
                at(x, y) = displaced((at(x - half, y - half) + at(x + half, y - half) +
                                      at(x - half, y + half) + at(x + half, y + half)) /
                                     4);
            }
        }
        for (int y = 0; y < kSide; y += half) {
            for (int x = (y / half) % 2 == 0 ? half : 0; x < kSide; x += step) {
                at(x, y) = displaced(
                    (at(x - half, y) + at(x + half, y) + at(x, y - half) + at(x, y + half)) / 4);
            }
        }
    }
    samples.values.reserve(heights.size());
    for (const float height : heights) {
        samples.values.push_back(static_cast<std::int16_t>(std::lround(std::max(height, kSea))));
    }
    return samples;
}

ElevationGrid MakeGrid() {
    ElevationGrid grid;
    if (!grid.Create(MakeLandscape()).Good()) {
        std::fputs("no memory for the landscape\n", stderr);
        std::exit(1);
    }
    return grid;
}

class CountingSink final : public TerrainSink {
public:
    void DrawTerrainMesh(TerrainPrimitive& primitive) override {
        const std::uint32_t count = primitive.vertices.Count();
        if (count < 3) return;
        triangles += count - 2;
        ++primitives;
        benchmark::DoNotOptimize(primitive.vertices.Data());
    }
    std::int64_t triangles = 0;
    std::int64_t primitives = 0;
};

/// An open terrain and a flight over it.
class Flight {
public:
    Flight() {
        if (!terrain_.OpenGrid(MakeGrid()).Good()) std::exit(1);
        all_ = {0, 0, kSide - 1, kSide - 1};
    }
    [[nodiscard]] QuadtreeMorphTerrain& Terrain() { return terrain_; }
    [[nodiscard]] const IntRect& All() const { return all_; }
    [[nodiscard]] bool Update(int frame) {
        // A wide curve over the middle of the terrain, some 600 metres above ground.
        const auto turn = static_cast<float>(frame % kPathFrames) * kPathStep / 6000.0F;
        const float middle = kSide * kCell / 2;
        RenderCamera camera;
        camera.fieldOfView = kFieldOfView;
        camera.eye = {middle + 9000.0F * std::cos(turn), -middle + 9000.0F * std::sin(turn), 0};
        camera.eye.z = terrain_.GetElevation(static_cast<int>(camera.eye.x / kCell),
                                             static_cast<int>(-camera.eye.y / kCell)) +
                       600.0F;
        camera.lookAt = camera.eye + Vec3f{-std::sin(turn), std::cos(turn), -0.15F};
        camera.up = {0, 0, 1};
        ViewPyramid pyramid;
        pyramid.Build(camera.eye, camera.lookAt, camera.up, kFieldOfView,
                      static_cast<float>(kPictureWidth) / kPictureHeight);
        return terrain_.Update(camera, pyramid, kPictureWidth, kPictureHeight, std::span(&all_, 1))
            .Good();
    }

private:
    QuadtreeMorphTerrain terrain_;
    IntRect all_;
};

Flight& TheFlight() {
    static Flight flight;
    return flight;
}

void BM_ErrorTables(benchmark::State& state) {
    const ElevationGrid grid = MakeGrid();
    QuadtreeHierarchy hierarchy;
    for ([[maybe_unused]] auto _ : state) {
        if (!hierarchy.Build(kSide, kSide).Good() ||
            !FillErrorTables(grid, hierarchy, nullptr).Good()) {
            state.SkipWithError("not filled");
        }
    }
    state.SetItemsProcessed(state.iterations() * kSide * kSide);
}
BENCHMARK(BM_ErrorTables)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Select(benchmark::State& state) {
    TerrainModel::SetQuality(static_cast<double>(state.range(0)), false);
    Flight& flight = TheFlight();
    int frame = 0;
    std::int64_t nodes = 0;
    for ([[maybe_unused]] auto _ : state) {
        if (!flight.Update(frame++)) state.SkipWithError("not selected");
        nodes += static_cast<std::int64_t>(flight.Terrain().Selection().size());
    }
    state.counters["nodes"] =
        benchmark::Counter(static_cast<double>(nodes), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_Select)->Arg(85)->Arg(100)->Unit(benchmark::kMicrosecond);

void BM_MorphAndEmit(benchmark::State& state) {
    TerrainModel::SetQuality(static_cast<double>(state.range(0)), false);
    Flight& flight = TheFlight();
    CountingSink sink;
    int frame = 0;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        if (!flight.Update(frame++)) state.SkipWithError("not selected");
        state.ResumeTiming();
        if (!flight.Terrain().Draw(sink, flight.All()).Good()) state.SkipWithError("not drawn");
    }
    state.counters["triangles"] =
        benchmark::Counter(static_cast<double>(sink.triangles), benchmark::Counter::kAvgIterations);
    state.counters["primitives"] = benchmark::Counter(static_cast<double>(sink.primitives),
                                                      benchmark::Counter::kAvgIterations);
    state.counters["s_per_triangle"] =
        benchmark::Counter(static_cast<double>(sink.triangles),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_MorphAndEmit)->Arg(85)->Arg(100)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tarnvale

BENCHMARK_MAIN();
