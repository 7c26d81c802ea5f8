#pragma once

#include "terrain/elevgrid.h"
#include "terrain/nodelevelmap.h"
#include "terrain/qtmesh.h"
#include "terrain/qtmorphs.h"
#include "terrain/qtselect.h"
#include "terrain/quadtree.h"

namespace tarnvale {

/// What a QuadtreeMorphTerrain holds while it is open. Stays in one place: the mesher works on the
/// elevations.
struct QuadtreeMorphTerrain::Terrain {
    ElevationGrid elevations;
    QuadtreeHierarchy hierarchy;
    NodeLevelMap levels;
    NodeSelector selector;
    NodeMesher mesher;
    /// Range of the elevations as held here: rounding to whole units may have moved them beyond the
    /// raster's own range.
    float lowest = 0, highest = 0;
};

}  // namespace tarnvale
