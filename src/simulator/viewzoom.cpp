#include "simulator/viewzoom.h"

#include <algorithm>

namespace tarnvale {

namespace {

constexpr float kLeastField = 5, kFullField = 45, kFieldStep = 5;  // degrees
constexpr float kExtentsStep = 0.8F, kLeastExtents = 1, kFullExtents = 100;
constexpr float kLeastWidth = 25;  // scene units across the map: its eye is then some 30 above it

}  // namespace

float ZoomedField(float degrees, ViewZoom zoom) {
    if (zoom == ViewZoom::Full) return kFullField;
    const float step = zoom == ViewZoom::In ? -kFieldStep : kFieldStep;
    return std::clamp(degrees + step, kLeastField, kFullField);
}

float ZoomedExtents(float percent, float longer, ViewZoom zoom) {
    if (zoom == ViewZoom::Full) return kFullExtents;
    const float least = longer > 0
                            ? std::clamp(kLeastWidth / longer * 100, kLeastExtents, kFullExtents)
                            : kFullExtents;
    const float wanted = zoom == ViewZoom::In ? percent * kExtentsStep : percent / kExtentsStep;
    return std::clamp(wanted, least, kFullExtents);
}

}  // namespace tarnvale
