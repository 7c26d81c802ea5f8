#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/status.h"
#include "base/types.h"

namespace tarnvale {

/// Keyword and text, UTF-8, for the text chunks of a picture.
using PictureTexts = std::vector<std::pair<std::string, std::string>>;

enum class RowOrder : std::uint8_t { TopFirst, BottomFirst };

/// Pixels on loan: width x height of four bytes red, green, blue, spare, without padding.
struct PictureView {
    std::span<const std::byte> rgba;
    int width = 0, height = 0;
    RowOrder order = RowOrder::TopFirst;
};

/// Writes a picture file whole or not at all: under a name beside it first, so that an older file
/// of the name stays where writing fails. A bitmap of 32 bits a pixel where the name ends in .bmp
/// in any case of letters, otherwise a PNG without alpha.
/// @param texts  for a PNG; a bitmap has no room for them
/// @return BadState without pixels; WriteFailed, with the system's reason; NoMemory
Status WritePicture(const FILEPATH& path, const PictureView& picture, const PictureTexts& texts);

}  // namespace tarnvale
