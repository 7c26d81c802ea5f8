#include "streaming/texturemapping.h"

#include <fmt/format.h>

namespace tarnvale {

namespace {

bool IsGridTimesPowerOfTwo(int columns, int rows, int width, int height) {
    const long long across = columns - 1, down = rows - 1;
    for (int k = 0; across > 0 && (across << k) <= width; ++k) {
        if ((across << k) == width && (down << k) == height) return true;
    }
    return false;
}

}  // namespace

Status TerrainTextureMapping::Make(int columns, int rows, float cellWidth, float cellHeight,
                                   int width, int height) {
    *this = {};
    if (columns <= 1 || rows <= 1 || !(cellWidth > 0) || !(cellHeight > 0) || width < 2 ||
        height < 2 || !IsGridTimesPowerOfTwo(columns, rows, width, height)) {
        return _SetErrPosn(
            StatusCode::BadState,
            fmt::format("a texture domain of {} x {} pixels doesn't fit a terrain of {} x {} "
                        "samples; build the texture for this terrain",
                        width, height, columns, rows));
    }
    const float ratio = static_cast<float>(width) / static_cast<float>(columns - 1);
    sx_ = ratio / cellWidth;
    sy_ = -1.0F / cellHeight * ratio;
    ox_ = oy_ = -0.5F * ratio;
    ix_ = cellWidth / ratio;
    iy_ = -1.0F / ratio * cellHeight;
    jx_ = cellWidth * 0.5F;
    jy_ = cellHeight * -0.5F;
    valid_ = true;
    return StatusCode::Ok;
}

}  // namespace tarnvale
