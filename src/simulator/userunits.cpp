#include "simulator/userunits.h"

namespace tarnvale {

UserUnit UserUnitFor(UnitUse use) {
    switch (use) {
        case UnitUse::Distance:
        case UnitUse::Elevation:
            return {1, "m"};
        case UnitUse::Angle:
            return {1, "°"};
        case UnitUse::Velocity:
            return {1, "m/s"};
    }
    return {};
}

}  // namespace tarnvale
