#pragma once

#include <cstdint>
#include <vector>

namespace tarnvale {

/// How finely each part of the terrain is meshed in this view: one byte for each finest-level node,
/// the logarithm of the step of the selected node that covers it.
class NodeLevelMap {
public:
    static constexpr std::uint8_t kNothing = 255;  ///< no selected node here

    /// May throw std::bad_alloc. @param columns, rows  nodes of the finest level
    void Create(int columns, int rows);
    void Clear() noexcept;
    /// Fills a square, cut to the map.
    void Fill(int x, int y, int side, std::uint8_t level) noexcept;
    /// @return the smallest level of `count` places from (x, y) on along the row; -1 where the run
    /// lies
    ///         outside the map or meets nothing
    [[nodiscard]] int SmallestInRow(int x, int y, int count) const noexcept;
    [[nodiscard]] int SmallestInColumn(int x, int y, int count) const noexcept;

private:
    int columns_ = 0, rows_ = 0;
    std::vector<std::uint8_t> levels_;
};

}  // namespace tarnvale
