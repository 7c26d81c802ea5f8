#pragma once

#include <memory>

#include "tools/builddem.h"
#include "tools/buildpyramid.h"

namespace tarnvale {

/// Most pixels of the longer side of a painted texture, unless asked for otherwise, and how many
/// doublings of pixels to a cell it gets below that.
inline constexpr int kPaintedSide = 8192, kPaintedDoublings = 2;

/// A texture painted by height, green valleys to white summits, blue where there is no land, with
/// the light from the north-west.
/// @param heights  borrowed
/// @param grid     of the texture, over the heights' whole grid
[[nodiscard]] std::unique_ptr<TileSource> PaintedTiles(const TerrainHeights& heights,
                                                       const TargetGrid& grid);

}  // namespace tarnvale
