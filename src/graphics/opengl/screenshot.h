#pragma once

#include <cstddef>
#include <span>

#include "base/types.h"

namespace tarnvale {

/// Writes a bitmap file of 32 bits a pixel. What can't be opened or written isn't reported: a
/// screen shot must not disturb the flight.
/// @param bgra  width x height pixels in blue, green, red, spare; bottom row first
void WriteBitmap(const FILEPATH& path, std::span<const std::byte> bgra, int width, int height);

}  // namespace tarnvale
