#pragma once

#include <filesystem>
#include <list>
#include <string>

namespace tarnvale {

using QNSTRING = std::string;            ///< text, UTF-8
using FILEPATH = std::filesystem::path;  ///< a path with operations on its parts
template <typename T>
using QNLIST = std::list<T>;

/// Rectangle of grid cells or pixels, 32-bit; whether the far side is inclusive is the user's to
/// say.
struct IntRect {
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    friend constexpr bool operator==(const IntRect&, const IntRect&) = default;
};

}  // namespace tarnvale
