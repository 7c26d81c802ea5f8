#pragma once

#include <string>

#include "base/status.h"

namespace tarnvale {

class Simulator;

/// Writes the points of interest as a GeoJSON text (RFC 7946), which geographic programs open: a
/// point feature for each, in WGS 84 longitude and latitude with the ground's elevation, and the
/// properties name, color ("#rrggbb") and marker (a shape's key word).
/// @param text  out: untouched on failure
/// @return BadState without a landscape, where its coordinate system isn't known, or where a point
///         lies nowhere on the globe
Status WritePoiText(const Simulator& simulator, std::string& text);

}  // namespace tarnvale
