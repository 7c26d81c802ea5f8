#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "base/types.h"
#include "base/vec3f.h"
#include "terrain/nodelevelmap.h"
#include "terrain/quadtree.h"
#include "terrain/viewpyramid.h"

namespace tarnvale {

/// A node that is drawn in a view, and how finely.
struct SelectedNode {
    int level = 0;            ///< level number, 3 the finest
    std::uint32_t index = 0;  ///< row-major in that level
    float key = 0;            ///< morph level m
    int step = 0;             ///< logarithm of the sampling step: whole part of m, at most `level`
    float fraction = 0;       ///< how far on the way to the next coarser step, 0 to 1
    float radius = 0;         ///< on the screen, pixels
    float lambda = 0;         ///< level of the node's own, not yet blended with its parent's
};

/// A selected node as the mesh needs it.
struct NodePlan {
    static constexpr int kNoNeighbour = 0x7FFFFFFF;
    enum Side : std::uint8_t { kTop, kRight, kLeft, kBottom };

    int x0 = 0, y0 = 0;  ///< grid cells
    int level = 0;
    int step = 0;      ///< logarithm
    int quadrant = 0;  ///< in its parent
    float fraction = 0;
    /// Finest sampling step (not its logarithm) along each side beyond it, or kNoNeighbour; by
    /// Side.
    std::array<int, 4> neighbourStep{};

    [[nodiscard]] int Cells() const noexcept { return 1 << (level - step); }
};

/// What the selection depends on, beside the terrain.
struct SelectionView {
    Vec3f eye;                 ///< world
    float fieldOfView = 0;     ///< radians
    float viewportHeight = 0;  ///< pixels
    float pixelTolerance = 0;  ///< greatest vertical error on the screen, pixels
    float verticalScale = 1;
    float cellWidth = 1, cellHeight = 1;
    std::span<const IntRect> regions;  ///< grid cells
    std::span<const float> offsets;    ///< elevations at which the terrain is drawn, for culling
};

/// Cuts through the quadtree for a view: a node is split while it is wider on the screen than a
/// limit, and each node kept gets its sampling step from its error table. A node just split starts
/// with its parent's step and comes into its own as it grows, so nothing jumps. Order of drawing:
/// coarsest first, among equal keys the one found last. Memory is kept from frame to frame.
class NodeSelector {
public:
    static constexpr float kSplitRadius = 90.0F;  // pixels

    /// Makes the selection anew. May throw std::bad_alloc, nothing then being selected.
    /// @param levels  out: the step of each selected node over its square
    void Select(const QuadtreeHierarchy& hierarchy, const SelectionView& view,
                const ViewPyramid& pyramid, NodeLevelMap& levels);
    void Clear() noexcept;

    /// In drawing order.
    [[nodiscard]] std::span<const SelectedNode> Selection() const noexcept { return selection_; }
    [[nodiscard]] std::span<const NodePlan> Plans() const noexcept { return plans_; }

private:
    struct Measure {
        float radius = 0, lambda = 0;
    };
    void Visit(const QuadtreeLevel& level, int column, int row, float parentLambda,
               float parentRadius);
    [[nodiscard]] bool Culled(const QuadtreeLevel& level, int column, int row,
                              std::uint32_t index) const;
    [[nodiscard]] Measure MeasureNode(const QuadtreeLevel& level, int column, int row,
                                      std::uint32_t index) const;
    void Sort();
    void Plan(const QuadtreeHierarchy& hierarchy);

    const SelectionView* view_ = nullptr;  // during Select only, as the next two
    const ViewPyramid* pyramid_ = nullptr;
    NodeLevelMap* levels_ = nullptr;
    std::vector<SelectedNode> found_;
    std::vector<std::uint64_t> order_;
    std::vector<SelectedNode> selection_;
    std::vector<NodePlan> plans_;
};

}  // namespace tarnvale
