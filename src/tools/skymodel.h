#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/progress.h"

namespace tarnvale {

/// The skies that come with the program.
enum class StandardSky : std::uint8_t { ClearNoon, BrokenCloud, Sunset, StarryNight };

struct StandardSkyText {
    StandardSky sky;
    const char *name, *description;  ///< of the raster object
};
inline constexpr std::array<StandardSkyText, 4> kStandardSkies{{
    {StandardSky::ClearNoon, "Clear noon", "blue sky, the sun in the south"},
    {StandardSky::BrokenCloud, "Broken cloud", "white clouds with blue gaps"},
    {StandardSky::Sunset, "Sunset", "low sun in the south under high clouds"},
    {StandardSky::StarryNight, "Starry night", "stars and the Milky Way, no moon"},
}};

/// Paints a sky: columns from north (left edge) by east to south (right edge), rows from the zenith
/// to the horizon. Where the sun stands aside of the zenith it stands at the right edge, and the
/// other half of the sky is the mirror image; else both halves are alike, and the edges match.
/// The same on every run, whatever the number of threads.
/// @param columns, rows  at least 2 each
/// @return red, green, blue bytes, row-major. Throws std::bad_alloc.
[[nodiscard]] std::vector<std::uint8_t> PaintSky(StandardSky sky, int columns, int rows);

}  // namespace tarnvale
