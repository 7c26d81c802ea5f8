#include "simulator/userunits.h"

#include "base/settings.h"
#include "geom/units.h"

namespace tarnvale {

namespace {

UserUnit UnitOf(UnitClass kind, int number) {
    UserUnit unit;
    if (!GetUnitConversion(kind, 0, number, unit.factor).Good()) number = 0;  // not one of ours
    unit.symbol = GetUnitSymbol(kind, number);
    return unit;
}

}  // namespace

UserUnit UserUnitFor(UnitUse use) {
    switch (use) {
        case UnitUse::Distance:
            return UnitOf(UnitClass::Length, settings::DistanceUnits.Get());
        case UnitUse::Elevation:
            return UnitOf(UnitClass::Length, settings::ElevationUnits.Get());
        case UnitUse::Angle:
            return UnitOf(UnitClass::Angle, settings::AngleUnits.Get());
        case UnitUse::Velocity:
            return UnitOf(UnitClass::Velocity, settings::VelocityUnits.Get());
    }
    return {};
}

}  // namespace tarnvale
