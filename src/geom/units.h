#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"

namespace tarnvale {

/// What a unit measures.
enum class UnitClass : std::int32_t { Length = 2, Angle = 3, Velocity = 12 };

/// Numbers of units are kept in settings, so they never change: 0 is the program's own unit of the
/// class (metre, degree, metre per second), others are the codes of the EPSG registry; a velocity
/// has its length's code for a second, and kPerHour more for an hour.
inline constexpr int kInternalUnit = 0;
inline constexpr int kPerHour = 100'000;

struct UnitInfo {
    int number = kInternalUnit;
    std::string name;    ///< in the user's language where it is a common unit
    std::string symbol;  ///< what stands behind a value; the name where there is no symbol
};

/// The units that the coordinate library's database knows, the usual ones first; at least the
/// internal one. Any thread; the database is read on first use, which takes some milliseconds.
[[nodiscard]] std::vector<UnitInfo> GetUnitList(UnitClass unitClass);

/// @param factor  out: what a value in unit `from` is multiplied by to be one in unit `to`
/// @return BadState, `factor` unchanged, for a number that the class doesn't have
Status GetUnitConversion(UnitClass unitClass, int from, int to, double& factor);

/// @return empty for a number that the class doesn't have
[[nodiscard]] std::string GetUnitSymbol(UnitClass unitClass, int unit);

}  // namespace tarnvale
