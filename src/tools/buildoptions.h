#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/types.h"
#include "tools/buildsky.h"

namespace tarnvale {

/// Unit of a DEM's elevations; Declared is what the DEM says of itself, metres where it says
/// nothing.
enum class VerticalUnit : std::uint8_t { Declared, Metre, Foot, UsSurveyFoot };

struct TextureRequest {
    std::string path;
    std::vector<int> bands;  ///< 1 or 3 of them, from 1; empty for the first three
};

struct DemRequest {
    std::string path;
    std::vector<TextureRequest> textures;  ///< empty: one is painted
};

/// What the command line asks for.
struct BuildOptions {
    std::vector<DemRequest> dems;
    FILEPATH output;
    std::string targetSystem, assignedSystem;   ///< as the user spelled them; may be empty
    std::optional<std::array<double, 4>> area;  ///< xmin, ymin, xmax, ymax: first to last sample
    std::optional<std::array<double, 2>> cell;  ///< metres along x, y
    int size = 0;                               ///< samples of the longer side, 0 to choose
    int textureSize = 0;                        ///< pixels of the longer side, 0 to choose
    VerticalUnit verticalUnit = VerticalUnit::Declared;
    int quality = 85;  ///< of JPEG, 1 to 100
    bool lossless = false;
    std::vector<std::string> skies;  ///< pictures: for the landscape, or for the file of skies
    SkyEncoding skyEncoding;
    bool makesSkyFile = false;   ///< `output` is a file of skies, not a landscape
    bool standardSkies = false;  ///< of those that come with the program
    bool fillVoids = false;
    bool overwrite = false;
    bool quiet = false;
    bool demo = false;
    bool atlas = false;  ///< an atlas beside the landscape
    std::uint32_t seed = 1;
};

/// Parses a command line; long options with one dash, as GDAL spells them, are understood too.
/// Prints help, or one line of error on stderr.
/// @return the exit status where the program is to end, nothing where it is to go on
[[nodiscard]] std::optional<int> ParseBuildOptions(int argc, const char* const* argv,
                                                   BuildOptions& options);

}  // namespace tarnvale
