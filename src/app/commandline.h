#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/types.h"

namespace tarnvale {

/// A view given on the command line; used once, for the first landscape of a run.
struct CommandLineView {
    bool active = false;
    std::array<double, 3> point{};      ///< map x, y and height above the ground
    double azimuth = 0, elevation = 0;  ///< degrees
    double field = 0;                   ///< width of the field in scene units
    double rate = 0;                    ///< degrees a second
    int type = 0;  ///< 0 orbit about the point, 1 turn at the point, else still
};

/// Arguments that are about the start itself and no part of the line below.
struct ProgramFlags {
    bool help = false, version = false;
    bool splash = true;
};

/// Takes `--help`, `-h`, `--version` and `--no-splash` out of the arguments.
[[nodiscard]] ProgramFlags TakeFlags(std::vector<std::string_view>& arguments);

/// Puts the raw line together again from what a shell has taken apart: the argument that is none of
/// our `Key=value` stands in double quotes.
/// @param arguments  without the program's name
[[nodiscard]] std::string JoinCommandLine(std::span<const std::string_view> arguments);

/// Reads `Type=n POI=x,y,z DOV=azimuth,elevation FOV=f Rate=r "file"`.
/// @param file  out: the last non-empty piece between double quotes, so a line without quotes is a
/// file
///              name as a whole
[[nodiscard]] CommandLineView ParseCommandLine(std::string_view line, FILEPATH& file);

}  // namespace tarnvale
