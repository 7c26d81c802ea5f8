#include "landscape/texturedomain.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace tarnvale {

namespace {

/// Beyond this no pixel position is meant seriously, and 32-bit integers stay safe.
constexpr double kFarthestPixel = 1 << 28;

/// To the nearest integer, halves up.
int Round(double value) {
    return static_cast<int>(std::floor(value + 0.5));
}

/// The step that one side of the box snaps to, as a power of two.
int SnapStep(int domainSide, int rasterSide) {
    const auto log = [](int side) {
        return IntegerLog2(static_cast<std::uint32_t>(std::max(1, side / 256)), LogRounding::Up);
    };
    return 1 << std::max(2, log(domainSide) - log(rasterSide));
}

int Snap(int value, int step) {
    return Round(std::floor(static_cast<double>(value) / step + 0.5) * step);
}

int NearestPowerOfTwo(int side) {
    return 1 << Round(std::log2(static_cast<double>(side)));
}

}  // namespace

int IntegerLog2(std::uint32_t value, LogRounding rounding) {
    if (value == 0) return 255;
    const int count = value > 0x80000000U ? 31 : std::bit_width(value - 1);
    if (rounding == LogRounding::Up || value == std::uint32_t{1} << count) return count;
    return count - 1;
}

Status DomainOf(const PixelConversion& toPixels, int columns, int rows, int rasterColumns,
                int rasterRows, TextureDomain& domain) {
    const std::array<std::array<double, 2>, 4> centres{
        {{0.5, 0.5}, {columns - 0.5, 0.5}, {columns - 0.5, rows - 0.5}, {0.5, rows - 0.5}}};
    std::array<double, 2> least{kFarthestPixel, kFarthestPixel};
    std::array<double, 2> most{-kFarthestPixel, -kFarthestPixel};
    for (auto [x, y] : centres) {
        if (!toPixels(x, y)) {
            return _SetErrPosn(StatusCode::BadState,
                               "the terrain's corners can't be converted to the texture's "
                               "coordinate system; reproject one of the two");
        }
        if (!(std::abs(x) < kFarthestPixel && std::abs(y) < kFarthestPixel)) {
            return _SetErrPosn(StatusCode::BadState,
                               "the terrain's corners lie absurdly far from the texture; check "
                               "the georeference of both");
        }
        least = {std::min(least[0], x), std::min(least[1], y)};
        most = {std::max(most[0], x), std::max(most[1], y)};
    }
    TextureDomain made;
    made.x0 = Round(least[0] + 1e-10);
    made.x1 = Round(most[0] + 1e-10);
    made.y0 = Round(least[1] + 1e-10);
    made.y1 = Round(most[1] + 1e-10);
    if (made.x1 <= made.x0 || made.y1 <= made.y0) {
        return _SetErrPosn(StatusCode::BadState,
                           "the terrain covers less than one texture pixel; use finer imagery");
    }
    made.width = NearestPowerOfTwo(made.x1 - made.x0);
    made.height = NearestPowerOfTwo(made.y1 - made.y0);
    const int xStep = SnapStep(made.width, rasterColumns);
    const int yStep = SnapStep(made.height, rasterRows);
    made.x0 = Snap(made.x0, xStep);
    made.x1 = Snap(made.x1, xStep);
    made.y0 = Snap(made.y0, yStep);
    made.y1 = Snap(made.y1, yStep);
    made.xOffset = -made.x0;
    made.yOffset = -made.y0;
    made.rasterColumns = rasterColumns;
    made.rasterRows = rasterRows;
    domain = made;
    return StatusCode::Ok;
}

Status ComputeTextureDomain(const TransGen& terrain, int columns, int rows,
                            const GeoTransform& raster, const COORDREFSYS& system,
                            int rasterColumns, int rasterRows, TextureDomain& domain) {
    TransGen toPixels = terrain;
    if (!TransGenSetOutputGrid(toPixels, raster, system).Good()) {
        return _SetErrPosn(StatusCode::BadState,
                           "the texture's georeference can't be chained to the terrain's");
    }
    const auto convert = [&](double& x, double& y) {
        return TransGenConvPointFwd(toPixels, x, y).Good();
    };
    return DomainOf(convert, columns, rows, rasterColumns, rasterRows, domain);
}

}  // namespace tarnvale
