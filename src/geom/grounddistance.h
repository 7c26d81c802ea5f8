#pragma once

#include "geom/crslist.h"

namespace tarnvale {

/// @return metres along the shortest way on the WGS 84 ellipsoid
[[nodiscard]] double GroundDistance(const GeographicPlace& from, const GeographicPlace& to);

}  // namespace tarnvale
