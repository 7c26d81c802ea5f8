#include "tools/buildmap.h"

#include <cpl_error.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace tarnvale {

namespace {

constexpr double kNowhere = std::numeric_limits<double>::quiet_NaN();
/// A straight map may be off by this much of a pixel.
constexpr double kStraightTolerance = 0.01;

std::shared_ptr<OGRCoordinateTransformation> Conversion(const OGRSpatialReference& from,
                                                        const OGRSpatialReference& to) {
    return std::shared_ptr<OGRCoordinateTransformation>(
        OGRCreateCoordinateTransformation(&from, &to),
        [](OGRCoordinateTransformation* t) { OGRCoordinateTransformation::DestroyCT(t); });
}

void Convert(OGRCoordinateTransformation* conversion, std::span<PixelPoint> points) {
    if (conversion == nullptr || points.empty()) return;
    std::vector<double> x(points.size()), y(points.size());
    std::vector<int> good(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        x[i] = points[i].x;
        y[i] = points[i].y;
    }
    conversion->Transform(static_cast<int>(points.size()), x.data(), y.data(), nullptr,
                          good.data());
    for (std::size_t i = 0; i < points.size(); ++i) {
        const bool found = good[i] != 0 && std::isfinite(x[i]) && std::isfinite(y[i]);
        points[i] = found ? PixelPoint{x[i], y[i]} : PixelPoint{kNowhere, kNowhere};
    }
}

}  // namespace

std::optional<GeoTransform> Inverse(const GeoTransform& t) {
    const double determinant = t.xColumn * t.yRow - t.xRow * t.yColumn;
    if (!(std::abs(determinant) > 0) || !std::isfinite(determinant)) return std::nullopt;
    GeoTransform back;
    back.xColumn = t.yRow / determinant;
    back.xRow = -t.xRow / determinant;
    back.yColumn = -t.yColumn / determinant;
    back.yRow = t.xColumn / determinant;
    back.xOrigin = -(t.xOrigin * back.xColumn + t.yOrigin * back.xRow);
    back.yOrigin = -(t.xOrigin * back.yColumn + t.yOrigin * back.yRow);
    return back;
}

Status PixelMap::Create(const TargetGrid& target, const InputRaster& raster, PixelMap& out) {
    PixelMap made;
    made.target_ = target.Georeference();
    made.raster_ = raster.Georeference();
    const auto targetInverse = Inverse(made.target_);
    const auto rasterInverse = Inverse(made.raster_);
    if (!targetInverse || !rasterInverse) {
        return _SetErrPosn(
            StatusCode::BadState,
            raster.Path() + " has a georeference that puts all its pixels on a line");
    }
    made.targetInverse_ = *targetInverse;
    made.rasterInverse_ = *rasterInverse;
    if (!SameSystem(target.system, raster.System())) {
        CPLErrorReset();
        made.toRaster_ = Conversion(target.system, raster.System());
        made.toTarget_ = Conversion(raster.System(), target.system);
        if (!made.toRaster_ || !made.toTarget_) {
            return _SetErrPosn(StatusCode::BadState,
                               fmt::format("{} can't be brought from {} to {}", raster.Path(),
                                           SystemName(raster.System()), SystemName(target.system)));
        }
    }
    if (made.toRaster_ && raster.System().IsGeographic() != 0) {
        made.middleLongitude_ = Apply(made.raster_, raster.Columns() * 0.5, raster.Rows() * 0.5).x;
    }
    out = std::move(made);
    return StatusCode::Ok;
}

void PixelMap::Forward(std::span<PixelPoint> points) const {
    if (straight_) {
        for (PixelPoint& p : points) p = Apply(*straight_, p.x, p.y);
        return;
    }
    for (PixelPoint& p : points) p = Apply(target_, p.x, p.y);
    Convert(toRaster_.get(), points);
    if (middleLongitude_) {
        // Conversions answer within half a turn of Greenwich; rasters count from 0 to 360 too, or
        // go on beyond 180.
        for (PixelPoint& p : points) {
            p.x = *middleLongitude_ + std::remainder(p.x - *middleLongitude_, 360.0);
        }
    }
    for (PixelPoint& p : points) p = Apply(rasterInverse_, p.x, p.y);
}

PixelPoint PixelMap::Forward(double x, double y) const {
    PixelPoint point{x, y};
    Forward(std::span(&point, 1));
    return point;
}

PixelPoint PixelMap::Backward(double x, double y) const {
    PixelPoint point = Apply(raster_, x, y);
    Convert(toTarget_.get(), std::span(&point, 1));
    return Apply(targetInverse_, point.x, point.y);
}

std::optional<GeoTransform> PixelMap::StraightOver(int columns, int rows) const {
    constexpr int kSteps = 8;
    const PixelPoint origin = Forward(0, 0);
    const PixelPoint right = Forward(columns, 0);
    const PixelPoint down = Forward(0, rows);
    const GeoTransform straight{
        origin.x, (right.x - origin.x) / columns, (down.x - origin.x) / rows,
        origin.y, (right.y - origin.y) / columns, (down.y - origin.y) / rows};
    std::vector<PixelPoint> points;
    for (int j = 0; j <= kSteps; ++j) {
        for (int i = 0; i <= kSteps; ++i) {
            points.push_back({static_cast<double>(i) * columns / kSteps,
                              static_cast<double>(j) * rows / kSteps});
        }
    }
    std::vector<PixelPoint> exact = points;
    Forward(exact);
    for (std::size_t i = 0; i < points.size(); ++i) {
        const PixelPoint guess = Apply(straight, points[i].x, points[i].y);
        const double off = std::max(std::abs(guess.x - exact[i].x), std::abs(guess.y - exact[i].y));
        if (!(off < kStraightTolerance)) return std::nullopt;
    }
    return straight;
}

std::optional<PixelScale> ScaleAt(const PixelMap& map, double x, double y) {
    std::array<PixelPoint, 4> p{{{x - 0.5, y}, {x + 0.5, y}, {x, y - 0.5}, {x, y + 0.5}}};
    map.Forward(p);
    const double xx = p[1].x - p[0].x, xy = p[3].x - p[2].x;
    const double yx = p[1].y - p[0].y, yy = p[3].y - p[2].y;
    const PixelScale scale{std::hypot(xx, xy), std::hypot(yx, yy), std::abs(xx * yy - xy * yx)};
    if (!(scale.area > 0) || !std::isfinite(scale.x) || !std::isfinite(scale.y))
        return std::nullopt;
    return scale;
}

}  // namespace tarnvale
