#pragma once

#include <nlohmann/json.hpp>

#include "base/status.h"
#include "base/types.h"

namespace tarnvale {

/// Describes everything that a project file holds, and what of it makes a landscape:
/// `file`, `size_bytes`, `valid`; `extent` of what can be flown over (`xmin` ... `zmax`, in the map
/// coordinates of the first terrain, from the first to the last sample, metres), null without a
/// terrain; `objects`, the tree; `terrains`, each with its textures; `fits`, for each pair of an
/// elevation raster and a texture whether and why they belong together.
/// @return the store's error where the file can't be opened
Status DescribeFile(const FILEPATH& path, nlohmann::ordered_json& description);

}  // namespace tarnvale
