#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"
#include "tools/buildprogress.h"
#include "zpf/zpfwriter.h"

namespace tarnvale {

/// A sky's picture, ready to be stored.
struct SkyImage {
    std::string name, description;  ///< of the raster object
    int columns = 0, rows = 0;
    std::vector<std::uint8_t> rgb;  ///< row-major, zenith first
    std::string note;               ///< what was done to it; may be empty
};

/// Widest picture that a landscape may hold, and widest that a file of skies gets.
inline constexpr int kWidestSkyInside = 2048, kWidestSky = 8192;

/// How skies are stored: JPEG of this quality unless lossless.
struct SkyEncoding {
    bool lossless = false;
    int quality = 92;
};

/// Reads a picture of any format that GDAL reads: colours, a palette or grey; alpha is left out.
/// @param widest  columns; wider ones are scaled down, with a note
/// @return FileNotFound, FileDamaged, FileRefused (less than 2 x 2 pixels, or all of them empty),
///         ReadFailed: the detail tells which file and why
Status ReadSkyImage(const std::string& path, int widest, SkyImage& image);

/// Only looks whether a picture can be opened. @return as ReadSkyImage
Status CheckSkyImage(const std::string& path);

/// Stores a picture with all its levels under `parent`.
/// @return the writer's error; Cancelled
Status WriteSky(ZPF::PROJECTWRITER& writer, int parent, const SkyImage& image,
                const SkyEncoding& encoding, TerminalProgress& progress);

}  // namespace tarnvale
