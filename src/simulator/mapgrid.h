#pragma once

#include "base/status.h"
#include "base/vec3f.h"
#include "graphics/rendermesh.h"
#include "terrain/terrainmodel.h"

namespace tarnvale {

/// Draws the flat grid that the map view shows in place of the relief: the part of the terrain that
/// a window of the given size sees from `eye`, in strips at height 0.
/// @param eye            scene of the layer; z above 0
/// @param width, height  pixels
/// @param scratch        kept by the caller so that a steady frame allocates nothing
/// @return BadState on a closed terrain, a field of view or a height not above 0
Status DrawMapGrid(const TerrainModel& terrain, const Vec3f& eye, int width, int height,
                   TerrainPrimitive& scratch, TerrainSink& sink);

}  // namespace tarnvale
