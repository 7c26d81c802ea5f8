#pragma once

#include <array>
#include <limits>

#include "base/views.h"

namespace tarnvale {

/// A place of the ground as readouts tell it: in the chosen coordinate system and units.
struct ReadoutPlace {
    bool valid = false;        ///< off: there is none, and the other fields mean nothing
    bool hasDistance = false;  ///< off in the map, whose eye isn't where the viewer is
    double north = 0, east = 0;
    float elevation = 0;
    float distance = 0;  ///< from the eye, without exaggeration
    /// Distance that a neighbouring pixel lies away on the ground, rounded up; -1 where unknown.
    int accuracy = -1;
};

/// What readouts show, in the chosen units. Positions have 64 bits, since 32 would round those of
/// most map systems to half a metre. A value that is no number isn't known.
struct SimulatorReadoutValues {
    static constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

    // In every frame.
    float instantFrameRate = 0, averageFrameRate = 0;  ///< frames a second
    float terrainQuality = 0;                          ///< percent, in force
    float velocity = 0;
    float pitch = 0, roll = 0, heading = 0;  ///< as shown in the main view
    float altitude = 0;                      ///< of the viewer, without exaggeration
    float surfaceElevation = 0;              ///< under the viewer

    // At each refresh, while a window shows them. Positions in the chosen system.
    double viewerNorth = kUnknown, viewerEast = kUnknown;
    ReadoutPlace mouse;
    std::array<ReadoutPlace, View::kCount> centres;  ///< of each open view
    double northExtent = kUnknown, southExtent = kUnknown, eastExtent = kUnknown,
           westExtent = kUnknown;
    float eastWestExtents = 0, northSouthExtents = 0;
    float minimumElevation = 0, maximumElevation = 0;
};

}  // namespace tarnvale
