#pragma once

#include <cstdint>
#include <string>

namespace tarnvale {

/// How a position in degrees is written, as flags of one word. Where none of the three bases is
/// set, degrees and minutes are meant.
namespace DegreeFlag {
inline constexpr std::int32_t kNorthSouth = 1, kEastWest = 2;  ///< the direction letter, if any
inline constexpr std::int32_t kDirectionBehind = 16;           ///< the letter stands last
inline constexpr std::int32_t kDegrees = 32;                   ///< degrees with five decimals
inline constexpr std::int32_t kMinutes = 64;   ///< degrees, minutes with three decimals
inline constexpr std::int32_t kSeconds = 128;  ///< degrees, minutes, seconds with two decimals
}  // namespace DegreeFlag

/// Rounds to the last place that is written, with its carries: no 60 minutes or seconds. The
/// decimal point is that of the process's locale, letters and signs are text resources.
/// @param degrees  an east-west value beyond 180 is brought into -180 to 180
/// @param flags    of DegreeFlag; without a direction a value below 0 has a minus sign
/// @return empty where `degrees` isn't finite, or so large that degrees mean nothing
[[nodiscard]] std::string ConvertDegsToString(double degrees, std::int32_t flags);

}  // namespace tarnvale
