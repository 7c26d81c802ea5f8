#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/status.h"
#include "base/types.h"

namespace tarnvale {

class QuadtreeLevel;

/// Names one square of the terrain: a level and a row-major index in it. A value, on loan from the
/// hierarchy. Everything that a handle without a level is asked answers 0, false or another such
/// handle. Lengths and places in grid cells.
class QuadNode {
public:
    QuadNode() = default;
    QuadNode(const QuadtreeLevel* level, std::uint32_t index) noexcept
        : level_(level), index_(index) {}

    [[nodiscard]] const QuadtreeLevel* Level() const noexcept { return level_; }
    [[nodiscard]] std::uint32_t Index() const noexcept { return index_; }
    [[nodiscard]] int Column() const noexcept;
    [[nodiscard]] int Row() const noexcept;
    [[nodiscard]] int LevelNumber() const noexcept;
    [[nodiscard]] int Side() const noexcept;
    /// Samples that the node covers, both ends among them.
    [[nodiscard]] IntRect Rectangle() const noexcept;
    [[nodiscard]] QuadNode Parent() const noexcept;
    /// @param k  0 north-west, 1 north-east, 2 south-east, 3 south-west
    [[nodiscard]] QuadNode Child(int k) const noexcept;
    /// Which child of its parent the node is; 0 on the coarsest level.
    [[nodiscard]] int Quadrant() const noexcept;
    /// @param k  0 to LevelNumber(): the step 2^k
    [[nodiscard]] float Error(int k) const noexcept;
    [[nodiscard]] float MinimumElevation() const noexcept;
    [[nodiscard]] float MaximumElevation() const noexcept;

private:
    const QuadtreeLevel* level_ = nullptr;
    std::uint32_t index_ = 0;
};

/// One grid of equal square nodes. What is known of the nodes stands in arrays of one kind each,
/// row-major.
class QuadtreeLevel {
public:
    static constexpr int kFinest = 3;  ///< a node of the finest level has 8 cells on a side

    /// May throw std::bad_alloc.
    QuadtreeLevel(int number, int columns, int rows);

    [[nodiscard]] int Number() const noexcept { return number_; }
    [[nodiscard]] int Columns() const noexcept { return columns_; }
    [[nodiscard]] int Rows() const noexcept { return rows_; }
    [[nodiscard]] std::uint32_t NodeCount() const noexcept {
        return static_cast<std::uint32_t>(columns_) * static_cast<std::uint32_t>(rows_);
    }
    [[nodiscard]] int NodeSide() const noexcept { return 1 << number_; }
    /// Side of a node in finest-level nodes.
    [[nodiscard]] int MapSpan() const noexcept { return 1 << (number_ - kFinest); }
    [[nodiscard]] std::uint32_t IndexOf(int column, int row) const noexcept {
        return static_cast<std::uint32_t>(row) * static_cast<std::uint32_t>(columns_) +
               static_cast<std::uint32_t>(column);
    }
    [[nodiscard]] const QuadtreeLevel* Coarser() const noexcept { return coarser_; }
    [[nodiscard]] const QuadtreeLevel* Finer() const noexcept { return finer_; }

    /// Number() + 1 vertical errors of a node, elevation units: entry k of keeping each 2^k-th
    /// sample.
    [[nodiscard]] const float* Errors(std::uint32_t index) const noexcept {
        return errors_.data() + static_cast<std::size_t>(index) * ErrorCount();
    }
    [[nodiscard]] float* Errors(std::uint32_t index) noexcept {
        return errors_.data() + static_cast<std::size_t>(index) * ErrorCount();
    }
    [[nodiscard]] std::size_t ErrorCount() const noexcept {
        return static_cast<std::size_t>(number_) + 1;
    }
    /// Lowest and highest elevation of each node; minimum above maximum where a node holds no
    /// sample.
    [[nodiscard]] std::span<float> Minimum() noexcept { return minimum_; }
    [[nodiscard]] std::span<float> Maximum() noexcept { return maximum_; }
    [[nodiscard]] std::span<const float> Minimum() const noexcept { return minimum_; }
    [[nodiscard]] std::span<const float> Maximum() const noexcept { return maximum_; }

private:
    friend class QuadtreeHierarchy;
    int number_, columns_, rows_;
    const QuadtreeLevel* coarser_ = nullptr;
    const QuadtreeLevel* finer_ = nullptr;
    std::vector<float> errors_, minimum_, maximum_;
};

/// How a grid is cut into nodes.
struct QuadtreeShape {
    int levels = 0;                             ///< from number 3 on
    int coarsestColumns = 0, coarsestRows = 0;  ///< nodes
    int paddedColumns = 0, paddedRows = 0;      ///< samples, rounded up to whole coarsest nodes

    /// @param columns, rows  samples of the grid
    /// The coarsest level has at most 64 nodes, but for very long grids. A grid below 9 columns or
    /// 9 rows gets no node.
    [[nodiscard]] static QuadtreeShape For(int columns, int rows) noexcept;
    [[nodiscard]] bool Empty() const noexcept { return coarsestColumns < 1 || coarsestRows < 1; }
    [[nodiscard]] int CoarsestNumber() const noexcept {
        return QuadtreeLevel::kFinest + levels - 1;
    }
};

/// The levels of a terrain, the finest first: level number n stands at n - 3.
class QuadtreeHierarchy {
public:
    QuadtreeHierarchy() = default;
    QuadtreeHierarchy(const QuadtreeHierarchy&) = delete;
    QuadtreeHierarchy& operator=(const QuadtreeHierarchy&) = delete;

    /// Makes the levels anew, tables empty. @return NotBuilt where the grid is too small; NoMemory
    Status Build(int columns, int rows);

    [[nodiscard]] const QuadtreeShape& Shape() const noexcept { return shape_; }
    [[nodiscard]] int Columns() const noexcept { return columns_; }
    [[nodiscard]] int Rows() const noexcept { return rows_; }
    [[nodiscard]] std::span<QuadtreeLevel> Levels() noexcept { return levels_; }
    [[nodiscard]] std::span<const QuadtreeLevel> Levels() const noexcept { return levels_; }
    [[nodiscard]] const QuadtreeLevel& Coarsest() const noexcept { return levels_.back(); }
    [[nodiscard]] QuadNode Node(int levelNumber, std::uint32_t index) const noexcept;

private:
    int columns_ = 0, rows_ = 0;
    QuadtreeShape shape_;
    std::vector<QuadtreeLevel> levels_;
};

}  // namespace tarnvale
