#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/status.h"
#include "zpf/zpfraster.h"

namespace tarnvale::ZPF {

enum class TileEncoding : std::uint8_t {
    Automatic,  ///< elevation: gridded coverage; imagery: JPEG, or PNG where lossless or masked
    Jpeg,
    Lossless,
};

/// What a raster object is to be. Rasters of 8-bit (with a colour map) and composite types become
/// GeoPackage tile pyramids, 16-bit and float ones gridded coverages, the others blobs in our own
/// tables.
struct RasterSpec {
    QNSTRING name;         ///< cut to 16 characters; unique under its parent
    QNSTRING description;  ///< cut to 64 characters
    RasterType type = RasterType::Composite24B;
    int columns = 0, rows = 0;
    GeoTransform georeference;
    COORDREFSYS system;  ///< may be empty: then the raster has no georeference
    bool hasNull = false;
    double nullValue = 0;
    double scale = 1, offset = 0;
    TileEncoding encoding = TileEncoding::Automatic;
    int jpegQuality = 85;                 ///< 1 to 100
    bool hasMask = false;                 ///< a 1-bit raster beneath it, written with the tiles
    std::vector<COLOR> colorMap;          ///< for Unsigned8: at most 256 colours
    std::vector<std::byte> colorProfile;  ///< ICC profile of the imagery; may be empty
    /// Pyramid levels, the base included. Level k is reduced by 2^k: it has as many columns and
    /// rows as the base divided by 2^k, rounded up.
    int levels = 1;
};

/// One encoded tile, ready to be stored.
struct EncodedTile {
    std::vector<std::byte> pixels, mask;  ///< empty: nothing to store, such as a tile of nulls
    double minimum = 0, maximum = 0;  ///< raster units; minimum > maximum where all cells are null
};

/// Writes a new project file. The file appears under its name only by Commit: until then everything
/// lies in a temporary file in the same folder, which the destructor removes.
/// Thread: one, but EncodeTile may run on any number of threads at once.
class PROJECTWRITER {
public:
    PROJECTWRITER();
    ~PROJECTWRITER();
    PROJECTWRITER(const PROJECTWRITER&) = delete;
    PROJECTWRITER& operator=(const PROJECTWRITER&) = delete;

    /// @return WriteFailed where the folder can't be written
    Status Create(const FILEPATH& path);
    /// @return the path of the temporary file, so that a signal handler can remove it
    [[nodiscard]] FILEPATH TemporaryPath() const;

    /// Adds an object; `number` is set to its object number.
    Status AddFolder(int parent, const QNSTRING& name, int& number);
    Status AddText(int parent, const QNSTRING& name, const QNSTRING& text, int& number);
    Status AddRaster(int parent, const RasterSpec& spec, int& number);

    /// Encodes a tile of a raster. Thread: any.
    /// @param cells  kTileSide x kTileSide cells in raw form, row-major, northern row first; tiles
    /// at the
    ///               far sides are padded (with null where the raster has a null value, else best
    ///               with the last column and row repeated, so that no false edge shows in a JPEG)
    /// @param mask   kTileSide x kTileSide bytes, 0 where there is no data; empty without a mask
    [[nodiscard]] static Status EncodeTile(const RasterSpec& spec, int level,
                                           std::span<const std::byte> cells,
                                           std::span<const std::uint8_t> mask, EncodedTile& tile);
    /// Stores a tile of level `level` at tile column, tile row (row 0 north). Each once, in any
    /// order; a tile that is never put reads as null or zero.
    Status PutTile(int raster, int level, int tileColumn, int tileRow, const EncodedTile& tile);
    /// Sets what GetStatistics answers; without it the minimum and maximum of the tiles of level 0
    /// count.
    Status SetStatistics(int raster, const RasterStatistics& statistics);

    /// Flushes to disc and gives the file its name, replacing an old one whole.
    Status Commit();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace tarnvale::ZPF
