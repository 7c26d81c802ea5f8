#include "simulator/actionpoints.h"

#include <algorithm>

namespace tarnvale {

int ActionPoints::Add(const Vec3f& position, float radius) {
    const auto place = std::ranges::find_if(points_, &Point::removed);
    const Point point{position, radius};
    if (place == points_.end()) {
        points_.push_back(point);
        return static_cast<int>(points_.size()) - 1;
    }
    *place = point;
    return static_cast<int>(place - points_.begin());
}

bool ActionPoints::Remove(int index) {
    if (index < 0 || index >= static_cast<int>(points_.size()) || points_[index].removed)
        return false;
    points_[index].removed = true;
    return true;
}

void ActionPoints::Visit(const Vec3f& viewer, const std::function<void(int)>& entered) {
    // By index: what `entered` adds must not move the point that is looked at.
    for (int i = 0; i < static_cast<int>(points_.size()); ++i) {
        if (points_[i].removed) continue;
        const bool inside = Length(viewer - points_[i].position) <= points_[i].radius;
        const bool came = inside && !points_[i].inside;
        points_[i].inside = inside;
        if (came) entered(i);
    }
}

}  // namespace tarnvale
