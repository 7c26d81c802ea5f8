#pragma once

#include <string>

#include "base/status.h"
#include "geom/transgen.h"
#include "zpf/zpfraster.h"

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

/// Works out the domain of a texture over a terrain grid.
/// @param terrain  grid to map of the terrain; columns, rows its samples
/// @return BadState without a georeference or where the points can't be converted
Status ComputeTextureDomain(const TransGen& terrain, int columns, int rows,
                            const GeoTransform& raster, const COORDREFSYS& system,
                            int rasterColumns, int rasterRows, TextureDomain& domain);

/// Whether raster T is a texture of elevation raster R.
/// @param why  set to one clause that says why, or why not, for tools that explain a file; may be
/// null
[[nodiscard]] bool TextureFits(const ZPF::RASTERHANDLE& dem, const ZPF::RASTERHANDLE& texture,
                               QNSTRING* why);

/// Whether a raster can be a terrain by its data type.
[[nodiscard]] bool IsElevationType(ZPF::RasterType type);
/// Whether a raster can be a texture: composite colour, or 8-bit with a colour map.
[[nodiscard]] bool IsTextureCandidate(const ZPF::FILEHANDLE& file, int number,
                                      ZPF::RasterType type);

}  // namespace tarnvale
