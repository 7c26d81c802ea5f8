#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/vec3f.h"

namespace tarnvale {

/// Axis-parallel box; empty until something is added.
struct Box {
    double xMin = std::numeric_limits<double>::max(), yMin = xMin;
    double xMax = std::numeric_limits<double>::lowest(), yMax = xMax;
    double zMin = xMin, zMax = xMax;

    [[nodiscard]] bool Empty() const noexcept { return xMin > xMax; }
    void Add(const Box& other) noexcept {
        xMin = std::min(xMin, other.xMin);
        yMin = std::min(yMin, other.yMin);
        zMin = std::min(zMin, other.zMin);
        xMax = std::max(xMax, other.xMax);
        yMax = std::max(yMax, other.yMax);
        zMax = std::max(zMax, other.zMax);
    }
    void AddPoint(double x, double y) noexcept {
        xMin = std::min(xMin, x);
        yMin = std::min(yMin, y);
        xMax = std::max(xMax, x);
        yMax = std::max(yMax, y);
    }
    [[nodiscard]] double CentreX() const noexcept { return (xMin + xMax) * 0.5; }
    [[nodiscard]] double CentreY() const noexcept { return (yMin + yMax) * 0.5; }
    /// @return distance from a point to the farthest corner
    [[nodiscard]] double FarthestCorner(const Vec3f& from) const noexcept {
        const double dx = std::max(std::abs(xMin - from.x), std::abs(xMax - from.x));
        const double dy = std::max(std::abs(yMin - from.y), std::abs(yMax - from.y));
        const double dz = std::max(std::abs(zMin - from.z), std::abs(zMax - from.z));
        return std::sqrt(dx * dx + dy * dy + dz * dz);
    }
};

}  // namespace tarnvale
