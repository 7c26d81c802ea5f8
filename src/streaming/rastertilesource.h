#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "base/types.h"
#include "graphics/graphicssystem.h"
#include "streaming/colorprofile.h"
#include "streaming/pixelconverter.h"
#include "streaming/tilesource.h"
#include "terrain/terrainmodel.h"
#include "zpf/zpffile.h"
#include "zpf/zpfraster.h"

namespace tarnvale {

/// Held for the read of one whole tile by every loader of the process.
[[nodiscard]] std::mutex& RasterReadLock();

/// Tiles of a texture raster of a landscape file: from the raster's own pyramid where it has the
/// level, else by point samples of the nearest finer one. Opens a file handle of its own.
class RasterTileSource final : public TileSource {
public:
    /// @param item      a raster object; @param terrain  what it is to lie on
    /// @param side      of a tile in pixels; @param format  of the pixels wanted
    /// @return the store's error; BadState without a georeference, for an unusable domain, or for
    ///         cells that aren't a picture
    Status Open(const ZPFObjectItem& item, const TerrainModel& terrain, int side,
                TexturePixelFormat format);

    [[nodiscard]] const TextureDomain& Domain() const override { return domain_; }
    [[nodiscard]] bool HasPixels(const TileEntry& tile) const override;
    /// A stored tile that can't be decoded leaves its pixels blank.
    [[nodiscard]] TileRead Read(const TileEntry& tile, std::span<std::byte> pixels) override;

private:
    struct Level {
        ZPF::RASTERHANDLE raster;
        ZPF::RASTERHANDLE mask;  // open or not
    };
    /// How a tile is read: pixels of its level, and where they stand in the level they come from.
    struct Plan {
        Level* level = nullptr;
        int stride = 1;                // pixels of `level` for one of the tile
        int xRaster = 0, yRaster = 0;  // the raster's first pixel, in pixels of the tile's level
        int left = 0, top = 0;         // the tile's first pixel
        IntRect part;                  // of the tile that the raster covers, far sides exclusive
    };

    Status OpenLevels(const ZPF::RASTERHANDLE& base);
    void OpenMask(Level& level) const;
    void DescribeNull(const ZPF::RasterHeader& header);
    /// @return false if the raster doesn't reach the tile at all
    [[nodiscard]] bool MakePlan(const TileEntry& tile, Plan& plan) const;
    /// Reads what lies in one stored tile. @return false if it can't be decoded
    [[nodiscard]] bool ReadPiece(const Plan& plan, const IntRect& piece,
                                 std::span<std::byte> pixels);
    void FinishMask(std::span<const std::byte> cells, std::span<std::uint8_t> mask) const;

    ZPF::FILEHANDLE file_;
    std::vector<std::unique_ptr<Level>> levels_;  // by level index, null where there is none
    TextureDomain domain_;
    int side_ = 0;
    PixelConverter converter_;
    std::unique_ptr<ColorProfile> profile_;
    bool hasNull_ = false;
    std::array<std::byte, 4> nullCell_{};  // as many bytes as a cell has
    std::vector<std::byte> cells_;         // of one stored tile
    std::vector<std::uint8_t> mask_;       // of one stored tile, then of one line: 0 or 255
};

}  // namespace tarnvale
