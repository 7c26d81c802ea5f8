#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/status.h"
#include "zpf/zpfraster.h"
#include "zpf/zpfwriter.h"

namespace tarnvale::ZPF {

/// Where the tiles of a raster lie and how they are coded.
enum class TileStore : std::uint8_t {
    Image,     ///< GeoPackage tile pyramid: JPEG or PNG
    Coverage,  ///< GeoPackage gridded coverage: 16-bit PNG, or TIFF of floats
    Own,       ///< zlib streams in the store's own table
};
[[nodiscard]] TileStore StoreOf(RasterType type) noexcept;

/// Longest blob that is taken for a tile, bytes.
inline constexpr std::size_t kLongestTile = 4 << 20;

/// A 16-bit PNG holds numbers from 0 to 65535. How signed cells lie in them:
/// value + 32768, but with a null value null stands at 65535, where other programs look for it, and
/// the highest value stands where null would stand.
class SignedPng {
public:
    explicit SignedPng(const RasterHeader& header);
    [[nodiscard]] std::uint16_t ToPng(std::int16_t cell) const;
    [[nodiscard]] std::int16_t FromPng(std::uint16_t number) const;
    [[nodiscard]] bool HasNull() const { return null_ >= 0; }

private:
    int null_ = -1;  // null + 32768; -1 without
};

/// Turns a tile of raw cells into a blob. @param mask  opacity of each cell, or empty
Status EncodeCells(const RasterSpec& spec, std::span<const std::byte> cells,
                   std::span<const std::uint8_t> mask, std::vector<std::byte>& blob);
/// A mask of a byte a cell as the blob of a 1-bit raster.
Status EncodeMask(std::span<const std::uint8_t> mask, std::vector<std::byte>& blob);

/// Turns a blob into a tile of raw cells. @return FileDamaged, `cells` undefined
/// @param scratch  kept by the caller from tile to tile, so that steady reading allocates little
Status DecodeCells(const RasterHeader& header, std::span<const std::byte> blob,
                   std::span<std::byte> cells, std::vector<std::byte>& scratch);

}  // namespace tarnvale::ZPF
