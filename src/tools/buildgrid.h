#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/status.h"
#include "tools/buildinput.h"
#include "tools/buildmap.h"
#include "tools/buildoptions.h"

namespace tarnvale {

/// Fewest and most samples of a side, as powers of two of cells.
inline constexpr int kFewestDoublings = 3, kMostDoublings = 14;

/// The terrain's grid for a DEM.
struct TerrainPlan {
    TargetGrid grid;                 ///< columns, rows: samples
    bool verbatim = false;           ///< the DEM's own grid, sample for sample
    std::vector<std::string> notes;  ///< what was chosen and why, a line each
};

/// Chooses the landscape's CRS for a DEM: the one asked for, the DEM's own if it is projected in
/// metres, else the UTM zone of its centre (a polar one beyond 84 degrees).
/// @param asked  what -t_srs says, or an earlier DEM of the same landscape has; may be null
/// @return BadState where the CRS asked for isn't metric, the DEM's centre has no place on the
/// globe,
///         or all of a DEM is wanted that no zone can hold
Status ChooseSystem(const InputRaster& dem, const OGRSpatialReference* asked,
                    const BuildOptions& options, OGRSpatialReference& system);

/// Chooses area, samples and cells by the rules that the program's help tells.
/// @return BadState where DEM and area don't meet
Status ChooseGrid(const InputRaster& dem, const OGRSpatialReference& system,
                  const BuildOptions& options, TerrainPlan& plan);

/// The grid of texture pixels over a terrain's grid, whose samples' centres it spans.
/// @param doublings  2^doublings pixels for each cell
[[nodiscard]] TargetGrid TextureGrid(const TargetGrid& terrain, int doublings);

/// Doublings of pixels for each cell: `textureSize` pixels on the longer side, or what keeps the
/// image's own resolution.
/// @param pixelsInCell  image pixels that one cell covers
/// @param note  set where the wish couldn't be met
[[nodiscard]] int ChooseDoublings(const TargetGrid& terrain, double pixelsInCell, int textureSize,
                                  std::string& note);

/// Doublings for a side of that many samples, if it is a power of two plus one.
[[nodiscard]] std::optional<int> ExactDoublings(int samples);

}  // namespace tarnvale
