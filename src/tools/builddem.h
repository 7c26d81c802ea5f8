#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/progress.h"
#include "base/status.h"
#include "tools/buildgrid.h"
#include "tools/buildpyramid.h"

namespace tarnvale {

/// Stored where there is no elevation; data is held between the negative and the positive of 32767.
inline constexpr std::int16_t kNullHeight = -32768;

/// The terrain's elevations in whole metres.
struct TerrainHeights {
    TargetGrid grid;
    std::vector<std::int16_t> heights;  ///< row-major, northern row first
    std::string unit;                   ///< what the DEM's elevations are in, for the user
    long long nulls = 0;                ///< samples without elevation
    long long held = 0;                 ///< samples beyond 16 bits, held at its ends
    int minimum = 0, maximum = 0;       ///< metres; minimum > maximum where all are null
};

/// Reads a DEM onto the plan's grid, on all cores.
/// @param assigned  as for InputRaster::Open
/// @return errors of reading; BadState where DEM and grid don't meet; Cancelled
Status ReadHeights(const InputRaster& dem, const TerrainPlan& plan, VerticalUnit unit,
                   const OGRSpatialReference* assigned, Progress& progress,
                   TerrainHeights& heights);

/// Counts nulls and finds the range of heights.
void Summarise(TerrainHeights& heights);

/// @param heights  borrowed
[[nodiscard]] std::unique_ptr<TileSource> HeightTiles(const TerrainHeights& heights);

}  // namespace tarnvale
