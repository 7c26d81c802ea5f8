#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "graphics/rendermesh.h"
#include "terrain/elevgrid.h"
#include "terrain/morphheights.h"
#include "terrain/qtselect.h"
#include "terrain/terrainmodel.h"

namespace tarnvale {

/// Turns selected nodes into heights and triangles, one node at a time, coarsest first. Works on
/// one elevation grid, on loan, which must outlive it.
class NodeMesher {
public:
    /// May throw std::bad_alloc.
    void Create(const ElevationGrid& elevations, const QuadtreeShape& shape);
    /// Makes room for the finest of `plans`, so that Morph and Emit allocate nothing. May throw
    /// std::bad_alloc.
    void Reserve(std::span<const NodePlan> plans);
    /// Forgets the heights along the borders of all nodes, whatever they were drawn with before.
    void ResetBorders(std::span<const NodePlan> plans) noexcept;

    /// Computes the heights of a node: exact at each second sample, the others between those and
    /// their own elevation by the node's fraction, so that at 1 they lie on the triangles of the
    /// next coarser step. On the border, what another node has put there stays.
    void Morph(const NodePlan& node) noexcept;
    /// Sends the node that was morphed last: strips, and fans where a side meets a finer neighbour.
    void Emit(const NodePlan& node, float verticalScale, TerrainSink& sink);

private:
    using Sides = std::array<int, 4>;
    struct Frame;  // what the primitives of one node share
    [[nodiscard]] std::array<MorphHeightGrid::Edge, 4> EdgesOf(const NodePlan& node) noexcept;
    void LoadExact(const NodePlan& node) noexcept;
    void MorphInterior(int cells, double exactPart, double linePart) noexcept;
    void MorphCorners(const NodePlan& node, double exactPart, double linePart) noexcept;
    void KeepInteriorCrossings(const NodePlan& node) noexcept;
    [[nodiscard]] float ExactAt(int step, int x, int y) const noexcept;
    [[nodiscard]] Vec3f* Begin(PrimitiveKind kind, int vertices);
    void EmitRow(const Frame& frame, int first, int last, int row);
    void EmitColumn(const Frame& frame, int column);
    void EmitCell(const Frame& frame, int column, int row, const Sides& steps);
    void EmitFan(const Frame& frame, int column, int row, const Sides& steps);

    const ElevationGrid* elevations_ = nullptr;
    MorphHeightGrid borders_;
    std::vector<float> worldX_, worldY_;  // of each sample's column and row
    std::vector<float> heights_;          // of the node morphed last, row-major, unscaled
    std::vector<float> nodeX_, nodeY_;    // world places of its columns and rows
    TerrainPrimitive primitive_;
};

}  // namespace tarnvale
