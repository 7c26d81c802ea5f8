#pragma once

#include <cstddef>
#include <limits>
#include <vector>

namespace tarnvale {

/// The heights that are on the screen where nodes meet: unscaled elevations. Neighbours meet here:
/// a shared sample is written once, by whichever node is drawn first, and all others read that
/// value, so that no crack can open. Nodes only ever meet on lines 8 samples apart, so only those
/// lines are kept: the crossings of two lines in one small block, the rows' and the columns' other
/// samples in a block each, so that an edge in either direction lies together in memory. Of the
/// padded size, so that every sample of every node has a place.
class MorphHeightGrid {
public:
    static constexpr float kUnset = std::numeric_limits<float>::lowest();
    static constexpr int kLineDistance = 8;

    /// A run of samples along a line, on loan; o is the offset in samples from its first, a
    /// crossing.
    class Edge {
    public:
        [[nodiscard]] float& At(int o) const noexcept {
            return (o % kLineDistance) != 0 ? others_[o]
                                            : crossings_[(o / kLineDistance) * stride_];
        }

    private:
        friend class MorphHeightGrid;
        Edge(float* crossings, std::ptrdiff_t stride, float* others) noexcept
            : crossings_(crossings), stride_(stride), others_(others) {}
        float* crossings_;
        std::ptrdiff_t stride_;
        float* others_;
    };

    /// All unset. May throw std::bad_alloc. @param columns, rows  samples, a multiple of 8 and one
    /// more
    void Create(int columns, int rows);

    /// @param x, y  multiples of 8
    [[nodiscard]] float& Crossing(int x, int y) noexcept {
        return crossings_[(y / kLineDistance) * crossingPitch_ + x / kLineDistance];
    }
    [[nodiscard]] std::ptrdiff_t CrossingPitch() const noexcept { return crossingPitch_; }
    /// Multiples of 8, held into the grid.
    [[nodiscard]] float NearestCrossing(int x, int y) const noexcept;
    /// Along growing x, or growing y. @param x, y  multiples of 8
    [[nodiscard]] Edge RowFrom(int x, int y) noexcept {
        return {&Crossing(x, y), 1, &rowLines_[(y / kLineDistance) * rowPitch_ + x]};
    }
    [[nodiscard]] Edge ColumnFrom(int x, int y) noexcept {
        return {&Crossing(x, y), crossingPitch_,
                &columnLines_[(x / kLineDistance) * columnPitch_ + y]};
    }
    /// Unsets `length` samples from the edge's first on, and the one at its end.
    /// @param crossingsOnly  leaves out all that aren't crossings
    static void Unset(const Edge& edge, int length, bool crossingsOnly) noexcept;

private:
    int columns_ = 0, rows_ = 0;
    std::ptrdiff_t crossingPitch_ = 0, rowPitch_ = 0, columnPitch_ = 0;
    std::vector<float> crossings_;
    std::vector<float> rowLines_;     // line after line, each along x
    std::vector<float> columnLines_;  // line after line, each along y
};

}  // namespace tarnvale
