#pragma once

#include "base/status.h"
#include "tools/builddem.h"

namespace tarnvale {

/// Closes holes in the elevations from what lies around them. What reaches the border stays without
/// elevation: there nobody knows how it goes on. Counts and range of `heights` are brought up to
/// date.
/// @return ReadFailed where GDAL can't
Status FillHoles(TerrainHeights& heights);

}  // namespace tarnvale
