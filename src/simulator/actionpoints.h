#pragma once

#include <functional>
#include <vector>

#include "base/vec3f.h"

namespace tarnvale {

/// Spheres in the scene that tell when the viewer comes in.
class ActionPoints {
public:
    /// Takes the place of the first removed point. @return its index
    int Add(const Vec3f& position, float radius);
    /// @return false if there is no such point
    bool Remove(int index);
    void Clear() noexcept { points_.clear(); }
    /// Calls `entered` for each point that the viewer came into since the last call, in index
    /// order.
    void Visit(const Vec3f& viewer, const std::function<void(int)>& entered);

private:
    struct Point {
        Vec3f position;
        float radius = 0;
        bool removed = false, inside = false;
    };
    std::vector<Point> points_;
};

}  // namespace tarnvale
