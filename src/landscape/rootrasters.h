#pragma once

#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "base/status.h"
#include "geom/transgen.h"
#include "zpf/zpffile.h"
#include "zpf/zpfraster.h"

namespace tarnvale {

/// What decides whether a raster is a terrain or a texture, and of which terrain.
struct RootRaster {
    int number = kNoObject;
    ZPF::RasterHeader header;
    bool elevation = false;  ///< a terrain by its type
    bool texture = false;    ///< a texture by its type and colour map
    GeoTransform place;
    int system = -1;  ///< of the place, in the survey's own count; -1 without a georeference
};

/// The rasters at the root of a file, each looked at once. A file may hold some ten thousand
/// rasters, each in a system of its own, and to chain two systems takes some ten milliseconds; so
/// there are limits, far above any landscape that somebody would fly over.
class RootRasters {
public:
    static constexpr int kMostRasters = 4096;
    static constexpr int kMostPairs = 16384;  ///< of an elevation raster and a texture
    static constexpr int kMostLinks = 32;     ///< between unlike coordinate reference systems

    /// Rasters that don't open are left out.
    /// @return FileRefused beyond a limit, and there are then no rasters
    Status Read(const ZPF::FILEHANDLE& file);
    [[nodiscard]] std::span<const RootRaster> All() const noexcept { return rasters_; }

    /// Whether a raster here is a texture of an elevation raster here.
    /// @param why  set to one clause that says why, or why not, for tools that explain a file; may
    /// be null
    /// @return FileRefused beyond the limit of links
    Status TextureFits(const RootRaster& dem, const RootRaster& texture, bool& fits, QNSTRING* why);

private:
    Status Refuse(const char* what, int most) const;
    Status ReadOne(const ZPF::FILEHANDLE& file, int number);
    /// @param link  null where no conversion leads from the one system to the other
    Status FindLink(int from, int to, const TransGen*& link);

    FILEPATH path_;
    std::vector<RootRaster> rasters_;
    std::vector<COORDREFSYS> systems_;
    std::map<std::pair<int, int>, std::optional<TransGen>> links_;  // map to map
};

/// Whether a raster can be a terrain by its data type.
[[nodiscard]] bool IsElevationType(ZPF::RasterType type);
/// Whether a raster can be a texture: composite colour, or 8-bit with a colour map.
[[nodiscard]] bool IsTextureCandidate(const ZPF::FILEHANDLE& file, int number,
                                      ZPF::RasterType type);

}  // namespace tarnvale
