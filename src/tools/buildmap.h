#pragma once

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "base/status.h"
#include "tools/buildinput.h"

namespace tarnvale {

/// A north-up grid in a CRS: what a raster of the landscape is to be.
struct TargetGrid {
    OGRSpatialReference system;
    double xMin = 0, yMax = 0;             ///< outer corner of the first, north-western cell
    double cellWidth = 1, cellHeight = 1;  ///< both above 0, units of the CRS
    int columns = 0, rows = 0;

    [[nodiscard]] GeoTransform Georeference() const {
        return {xMin, cellWidth, 0, yMax, 0, -cellHeight};
    }
};

struct PixelPoint {
    double x = 0, y = 0;  ///< NaN where there is no such place
};

/// From positions on a target grid (cells; (0, 0) is the outer corner of the first one) to
/// positions on a raster (pixels, counted likewise). Thread: one at a time.
class PixelMap {
public:
    /// @return BadState where the two systems can't be converted to each other, or the raster's
    ///         georeference has no inverse
    static Status Create(const TargetGrid& target, const InputRaster& raster, PixelMap& out);

    [[nodiscard]] PixelPoint Forward(double x, double y) const;
    /// From the raster to the target grid.
    [[nodiscard]] PixelPoint Backward(double x, double y) const;
    void Forward(std::span<PixelPoint> points) const;

    /// The map where it is straight over a grid of that size to a hundredth of a pixel, however the
    /// two CRS are spelled: position = (x0 + x * xColumn + y * xRow, ...).
    [[nodiscard]] std::optional<GeoTransform> StraightOver(int columns, int rows) const;
    /// Uses StraightOver's answer from now on.
    void Straighten(const GeoTransform& straight) { straight_ = straight; }
    [[nodiscard]] const std::optional<GeoTransform>& Straight() const { return straight_; }

private:
    GeoTransform target_, targetInverse_, raster_, rasterInverse_;
    std::shared_ptr<OGRCoordinateTransformation> toRaster_,
        toTarget_;  // null where nothing changes
    std::optional<GeoTransform> straight_;
    /// Degrees, in the raster's own count; of a geographic raster that places are converted to.
    std::optional<double> middleLongitude_;
};

/// @return nothing if the transform has no inverse
[[nodiscard]] std::optional<GeoTransform> Inverse(const GeoTransform& transform);
[[nodiscard]] constexpr PixelPoint Apply(const GeoTransform& t, double x, double y) {
    return {t.xOrigin + x * t.xColumn + y * t.xRow, t.yOrigin + x * t.yColumn + y * t.yRow};
}

/// How many raster pixels one target cell spans at a place, along the raster's columns and rows.
struct PixelScale {
    double x = 1, y = 1;
    double area = 1;  ///< raster pixels in one target cell
};
[[nodiscard]] std::optional<PixelScale> ScaleAt(const PixelMap& map, double x, double y);

}  // namespace tarnvale
