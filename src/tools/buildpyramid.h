#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "base/progress.h"
#include "base/status.h"
#include "base/types.h"
#include "tools/buildresample.h"
#include "zpf/zpfwriter.h"

namespace tarnvale {

/// One tile before it is encoded, kTileSide x kTileSide cells whatever part of them is on the
/// raster.
struct RawTile {
    std::vector<std::byte> cells;  ///< as EncodeTile takes them; cells without data are padding
    std::vector<std::uint8_t>
        mask;  ///< 255 where there is data, else 0; empty for a raster without mask
    Coverage coverage = Coverage::Empty;
};

/// Makes tiles of a raster's full resolution. Thread: one at a time.
class TileReader {
public:
    virtual ~TileReader() = default;
    /// @param x, y           first cell
    /// @param width, height  cells on the raster, 1 to kTileSide
    /// @param tile           out; its buffers have the right size and hold an earlier tile
    virtual Status Read(int x, int y, int width, int height, RawTile& tile) = 0;
};

/// What a raster is made of. Thread: NewReader on any, one at a time.
class TileSource {
public:
    virtual ~TileSource() = default;
    virtual Status NewReader(std::unique_ptr<TileReader>& reader) const = 0;
    /// @return tiles of full resolution that may hold data, far sides exclusive
    [[nodiscard]] virtual IntRect Tiles(int columns, int rows) const;
    /// Most threads that may read at once, and whether each should go along the rows of tiles: so
    /// that imagery stored in long strips isn't decoded again and again.
    [[nodiscard]] virtual int MostReaders() const { return 1 << 16; }
    [[nodiscard]] virtual bool ReadsAlongRows() const { return false; }
};

struct PyramidReport {
    long long tiles = 0;      ///< stored, all levels
    long long baseTiles = 0;  ///< stored, full resolution
};

/// Writes a raster with all its levels. Tiles are read, encoded and halved on all cores, each
/// coarser tile as soon as its four are there, so that only a few rows of tiles are in memory; this
/// thread stores what comes. Each level's pixels are the average of four of the finer one, masked
/// ones left out.
/// @param raster  object made with `spec`
/// @return the source's or the writer's error; Cancelled
Status WritePyramid(ZPF::PROJECTWRITER& writer, int raster, const ZPF::RasterSpec& spec,
                    const TileSource& source, std::string_view text, Progress& progress,
                    PyramidReport& report);

/// Levels of a pyramid that ends in a single tile.
[[nodiscard]] int LevelsFor(int columns, int rows);

/// Cores that this process may use.
[[nodiscard]] int WorkerCount();

}  // namespace tarnvale
