#pragma once

#include "base/progress.h"
#include "base/status.h"
#include "terrain/elevgrid.h"
#include "terrain/quadtree.h"

namespace tarnvale {

/// Fills the vertical errors and elevation ranges of all nodes, on all cores: each sample of a
/// finest node is read once, coarser nodes take the highest and lowest of their children. The error
/// of a step is how much of the node's highest elevation is lost by keeping only each sample at
/// that step, made to grow with the step by more than its last growth. A cheap upper-end estimate:
/// only the highest point counts. Null samples count for nothing.
/// @param elevations  of the size that `hierarchy` was built for
/// @param progress    on loan, may be null
/// @return Cancelled, the tables then being worthless; NoMemory
Status FillErrorTables(const ElevationGrid& elevations, QuadtreeHierarchy& hierarchy,
                       Progress* progress);

/// Turns the highest elevations of the sample sets at steps 1, 2, 4, ... of a node into its errors,
/// in place.
void HighestToErrors(float* table, int count) noexcept;

}  // namespace tarnvale
