#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarnvale {

/// A small project file, whole: every raster type with a tile, masks, levels, a colour map and
/// texts.
/// @return empty if it couldn't be made
[[nodiscard]] std::vector<std::byte> SeedFile();

/// One tile of each kind, as stored.
[[nodiscard]] std::vector<std::vector<std::byte>> SeedTiles();

}  // namespace tarnvale
