#include "simulator/mapgrid.h"

#include <algorithm>
#include <cmath>

namespace tarnvale {

namespace {

constexpr double kRoundingBias = 1e-10;
constexpr double kFinestShare = 256;

int RoundBiased(double value) {
    return static_cast<int>(std::lround(value + kRoundingBias));
}

double RoundedUpToPower(double ratio) {
    double power = 1;
    while (power < ratio && power < kFinestShare) power *= 2;
    return std::max(power, ratio);
}

struct Run {
    int first = 0, last = 0;
};

// Samples from `low` to `high`, widened to whole steps and held to the grid.
Run RunOf(double low, double high, float step, int count) {
    Run run;
    if (low > 0) run.first = RoundBiased(std::min(std::floor(low / step) * step, count - 1.0));
    run.last =
        high >= count - 1.0 ? count - 1 : RoundBiased(std::max(std::ceil(high / step) * step, 0.0));
    return run;
}

}  // namespace

Status DrawMapGrid(const TerrainModel& terrain, const Vec3f& eye, int width, int height,
                   TerrainPrimitive& scratch, TerrainSink& sink) {
    if (!terrain.IsOpen() || !(terrain.FieldOfViewDegrees() > 0) || !(eye.z > 0) || height <= 0) {
        return _SetErrPosn(StatusCode::BadState);
    }
    const int columns = terrain.GetColumns(), rows = terrain.GetRows();
    const float longer = std::max(static_cast<float>(columns) * terrain.CellWidth(),
                                  static_cast<float>(rows) * terrain.CellHeight());
    const double share = RoundedUpToPower(longer / eye.z);
    const double least = std::min(columns, rows) - 1;
    const auto step = static_cast<float>(2 * share < least ? least / (2 * share) : least);
    const int whole = std::max(1, RoundBiased(step));

    const float seen = eye.z * static_cast<float>(width) / static_cast<float>(height);
    Vec3f northWest{eye.x - seen / 2, eye.y + eye.z / 2, 0};
    Vec3f southEast{eye.x + seen / 2, eye.y - eye.z / 2, 0};
    terrain.WorldToGrid(northWest);
    terrain.WorldToGrid(southEast);
    const Run across = RunOf(northWest.x, southEast.x, step, columns);
    const Run down = RunOf(northWest.y, southEast.y, step, rows);

    const auto append = [&](int column, int row) {
        Vec3f point{static_cast<float>(column) + 0.5F, static_cast<float>(row) + 0.5F, 0};
        terrain.GridToWorld(point);
        scratch.vertices.Append(point);
    };
    scratch.kind = PrimitiveKind::Strip;
    for (int row = down.first; row < down.last; row += whole) {
        scratch.vertices.Clear();
        for (int column = across.first; column < across.last; column += whole) {
            append(column, row);
            append(column, row + whole);
            append(column + whole, row);
            append(column + whole, row + whole);
        }
        sink.DrawTerrainMesh(scratch);
    }
    return StatusCode::Ok;
}

}  // namespace tarnvale
