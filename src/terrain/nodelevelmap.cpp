#include "terrain/nodelevelmap.h"

#include <algorithm>
#include <cstddef>

namespace tarnvale {

void NodeLevelMap::Create(int columns, int rows) {
    levels_.assign(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows), kNothing);
    columns_ = columns;
    rows_ = rows;
}

void NodeLevelMap::Clear() noexcept {
    std::ranges::fill(levels_, kNothing);
}

void NodeLevelMap::Fill(int x, int y, int side, std::uint8_t level) noexcept {
    const int x0 = std::max(x, 0);
    const int x1 = std::min(x + side, columns_);
    if (x1 <= x0) return;
    for (int row = std::max(y, 0); row < std::min(y + side, rows_); ++row) {
        std::fill_n(levels_.begin() + static_cast<std::ptrdiff_t>(row) * columns_ + x0, x1 - x0,
                    level);
    }
}

int NodeLevelMap::SmallestInRow(int x, int y, int count) const noexcept {
    if (y < 0 || y >= rows_) return -1;
    std::uint8_t smallest = kNothing;
    const std::uint8_t* row = levels_.data() + static_cast<std::ptrdiff_t>(y) * columns_;
    for (int i = std::max(x, 0); i < std::min(x + count, columns_); ++i) {
        smallest = std::min(smallest, row[i]);
    }
    return smallest == kNothing ? -1 : smallest;
}

int NodeLevelMap::SmallestInColumn(int x, int y, int count) const noexcept {
    if (x < 0 || x >= columns_) return -1;
    std::uint8_t smallest = kNothing;
    for (int i = std::max(y, 0); i < std::min(y + count, rows_); ++i) {
        smallest = std::min(smallest, levels_[static_cast<std::size_t>(i) * columns_ + x]);
    }
    return smallest == kNothing ? -1 : smallest;
}

}  // namespace tarnvale
