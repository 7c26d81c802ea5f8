#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "tools/buildgrid.h"
#include "tools/buildoptions.h"
#include "tools/buildpyramid.h"

namespace tarnvale {

/// How an image is to lie over a terrain.
struct ImagePlan {
    std::string path;
    TargetGrid grid;  ///< the whole terrain, in texture pixels
    BandPlan bands;
    bool masked = false;     ///< there are, or may be, pixels without data
    bool copied = false;     ///< pixels are taken as they are
    IntRect tiles;           ///< that may hold data, far sides exclusive
    bool alongRows = false;  ///< stored in strips
    int mostReaders = 1;
    std::vector<std::string> notes;
};

/// @param terrain   samples' grid
/// @param assigned  as for InputRaster::Open
/// @return InputRaster::Open's errors; BadState for bands that aren't there, or without any overlap
Status PlanImage(const TextureRequest& request, const TargetGrid& terrain, int textureSize,
                 const OGRSpatialReference* assigned, ImagePlan& plan);

/// @param plan      borrowed
/// @param assigned  borrowed, may be null
[[nodiscard]] std::unique_ptr<TileSource> ImageTiles(const ImagePlan& plan,
                                                     const OGRSpatialReference* assigned);

}  // namespace tarnvale
