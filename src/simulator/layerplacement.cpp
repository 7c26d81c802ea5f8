#include "simulator/layerplacement.h"

#include <cmath>

namespace tarnvale {

namespace {

struct Point {
    double x = 0, y = 0;
};

// From the layer's grid to the reference layer's.
bool ToReferenceGrid(const TransGen& own, const TransGen& reference, Point& point) {
    return TransGenConvPointFwd(own, point.x, point.y).Good() &&
           TransGenConvPointInv(reference, point.x, point.y).Good() && std::isfinite(point.x) &&
           std::isfinite(point.y);
}

}  // namespace

LayerPlacement::LayerPlacement(const TerrainModel& layer, const TerrainModel& reference) {
    TransGen own = layer.Transform();
    const COORDREFSYS system = reference.Transform().InputCoordRefSys();
    if (!system.Valid() || !own.InputCoordRefSys().Valid() ||
        !TransGenSetOutputMapCoordRefSys(own, system).Good()) {
        return;
    }
    const double columns = layer.GetColumns(), rows = layer.GetRows();
    std::array<Point, 4> corners{Point{0, 0}, Point{columns, 0}, Point{0, rows},
                                 Point{columns, rows}};
    for (Point& corner : corners) {
        if (!ToReferenceGrid(own, reference.Transform(), corner)) return;
        corner.x *= reference.CellWidth();
        corner.y *= -static_cast<double>(reference.CellHeight());
    }
    const auto& [nw, ne, sw, se] = corners;
    const double width = columns * layer.CellWidth(), height = -rows * layer.CellHeight();
    const double xx = (ne.x - nw.x + se.x - sw.x) / (2 * width);
    const double xy = (ne.y - nw.y + se.y - sw.y) / (2 * width);
    const double yx = (sw.x - nw.x + se.x - ne.x) / (2 * height);
    const double yy = (sw.y - nw.y + se.y - ne.y) / (2 * height);
    const double determinant = xx * yy - xy * yx;
    if (!std::isfinite(determinant) || determinant == 0) return;
    const double xOrigin = (nw.x + ne.x + sw.x + se.x) * 0.25 - (xx * width + yx * height) * 0.5;
    const double yOrigin = (nw.y + ne.y + sw.y + se.y) * 0.25 - (xy * width + yy * height) * 0.5;
    matrix_ = {xx, xy, 0, 0, yx, yy, 0, 0, 0, 0, 1, 0, xOrigin, yOrigin, 0, 1};
    inverse_ = {yy / determinant, -xy / determinant, -yx / determinant,
                xx / determinant, xOrigin,           yOrigin};
}

Vec3f LayerPlacement::ToScene(const Vec3f& own) const {
    return {static_cast<float>(own.x * matrix_[0] + own.y * matrix_[4] + matrix_[12]),
            static_cast<float>(own.x * matrix_[1] + own.y * matrix_[5] + matrix_[13]), own.z};
}

Vec3f LayerPlacement::ToLayer(const Vec3f& scene) const {
    const double x = scene.x - inverse_[4], y = scene.y - inverse_[5];
    return {static_cast<float>(x * inverse_[0] + y * inverse_[2]),
            static_cast<float>(x * inverse_[1] + y * inverse_[3]), scene.z};
}

}  // namespace tarnvale
