#pragma once

#include <cstdint>
#include <string>

namespace tarnvale {

/// What a number measures, as far as the user has chosen a unit for it.
enum class UnitUse : std::uint8_t { Distance, Elevation, Angle, Velocity };

struct UserUnit {
    double factor = 1;   ///< shown = kept x factor; kept are metres, degrees, metres a second
    std::string symbol;  ///< as it stands beside a number
};

/// The user's unit. Thread: main thread only, as all settings.
[[nodiscard]] UserUnit UserUnitFor(UnitUse use);

}  // namespace tarnvale
