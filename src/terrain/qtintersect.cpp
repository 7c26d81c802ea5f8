#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "terrain/qtmorphs.h"
#include "terrain/qtterrain.h"

namespace tarnvale {
namespace {

/// A ray in grid columns, rows and scene heights, and the stretch of it inside the elevation box.
class Ray {
public:
    Ray(const Vec3d& from, const Vec3d& to)
        : from_(from), way_{to.x - from.x, to.y - from.y, to.z - from.z} {}

    /// Cuts the stretch to a box. @return false if nothing is left
    [[nodiscard]] bool Clip(double columns, double rows, double low, double high) {
        if (!Slab(from_.x, way_.x, 0.0, columns) || !Slab(from_.y, way_.y, 0.0, rows)) return false;
        const double before = first_;
        const double after = last_;
        if (!Slab(from_.z, way_.z, low, high)) return false;
        // Where it meets floor or ceiling its height is theirs, whatever rounding makes of t.
        if (first_ > before) entryHeight_ = way_.z > 0.0 ? low : high;
        if (last_ < after) exitHeight_ = way_.z > 0.0 ? high : low;
        return first_ <= last_;
    }
    [[nodiscard]] bool Vertical() const { return way_.x == 0.0 && way_.y == 0.0; }
    [[nodiscard]] double First() const { return first_; }
    [[nodiscard]] double Last() const { return last_; }
    /// Stretch of t that crosses one cell.
    [[nodiscard]] double Step() const { return 1.0 / std::sqrt(way_.x * way_.x + way_.y * way_.y); }
    [[nodiscard]] Vec3d At(double t) const {
        Vec3d p = {from_.x + t * way_.x, from_.y + t * way_.y, from_.z + t * way_.z};
        if (t == first_ && entryHeight_) p.z = *entryHeight_;
        if (t == last_ && exitHeight_) p.z = *exitHeight_;
        return p;
    }

private:
    [[nodiscard]] bool Slab(double from, double way, double low, double high) {
        if (way == 0.0) return from >= low && from <= high;
        const double atLow = (low - from) / way;
        const double atHigh = (high - from) / way;
        first_ = std::max(first_, std::min(atLow, atHigh));
        last_ = std::min(last_, std::max(atLow, atHigh));
        return true;
    }

    Vec3d from_, way_;
    double first_ = 0.0;
    double last_ = 1.797693134862e308;
    std::optional<double> entryHeight_, exitHeight_;
};

bool Finite(const Vec3d& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

/// Walks from cell to cell until the ray meets the ground or changes sides with it.
/// @param ground  height of the ground under a point, scene units
template <typename Ground>
std::optional<Vec3d> Walk(const Ray& ray, const Ground& ground) {
    const double step = ray.Step();
    double t = ray.First();
    Vec3d before = ray.At(t);
    double groundBefore = ground(before);
    if (before.z == groundBefore) return before;
    const bool above = before.z > groundBefore;
    while (t < ray.Last()) {
        const double next = t + step < ray.Last() && t + step > t ? t + step : ray.Last();
        const Vec3d p = ray.At(next);
        const double g = ground(p);
        if (p.z == g) return p;
        if ((p.z > g) != above) {
            const double f = 1.0 / ((p.z - g) / (groundBefore - before.z) + 1.0);
            return Vec3d{before.x + (p.x - before.x) * f, before.y + (p.y - before.y) * f,
                         before.z + (p.z - before.z) * f};
        }
        t = next;
        before = p;
        groundBefore = g;
    }
    return std::nullopt;
}

}  // namespace

bool QuadtreeMorphTerrain::Intersect(const Vec3d& a, const Vec3d& b, const COORDREFSYS& system,
                                     Vec3d& hit) const {
    if (!open_) return false;
    std::optional<TransGen> other;  // only where it is needed: making one takes memory
    const TransGen* transform = &transform_;
    if (system.Wkt() != transform_.OutputCoordRefSys().Wkt()) {
        other = transform_;
        if (!TransGenSetOutputMapCoordRefSys(*other, system).Good()) return false;
        transform = &*other;
    }
    Vec3d from = a;
    Vec3d to = b;
    if (!TransGenConvPointInv(*transform, from.x, from.y).Good() ||
        !TransGenConvPointInv(*transform, to.x, to.y).Good() || !Finite(from) || !Finite(to)) {
        return false;
    }
    const ElevationGrid& grid = terrain_->elevations;
    const double scale = static_cast<double>(VerticalScale());
    Ray ray(from, to);
    if (!ray.Clip(grid.Columns(), grid.Rows(), static_cast<double>(terrain_->lowest) * scale,
                  static_cast<double>(terrain_->highest) * scale)) {
        return false;
    }
    const auto elevationUnder = [&grid](const Vec3d& p) {
        return static_cast<double>(grid.ElevationNear(p.x + 0.5, p.y + 0.5));
    };
    Vec3d met;
    if (ray.Vertical()) {
        met = {static_cast<double>(grid.NearestColumn(from.x + 0.5)),
               static_cast<double>(grid.NearestRow(from.y + 0.5)), elevationUnder(from)};
    } else {
        const std::optional<Vec3d> found =
            Walk(ray, [&](const Vec3d& p) { return elevationUnder(p) * scale; });
        if (!found) return false;
        met = {found->x, found->y, found->z / scale};
    }
    if (!TransGenConvPointFwd(*transform, met.x, met.y).Good()) return false;
    hit = met;
    return true;
}

}  // namespace tarnvale
