#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/types.h"

namespace tarnvale {

/// Keyword and text, UTF-8, for the text chunks of a picture.
using PictureTexts = std::vector<std::pair<std::string, std::string>>;

/// Writes a PNG without alpha.
/// @param rgba  width x height pixels of four bytes, top row first
/// @return false if it can't be written whole; what was begun is removed
[[nodiscard]] bool WritePicture(const FILEPATH& path, std::span<const std::byte> rgba, int width,
                                int height, const PictureTexts& texts);

}  // namespace tarnvale
