#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "landscape/texturedomain.h"

namespace tarnvale {

class TileEntry;

enum class TileRead : std::uint8_t {
    Whole,
    Damaged,  ///< part of it couldn't be decoded and stays blank
    Nothing,  ///< there is nothing to read for this tile
};

/// Where a TileLoader's pixels come from: a raster of a landscape file, or a test's own patterns.
/// Thread: made on the frame cycle's thread; reads come one at a time, from either thread, never at
/// once. Domain and HasPixels are constant and may be called from any thread.
class TileSource {
public:
    virtual ~TileSource() = default;
    [[nodiscard]] virtual const TextureDomain& Domain() const = 0;
    /// Whether any pixel of the source lies in a tile; a tile without is never worth asking for.
    [[nodiscard]] virtual bool HasPixels(const TileEntry& tile) const = 0;
    /// @param pixels  out, all zero on entry: side x side pixels of the target format, bottom row
    ///                first, unpadded
    [[nodiscard]] virtual TileRead Read(const TileEntry& tile, std::span<std::byte> pixels) = 0;
};

}  // namespace tarnvale
