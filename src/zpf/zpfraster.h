#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "base/color.h"
#include "base/status.h"
#include "geom/transgen.h"
#include "zpf/zpffile.h"

namespace tarnvale::ZPF {

/// Data types of raster cells; the value is the code stored in the file.
enum class RasterType : std::uint32_t {
    Unsigned1 = 1,
    Unsigned4 = 2,
    Unsigned8 = 4,
    Unsigned32 = 8,
    Unsigned16 = 16,
    Unsigned64 = 32,
    Signed8 = 64,
    Signed16 = 128,
    Signed32 = 256,
    Signed64 = 512,
    Float32 = 1024,
    Float64 = 2048,
    Composite16A = 0x10000,  ///< 5-5-5, one spare bit: red in bits 10 to 14
    Composite16B = 0x20000,  ///< 5-6-5: red in bits 11 to 15
    Composite24A = 0x40000,  ///< bytes blue, green, red
    Composite24B = 0x80000,  ///< bytes red, green, blue
};

[[nodiscard]] bool IsRasterType(std::uint32_t code) noexcept;
/// @return bits of a cell as stored: 1, 4, 8, 16, 24, 32 or 64
[[nodiscard]] int BitsOf(RasterType type) noexcept;
/// @return bytes that a cell takes in a line that ReadLine gives; 1 for 1-bit and 4-bit cells,
/// unpacked
[[nodiscard]] int BytesOf(RasterType type) noexcept;

/// Side of every stored tile, pixels.
inline constexpr int kTileSide = 512;
/// Sizes beyond this in a header are damage.
inline constexpr int kMaximumSide = 1 << 24;

struct RasterHeader {
    int columns = 0, rows = 0;
    RasterType type = RasterType::Unsigned8;
    bool hasNull = false;
    double nullValue = 0;          ///< in raster units, before scale and offset
    double scale = 1, offset = 0;  ///< elevation = value * scale + offset
};

struct RasterStatistics {
    double minimum = 0, maximum = 0;  ///< raster units, null cells left out
};

struct PyramidLevel {
    int factor = 2;          ///< reduction against the base raster
    int object = kNoObject;  ///< raster object of this level
};

enum class LineForm : std::uint8_t {
    Raw = 2,       ///< in the raster's own form, BytesOf(type) a cell, little-endian
    Signed16 = 3,  ///< converted to signed 16-bit: fractions cut off, held at the range's ends
};

using ColorMap = std::array<COLOR, 256>;

/// An open raster object. Decoded tiles are kept for the rows around the last read, so reading a
/// tile's rows one after the other, upward or downward, costs one blob and one decode for each
/// tile. Thread: one thread at a time, together with its file.
class RASTERHANDLE {
public:
    RASTERHANDLE();
    ~RASTERHANDLE();
    RASTERHANDLE(RASTERHANDLE&&) noexcept;
    RASTERHANDLE& operator=(RASTERHANDLE&&) noexcept;

    /// @param number  a raster object, a pyramid level, or a mask
    /// @return NotOpen for a closed file, BadState for no such raster, FileDamaged for absurd sizes
    Status Open(const FILEHANDLE& file, int number);
    void Close();
    [[nodiscard]] bool IsOpen() const noexcept;

    [[nodiscard]] const RasterHeader& Header() const noexcept;

    /// Reads one line of cells. @param out  at least count cells in the form asked for
    /// @return BadState outside the raster; FileDamaged or ReadFailed where a tile can't be
    /// decoded:
    ///         its cells are then zero (and null where the raster has a null value)
    Status ReadLine(int row, int column, int count, std::span<std::byte> out, LineForm form);
    /// Reads a rectangle, `out` row-major without padding, as ReadLine reads each row. Cells of a
    /// tile that can't be decoded are zero (null where there is a null value), the others are
    /// right, and the status tells of the damage.
    Status ReadBlock(int column, int row, int columns, int rows, std::span<std::byte> out,
                     LineForm form);

    /// @return levels with factors 2, 4, 8, ... in rising order; may be empty
    Status GetPyramidList(std::vector<PyramidLevel>& levels) const;
    /// @return object number of the first 1-bit raster of the same size beneath this one, or
    /// kNoObject
    [[nodiscard]] int FindMask() const;
    /// @return ReadFailed without a georeference
    Status GetGeoreference(GeoTransform& transform, COORDREFSYS& system) const;
    /// Size of a cell in metres along columns and rows.
    Status GetCellSize(double& width, double& height) const;
    Status GetStatistics(RasterStatistics& statistics) const;
    /// Colour map last used. @return BadState if the raster has none
    Status ReadColorMap(ColorMap& map) const;
    /// Embedded ICC profile of the imagery; empty if it has none.
    [[nodiscard]] std::vector<std::byte> ReadColorProfile() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace tarnvale::ZPF
