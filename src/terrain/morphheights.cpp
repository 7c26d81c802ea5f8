#include "terrain/morphheights.h"

#include <algorithm>

namespace tarnvale {

void MorphHeightGrid::Create(int columns, int rows) {
    columns_ = columns;
    rows_ = rows;
    crossingPitch_ = (columns - 1) / kLineDistance + 1;
    const std::ptrdiff_t crossingRows = (rows - 1) / kLineDistance + 1;
    rowPitch_ = columns;
    columnPitch_ = rows;
    const auto block = [](std::ptrdiff_t lines, std::ptrdiff_t pitch) {
        return std::vector<float>(static_cast<std::size_t>(lines * pitch), kUnset);
    };
    crossings_ = block(crossingRows, crossingPitch_);
    rowLines_ = block(crossingRows, rowPitch_);
    columnLines_ = block(crossingPitch_, columnPitch_);
}

float MorphHeightGrid::NearestCrossing(int x, int y) const noexcept {
    return crossings_[std::clamp(y, 0, rows_ - 1) / kLineDistance * crossingPitch_ +
                      std::clamp(x, 0, columns_ - 1) / kLineDistance];
}

void MorphHeightGrid::Unset(const Edge& edge, int length, bool crossingsOnly) noexcept {
    for (int i = 0; i <= length / kLineDistance; ++i) edge.crossings_[i * edge.stride_] = kUnset;
    if (!crossingsOnly) std::fill_n(edge.others_, length, kUnset);
}

}  // namespace tarnvale
