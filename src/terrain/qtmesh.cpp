#include "terrain/qtmesh.h"

#include <algorithm>

namespace tarnvale {
namespace {

using Edge = MorphHeightGrid::Edge;

/// The one place where a height between exact and straight is made, so that all nodes make the
/// same.
float Blend(double exactPart, float exact, double linePart, float a, float b) {
    return static_cast<float>(exactPart * static_cast<double>(exact) +
                              linePart * (static_cast<double>(a) + static_cast<double>(b)));
}

void Settle(float& shared, float& own) {
    if (shared == MorphHeightGrid::kUnset) {
        shared = own;
    } else {
        own = shared;
    }
}

/// One border of a node. @param heights  the node's own samples along it, exact on entry
void MorphEdge(const Edge& edge, float* heights, std::ptrdiff_t pitch, int cells, int step,
               double exactPart, double linePart) {
    for (int i = 0; i <= cells; i += 2) Settle(edge.At(i << step), heights[i * pitch]);
    for (int i = 1; i < cells; i += 2) {
        float& own = heights[i * pitch];
        float& shared = edge.At(i << step);
        if (shared == MorphHeightGrid::kUnset) {
            shared =
                Blend(exactPart, own, linePart, heights[(i - 1) * pitch], heights[(i + 1) * pitch]);
        }
        own = shared;
    }
}

/// Puts the samples that a finer neighbour needs on the straight lines of this node.
void FillEdge(const Edge& edge, const float* heights, std::ptrdiff_t pitch, int cells, int step,
              int finer) {
    const int side = 1 << step;
    for (int i = 0; i < cells; ++i) {
        const double a = static_cast<double>(heights[i * pitch]);
        const double b = static_cast<double>(heights[(i + 1) * pitch]);
        for (int o = finer; o < side; o += finer) {
            float& shared = edge.At((i << step) + o);
            if (shared != MorphHeightGrid::kUnset) continue;
            shared = static_cast<float>(
                (static_cast<double>(side - o) * a + static_cast<double>(o) * b) /
                static_cast<double>(side));
        }
    }
}

template <bool kHasNull>
void ToHeights(const ElevationGrid& elevations, const std::int16_t* row, std::ptrdiff_t pitch,
               int count, float* out) {
    const std::int16_t null = elevations.NullMark();
    const float minimum = elevations.Minimum();
    for (int j = 0; j < count; ++j, row += pitch, out += count) {
        for (int i = 0; i < count; ++i) {
            out[i] = kHasNull && row[i] == null ? minimum : static_cast<float>(row[i]);
        }
    }
}

}  // namespace

void NodeMesher::Create(const ElevationGrid& elevations, const QuadtreeShape& shape) {
    elevations_ = &elevations;
    borders_.Create(shape.paddedColumns, shape.paddedRows);
    worldX_.resize(static_cast<std::size_t>(shape.paddedColumns));
    worldY_.resize(static_cast<std::size_t>(shape.paddedRows));
    for (std::size_t x = 0; x < worldX_.size(); ++x) {
        worldX_[x] = (static_cast<float>(x) + 0.5F) * elevations.CellWidth();
    }
    for (std::size_t y = 0; y < worldY_.size(); ++y) {
        worldY_[y] = -((static_cast<float>(y) + 0.5F) * elevations.CellHeight());
    }
    // The longest primitive is a fan with the finest neighbours all round, a strip has two rows.
    primitive_.vertices.Reserve((4U << shape.CoarsestNumber()) + 2);
    Reserve({});
}

void NodeMesher::Reserve(std::span<const NodePlan> plans) {
    std::size_t samples = 2;
    for (const NodePlan& node : plans) {
        samples = std::max(samples, static_cast<std::size_t>(node.Cells()) + 1);
    }
    if (samples <= nodeX_.size()) return;
    heights_.resize(samples * samples);
    nodeY_.resize(samples);
    nodeX_.resize(samples);
}

std::array<Edge, 4> NodeMesher::EdgesOf(const NodePlan& node) noexcept {
    const int side = 1 << node.level;
    return {borders_.RowFrom(node.x0, node.y0), borders_.ColumnFrom(node.x0 + side, node.y0),
            borders_.ColumnFrom(node.x0, node.y0), borders_.RowFrom(node.x0, node.y0 + side)};
}

void NodeMesher::ResetBorders(std::span<const NodePlan> plans) noexcept {
    for (const NodePlan& node : plans) {
        const std::array<Edge, 4> edges = EdgesOf(node);
        for (std::size_t i = 0; i < edges.size(); ++i) {
            // Whole edges: between its own samples a node reads what finer neighbours left. Those
            // between crossings are read only where one side samples finer than these lie apart.
            const int finest = std::min(1 << node.step, node.neighbourStep[i]);
            MorphHeightGrid::Unset(edges[i], 1 << node.level,
                                   finest >= MorphHeightGrid::kLineDistance);
        }
    }
}

void NodeMesher::LoadExact(const NodePlan& node) noexcept {
    const ElevationGrid::Decimated& grid = elevations_->AtStep(node.step);
    const std::int16_t* corner =
        grid.samples + (node.y0 >> node.step) * grid.pitch + (node.x0 >> node.step);
    const int count = node.Cells() + 1;
    if (elevations_->HasNull()) {
        ToHeights<true>(*elevations_, corner, grid.pitch, count, heights_.data());
    } else {
        ToHeights<false>(*elevations_, corner, grid.pitch, count, heights_.data());
    }
}

float NodeMesher::ExactAt(int step, int x, int y) const noexcept {
    const ElevationGrid::Decimated& grid = elevations_->AtStep(step);
    const std::int16_t value = grid.samples[std::clamp(y >> step, 0, grid.rows - 1) * grid.pitch +
                                            std::clamp(x >> step, 0, grid.columns - 1)];
    return elevations_->HasNull() && value == elevations_->NullMark() ? elevations_->Minimum()
                                                                      : static_cast<float>(value);
}

void NodeMesher::Morph(const NodePlan& node) noexcept {
    const int cells = node.Cells();
    const double linePart = static_cast<double>(node.fraction * 0.5F);
    const double exactPart = static_cast<double>(1.0F - node.fraction);
    const std::array<Edge, 4> edges = EdgesOf(node);
    const std::ptrdiff_t pitch = cells + 1;
    LoadExact(node);
    const std::array<float*, 4> starts = {heights_.data(), heights_.data() + cells, heights_.data(),
                                          heights_.data() + cells * pitch};
    const std::array<std::ptrdiff_t, 4> pitches = {1, pitch, pitch, 1};
    if (cells == 1) {
        MorphCorners(node, exactPart, linePart);
    } else {
        for (std::size_t i = 0; i < edges.size(); ++i) {
            MorphEdge(edges[i], starts[i], pitches[i], cells, node.step, exactPart, linePart);
        }
        if (node.fraction > 0.0F) MorphInterior(cells, exactPart, linePart);
        KeepInteriorCrossings(node);
    }
    for (std::size_t i = 0; i < edges.size(); ++i) {
        if (node.neighbourStep[i] < 1 << node.step) {
            FillEdge(edges[i], starts[i], pitches[i], cells, node.step, node.neighbourStep[i]);
        }
    }
}

void NodeMesher::MorphInterior(int cells, double exactPart, double linePart) noexcept {
    const std::ptrdiff_t pitch = cells + 1;
    float* row = heights_.data();
    for (int j = 1; j < cells; ++j) {
        row += pitch;
        if (j % 2 == 0) {
            for (int i = 1; i < cells; i += 2) {
                row[i] = Blend(exactPart, row[i], linePart, row[i - 1], row[i + 1]);
            }
            continue;
        }
        // Cells are cut from their lower left to their upper right corner, and so is the morph.
        const float* above = row - pitch;
        const float* below = row + pitch;
        for (int i = 1; i < cells; i += 2) {
            row[i] = Blend(exactPart, row[i], linePart, below[i - 1], above[i + 1]);
        }
        for (int i = 2; i < cells; i += 2) {
            row[i] = Blend(exactPart, row[i], linePart, above[i], below[i]);
        }
    }
}

void NodeMesher::MorphCorners(const NodePlan& node, double exactPart, double linePart) noexcept {
    // Where a quadrant, or a corner by its quadrant's number, lies in a square.
    static constexpr std::array<int, 4> kRight = {0, 1, 1, 0};
    static constexpr std::array<int, 4> kDown = {0, 0, 1, 1};
    static constexpr std::array<std::size_t, 4> kOrder = {0, 3, 1, 2};
    const int side = 1 << node.level;
    const auto quadrant = static_cast<std::size_t>(node.quadrant);
    for (const std::size_t corner : kOrder) {
        const int x = node.x0 + kRight[corner] * side;
        const int y = node.y0 + kDown[corner] * side;
        float& own = heights_.data()[2 * kDown[corner] + kRight[corner]];
        float& shared = borders_.Crossing(x, y);
        const bool alongX = kRight[corner] != kRight[quadrant];
        const bool alongY = kDown[corner] != kDown[quadrant];
        if (shared == MorphHeightGrid::kUnset && (alongX || alongY)) {
            // The corner is the middle of an edge of the parent's cell, or of its diagonal.
            const int dx = alongX ? side : 0;
            const int dy = alongY ? side : 0;
            const auto shownAt = [&](int atX, int atY) {
                const float height = borders_.NearestCrossing(atX, atY);
                return height == MorphHeightGrid::kUnset ? ExactAt(node.step, atX, atY) : height;
            };
            own = Blend(exactPart, own, linePart, shownAt(x + dx, y - dy), shownAt(x - dx, y + dy));
        }
        Settle(shared, own);
    }
}

void NodeMesher::KeepInteriorCrossings(const NodePlan& node) noexcept {
    const int cells = node.Cells();
    const int perCrossing = std::max(1, MorphHeightGrid::kLineDistance >> node.step);
    const int crossingsPerSample = std::max(1, (1 << node.step) / MorphHeightGrid::kLineDistance);
    const std::ptrdiff_t pitch = cells + 1;
    float* out = &borders_.Crossing(node.x0, node.y0);
    for (int j = perCrossing; j < cells; j += perCrossing) {
        out += borders_.CrossingPitch() * crossingsPerSample;
        const float* row = heights_.data() + j * pitch;
        float* place = out;
        for (int i = perCrossing; i < cells; i += perCrossing) {
            place += crossingsPerSample;
            *place = row[i];
        }
    }
}

struct NodeMesher::Frame {
    const NodePlan& node;
    TerrainSink& sink;
    float scale;
    int cells;
    std::array<Edge, 4> edges;
};

Vec3f* NodeMesher::Begin(PrimitiveKind kind, int vertices) {
    primitive_.kind = kind;
    primitive_.vertices.Clear();
    return primitive_.vertices.Extend(static_cast<std::uint32_t>(vertices));
}

void NodeMesher::Emit(const NodePlan& node, float verticalScale, TerrainSink& sink) {
    const Frame frame{node, sink, verticalScale, node.Cells(), EdgesOf(node)};
    const int n = frame.cells;
    const int s = 1 << node.step;
    const float* x = worldX_.data() + node.x0;
    const float* y = worldY_.data() + node.y0;
    for (int i = 0; i <= n; ++i) {
        nodeX_[static_cast<std::size_t>(i)] = x[i << node.step];
        nodeY_[static_cast<std::size_t>(i)] = y[i << node.step];
    }
    const auto [top, right, left, bottom] = node.neighbourStep;
    if (n == 1) return EmitCell(frame, 0, 0, node.neighbourStep);

    EmitCell(frame, 0, 0, {top, s, left, s});
    EmitCell(frame, n - 1, 0, {top, right, s, s});
    EmitCell(frame, n - 1, n - 1, {s, right, s, bottom});
    EmitCell(frame, 0, n - 1, {s, s, left, bottom});
    for (int j = 1; j < n - 1; ++j) EmitRow(frame, 1, n - 1, j);
    if (s > top) {
        for (int i = 1; i < n - 1; ++i) EmitCell(frame, i, 0, {top, s, s, s});
    } else {
        EmitRow(frame, 1, n - 1, 0);
    }
    if (s > right) {
        for (int j = 1; j < n - 1; ++j) EmitCell(frame, n - 1, j, {s, right, s, s});
    } else {
        EmitColumn(frame, n - 1);
    }
    if (s > left) {
        for (int j = 1; j < n - 1; ++j) EmitCell(frame, 0, j, {s, s, left, s});
    } else {
        EmitColumn(frame, 0);
    }
    if (s > bottom) {
        for (int i = 1; i < n - 1; ++i) EmitCell(frame, i, n - 1, {s, s, s, bottom});
    } else {
        EmitRow(frame, 1, n - 1, n - 1);
    }
}

/// A strip over the cells of a row, from the samples of column `first` to those of column `last`.
void NodeMesher::EmitRow(const Frame& frame, int first, int last, int row) {
    const std::ptrdiff_t pitch = frame.cells + 1;
    const float* upper = heights_.data() + row * pitch;
    const float* lower = upper + pitch;
    const float* x = nodeX_.data();
    const float upperY = nodeY_[static_cast<std::size_t>(row)];
    const float lowerY = nodeY_[static_cast<std::size_t>(row) + 1];
    const float scale = frame.scale;
    Vec3f* out = Begin(PrimitiveKind::Strip, 2 * (last - first + 1));
    for (int i = first; i <= last; ++i, out += 2) {
        out[0] = {x[i], upperY, upper[i] * scale};
        out[1] = {x[i], lowerY, lower[i] * scale};
    }
    frame.sink.DrawTerrainMesh(primitive_);
}

/// A strip down the cells of a column, without the first and the last cell.
void NodeMesher::EmitColumn(const Frame& frame, int column) {
    const std::ptrdiff_t pitch = frame.cells + 1;
    const float* heights = heights_.data() + column;
    const float leftX = nodeX_[static_cast<std::size_t>(column)];
    const float rightX = nodeX_[static_cast<std::size_t>(column) + 1];
    Vec3f* out = Begin(PrimitiveKind::Strip, 2 * (frame.cells - 1));
    for (int j = 1; j < frame.cells; ++j, out += 2) {
        const float y = nodeY_[static_cast<std::size_t>(j)];
        const float* pair = heights + j * pitch;
        out[0] = {leftX, y, pair[0] * frame.scale};
        out[1] = {rightX, y, pair[1] * frame.scale};
    }
    frame.sink.DrawTerrainMesh(primitive_);
}

/// One cell. @param steps  of its neighbours, by side
void NodeMesher::EmitCell(const Frame& frame, int column, int row, const Sides& steps) {
    const int s = 1 << frame.node.step;
    if (std::ranges::any_of(steps, [s](int step) { return step < s; })) {
        return EmitFan(frame, column, row, steps);
    }
    const std::ptrdiff_t pitch = frame.cells + 1;
    const float* upper = heights_.data() + row * pitch + column;
    const float* lower = upper + pitch;
    const float* x = nodeX_.data() + column;
    const float* y = nodeY_.data() + row;
    Vec3f* out = Begin(PrimitiveKind::Strip, 4);
    out[0] = {x[0], y[0], upper[0] * frame.scale};
    out[1] = {x[0], y[1], lower[0] * frame.scale};
    out[2] = {x[1], y[0], upper[1] * frame.scale};
    out[3] = {x[1], y[1], lower[1] * frame.scale};
    frame.sink.DrawTerrainMesh(primitive_);
}

/// The same as a ring about the middle of the cell's diagonal, with all vertices of finer
/// neighbours.
void NodeMesher::EmitFan(const Frame& frame, int column, int row, const Sides& steps) {
    const NodePlan& node = frame.node;
    const int s = 1 << node.step;
    const std::ptrdiff_t pitch = frame.cells + 1;
    const float* upper = heights_.data() + row * pitch + column;
    const float* lower = upper + pitch;
    const int x0 = column * s;  // in the node
    const int y0 = row * s;
    const float* x = worldX_.data() + node.x0;
    const float* y = worldY_.data() + node.y0;
    const float scale = frame.scale;
    Sides by{};
    int count = 2;
    for (std::size_t i = 0; i < by.size(); ++i) {
        by[i] = std::min(s, steps[i]);
        count += s / by[i];
    }
    Vec3f* const fan = Begin(PrimitiveKind::Fan, count);
    fan[0] = {x[x0 + s / 2], y[y0 + s / 2], (upper[1] + lower[0]) * 0.5F * scale};
    Vec3f* out = fan + 1;
    const auto put = [&out, scale](float atX, float atY, float height) {
        *out++ = {atX, atY, height * scale};
    };
    put(x[x0], y[y0], upper[0]);
    for (int o = by[NodePlan::kTop]; o < s; o += by[NodePlan::kTop]) {
        put(x[x0 + o], y[y0], frame.edges[NodePlan::kTop].At(x0 + o));
    }
    put(x[x0 + s], y[y0], upper[1]);
    for (int o = by[NodePlan::kRight]; o < s; o += by[NodePlan::kRight]) {
        put(x[x0 + s], y[y0 + o], frame.edges[NodePlan::kRight].At(y0 + o));
    }
    put(x[x0 + s], y[y0 + s], lower[1]);
    for (int o = s - by[NodePlan::kBottom]; o > 0; o -= by[NodePlan::kBottom]) {
        put(x[x0 + o], y[y0 + s], frame.edges[NodePlan::kBottom].At(x0 + o));
    }
    put(x[x0], y[y0 + s], lower[0]);
    for (int o = s - by[NodePlan::kLeft]; o > 0; o -= by[NodePlan::kLeft]) {
        put(x[x0], y[y0 + o], frame.edges[NodePlan::kLeft].At(y0 + o));
    }
    *out = fan[1];
    frame.sink.DrawTerrainMesh(primitive_);
}

}  // namespace tarnvale
