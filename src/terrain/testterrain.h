#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include "terrain/qtmorphs.h"

/// Landscapes, viewers and a sink for the tests of this folder.
namespace tarnvale::testing {

struct LandscapeSpec {
    int columns = 129, rows = 129;
    std::uint32_t seed = 1;
    float relief = 300.0F;  ///< height of the largest forms
    float rough = 0.55F;    ///< height of forms half as large, against the larger ones
    int nullsPerMille = 0;
    float cellWidth = 10.0F, cellHeight = 10.0F;
};

constexpr std::int16_t kNull = -9999;

/// Place of a sample in a row-major grid.
inline std::size_t SampleAt(int x, int y, int columns) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(columns) +
           static_cast<std::size_t>(x);
}

/// Sums of smooth random forms of sides 64, 32, ... 1.
inline ElevationSamples MakeLandscape(const LandscapeSpec& spec) {
    std::mt19937 random(spec.seed);
    std::uniform_real_distribution<float> unit(-1.0F, 1.0F);
    std::vector<float> heights(SampleAt(0, spec.rows, spec.columns));
    float relief = spec.relief;
    for (int side = 64; side >= 1; side /= 2, relief *= spec.rough) {
        const int across = spec.columns / side + 2;
        std::vector<float> knots(SampleAt(0, spec.rows / side + 2, across));
        for (float& knot : knots) knot = unit(random) * relief;
        for (int y = 0; y < spec.rows; ++y) {
            for (int x = 0; x < spec.columns; ++x) {
                const float fx = static_cast<float>(x % side) / static_cast<float>(side);
                const float fy = static_cast<float>(y % side) / static_cast<float>(side);
                const float* knot = &knots[SampleAt(x / side, y / side, across)];
                heights[SampleAt(x, y, spec.columns)] +=
                    (knot[0] * (1 - fx) + knot[1] * fx) * (1 - fy) +
                    (knot[across] * (1 - fx) + knot[across + 1] * fx) * fy;
            }
        }
    }
    ElevationSamples samples;
    samples.columns = spec.columns;
    samples.rows = spec.rows;
    samples.cellWidth = spec.cellWidth;
    samples.cellHeight = spec.cellHeight;
    for (const float height : heights) {
        samples.values.push_back(static_cast<std::int16_t>(std::lround(height)));
    }
    if (spec.nullsPerMille > 0) {
        samples.nullValue = kNull;
        for (std::int16_t& value : samples.values) {
            if (static_cast<int>(random() % 1000) < spec.nullsPerMille) value = kNull;
        }
    }
    return samples;
}

/// @return false where the model can't be opened
[[nodiscard]] inline bool OpenOn(QuadtreeMorphTerrain& terrain, const ElevationSamples& samples) {
    ElevationGrid grid;
    return grid.Create(samples).Good() && terrain.OpenGrid(std::move(grid)).Good();
}

/// A camera and the part of the terrain that takes part.
struct Viewer {
    Vec3f eye, lookAt;
    Vec3f up = {0, 0, 1};
    float fieldOfView = 45.0F;
    /// Field of view and aspect of the view volume alone, so that a test can look at all of a
    /// terrain.
    float volumeFieldOfView = 45.0F, volumeAspect = 16.0F / 9.0F;
    int width = 1280, height = 720;
    IntRect region = {0, 0, 1 << 20, 1 << 20};

    Status Update(QuadtreeMorphTerrain& terrain) const {
        RenderCamera camera;
        camera.eye = eye;
        camera.lookAt = lookAt;
        camera.up = up;
        camera.fieldOfView = fieldOfView;
        ViewPyramid pyramid;
        pyramid.Build(eye, lookAt, up, volumeFieldOfView, volumeAspect);
        return terrain.Update(camera, pyramid, width, height, std::span(&region, 1));
    }
};

/// Keeps all triangles.
class CapturingSink final : public TerrainSink {
public:
    using Triangle = std::array<Vec3f, 3>;

    void DrawTerrainMesh(TerrainPrimitive& primitive) override {
        const GrowArray<Vec3f>& v = primitive.vertices;
        for (std::uint32_t i = 2; i < v.Count(); ++i) {
            switch (primitive.kind) {
                case PrimitiveKind::List:
                    if (i % 3 == 2) triangles.push_back({v[i - 2], v[i - 1], v[i]});
                    break;
                case PrimitiveKind::Fan:
                    triangles.push_back({v[0], v[i - 1], v[i]});
                    break;
                case PrimitiveKind::Strip:
                    triangles.push_back({v[i - 2], v[i - 1], v[i]});
                    break;
            }
        }
        // A sink may spoil what it was lent.
        for (Vec3f& vertex : primitive.vertices) vertex.z = 1e9F;
    }
    std::vector<Triangle> triangles;
};

constexpr IntRect kEverywhere = {0, 0, 1 << 20, 1 << 20};

}  // namespace tarnvale::testing
