#pragma once

#include <cstdint>
#include <functional>

#include "base/status.h"
#include "geom/transgen.h"

namespace tarnvale {

/// Where a texture raster lies over a terrain: the domain is the rectangle of pixels that holds the
/// whole terrain, a power of two on each side in a landscape that flies; offsets place the raster
/// in it.
struct TextureDomain {
    int width = 0, height = 0;     ///< pixels of the domain
    int xOffset = 0, yOffset = 0;  ///< the raster's first pixel in the domain
    int rasterColumns = 0, rasterRows = 0;
    int x0 = 0, x1 = 0, y0 = 0, y1 = 0;  ///< the snapped box in raster pixels
};

/// The integer logarithm: doublings of 1 until the power reaches `value`, at most 31; one less when
/// the power isn't `value` itself and rounding goes down. 255 for 0.
enum class LogRounding : std::uint8_t { Down, Up };
[[nodiscard]] int IntegerLog2(std::uint32_t value, LogRounding rounding);

/// Brings a place of a terrain's grid to the pixels of a raster. @return false where it can't
using PixelConversion = std::function<bool(double& x, double& y)>;

/// The domain of a raster under a terrain grid of columns by rows samples.
/// @return BadState where the grid's corners can't be converted or make no box of pixels
Status DomainOf(const PixelConversion& toPixels, int columns, int rows, int rasterColumns,
                int rasterRows, TextureDomain& domain);

/// Works out the domain of a texture over a terrain grid.
/// @param terrain  grid to map of the terrain; columns, rows its samples
/// @return BadState without a georeference or where the points can't be converted
Status ComputeTextureDomain(const TransGen& terrain, int columns, int rows,
                            const GeoTransform& raster, const COORDREFSYS& system,
                            int rasterColumns, int rasterRows, TextureDomain& domain);

}  // namespace tarnvale
