#pragma once

#include <cstdint>

namespace tarnvale {

enum class ViewZoom : std::uint8_t { Full, In, Out };

/// The custom view's field of view a step further, held to 5 to 45 degrees.
[[nodiscard]] float ZoomedField(float degrees, ViewZoom zoom);

/// The share of the landscape that the map shows, a step further: a fifth less or as much more
/// again, so that a step looks alike at every zoom.
/// @param percent  as it is now
/// @param longer   the landscape's longer side, scene units: the map's eye is kept well above what
///                 is too near to be drawn
/// @return 100 or less
[[nodiscard]] float ZoomedExtents(float percent, float longer, ViewZoom zoom);

}  // namespace tarnvale
