#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/demo_grid.h"

namespace tarnvale::demo {

/// Where water goes: each cell hands its water to one of its eight neighbours, or keeps it (an
/// end).
class Flow {
public:
    explicit Flow(int side);

    /// Sends each cell to the neighbour through which the lowest way out leads, across pits too.
    /// @param ends  cells that keep their water: not 0. Where there is none, the border's cells do.
    /// After it, Filled() holds the heights with every pit filled to its brim.
    void Flood(const Grid<float>& heights, const Grid<std::uint8_t>& ends);

    /// Sends each cell to its steepest neighbour below, a little at random so that few valleys run
    /// straight. A cell without a lower neighbour keeps the neighbour it had.
    void Descend(const Grid<float>& heights, const Grid<std::uint8_t>& ends, std::uint32_t seed,
                 const Workers& workers);

    /// Adds up the water of all cells above each cell, itself included, and sorts the cells.
    /// @param rain  each cell's own water; empty: 1
    void Gather(const Grid<float>& rain, const Workers& workers);

    /// After Gather: cuts down each cell to the lowest above it, so that no pit is left.
    void Breach(Grid<float>& heights) const;

    [[nodiscard]] bool IsEnd(std::size_t i) const noexcept { return direction_[i] == kEnd; }
    [[nodiscard]] bool IsDiagonal(std::size_t i) const noexcept {
        return (direction_[i] & 1U) != 0;
    }
    [[nodiscard]] std::size_t Next(std::size_t i) const noexcept {
        return i + static_cast<std::size_t>(offset_[direction_[i]]);
    }
    [[nodiscard]] const Grid<float>& Water() const noexcept { return water_; }
    /// Every cell after all cells above it.
    [[nodiscard]] const std::vector<std::uint32_t>& Order() const noexcept { return order_; }
    [[nodiscard]] const Grid<float>& Filled() const noexcept { return filled_; }

private:
    static constexpr std::uint8_t kEnd = 8;  // 0 to 7: east, then clockwise; odd ones are diagonal

    [[nodiscard]] bool IsInside(int x, int y) const noexcept;
    [[nodiscard]] bool HasNeighbour(int x, int y, std::size_t direction) const noexcept;

    int side_;
    std::ptrdiff_t offset_[9];
    Grid<std::uint8_t> direction_;
    Grid<std::uint8_t> inflows_;
    Grid<float> water_;
    Grid<float> filled_;
    std::vector<std::uint32_t> order_;
};

}  // namespace tarnvale::demo
