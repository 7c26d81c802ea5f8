#include "geom/units.h"

#include <proj.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>

#include "base/textres.h"
#include "geom/projcontext.h"

namespace tarnvale {

namespace {

constexpr double kRadiansPerDegree = 0.017453292519943295;
constexpr double kSecondsPerHour = 3600;
constexpr int kMetre = 9001, kDegree = 9102;  // in the database; here they are the internal units

// Units that people use, in the order in which a list shows them, with the keys of their texts.
// Others are called as the database calls them.
struct CommonUnit {
    UnitClass unitClass;
    int number;
    const char *name, *symbol;
};
constexpr auto kCommonUnits = std::to_array<CommonUnit>({
    {UnitClass::Length, kInternalUnit, "unit_metre", "unit_metre_symbol"},
    {UnitClass::Length, 9036, "unit_kilometre", "unit_kilometre_symbol"},
    {UnitClass::Length, 9002, "unit_foot", "unit_foot_symbol"},
    {UnitClass::Length, 9003, "unit_us_foot", "unit_us_foot_symbol"},
    {UnitClass::Length, 9096, "unit_yard", "unit_yard_symbol"},
    {UnitClass::Length, 9093, "unit_mile", "unit_mile_symbol"},
    {UnitClass::Length, 9030, "unit_nautical_mile", "unit_nautical_mile_symbol"},
    {UnitClass::Length, 9014, "unit_fathom", "unit_fathom_symbol"},
    {UnitClass::Length, 1033, "unit_centimetre", "unit_centimetre_symbol"},
    {UnitClass::Length, 1025, "unit_millimetre", "unit_millimetre_symbol"},
    {UnitClass::Angle, kInternalUnit, "unit_degree", "unit_degree_symbol"},
    {UnitClass::Angle, 9105, "unit_gon", "unit_gon_symbol"},
    {UnitClass::Angle, 9101, "unit_radian", "unit_radian_symbol"},
    {UnitClass::Angle, 9103, "unit_arc_minute", "unit_arc_minute_symbol"},
    {UnitClass::Angle, 9104, "unit_arc_second", "unit_arc_second_symbol"},
    {UnitClass::Angle, 9114, "unit_mil", "unit_mil_symbol"},
    {UnitClass::Velocity, kInternalUnit, "unit_metre_second", "unit_metre_second_symbol"},
    {UnitClass::Velocity, kPerHour + 9036, "unit_kilometre_hour", "unit_kilometre_hour_symbol"},
    {UnitClass::Velocity, kPerHour + 9030, "unit_knot", "unit_knot_symbol"},
    {UnitClass::Velocity, kPerHour + 9093, "unit_mile_hour", "unit_mile_hour_symbol"},
    {UnitClass::Velocity, 9002, "unit_foot_second", "unit_foot_second_symbol"},
    {UnitClass::Velocity, 9036, "unit_kilometre_second", "unit_kilometre_second_symbol"},
    {UnitClass::Velocity, kPerHour, "unit_metre_hour", "unit_metre_hour_symbol"},
});

struct RegisteredUnit {
    int number = 0;
    double size = 1;                // internal units
    std::string name, shortName;    // as the database has them
    const CommonUnit* common = {};  // null: none
};

struct UnitListDeleter {
    void operator()(PROJ_UNIT_INFO** list) const noexcept { proj_unit_list_destroy(list); }
};

const CommonUnit* FindCommon(UnitClass unitClass, int number) {
    const auto found = std::ranges::find_if(kCommonUnits, [&](const CommonUnit& unit) {
        return unit.unitClass == unitClass && unit.number == number;
    });
    return found != kCommonUnits.end() ? &*found : nullptr;
}

// The common units first, in their own order.
void Arrange(std::vector<RegisteredUnit>& units) {
    std::ranges::stable_sort(units, [](const RegisteredUnit& a, const RegisteredUnit& b) {
        if (a.common == nullptr || b.common == nullptr) {
            return (a.common != nullptr) != (b.common != nullptr) ? a.common != nullptr
                                                                  : a.name < b.name;
        }
        return a.common < b.common;
    });
}

/// @param category  as the database calls it
/// @param internal  code of the unit that is number 0 here
/// @param size      of the internal unit, in the unit that the database counts in
std::vector<RegisteredUnit> ReadUnits(UnitClass unitClass, const char* category, int internal,
                                      double size) {
    std::vector<RegisteredUnit> units{
        {kInternalUnit, 1, "", "", FindCommon(unitClass, kInternalUnit)}};
    const ProjContext context = NewProjContext();
    int count = 0;
    // Only the registry's own: it numbers them, and some of the others are wrong by a factor of 10.
    const std::unique_ptr<PROJ_UNIT_INFO*, UnitListDeleter> list(
        proj_get_units_from_database(context.get(), "EPSG", category, 0, &count));
    for (int i = 0; list != nullptr && i < count; ++i) {
        const PROJ_UNIT_INFO& unit = *list.get()[i];
        const int number = std::atoi(unit.code);
        // Without a factor it is a way of writing, not a unit. One of the same size says nothing
        // new.
        if (number == internal || !(unit.conv_factor > 0) || unit.conv_factor == size) continue;
        units.push_back({number, unit.conv_factor / size, unit.name,
                         unit.proj_short_name != nullptr ? unit.proj_short_name : unit.name,
                         FindCommon(unitClass, number)});
    }
    Arrange(units);
    return units;
}

std::vector<RegisteredUnit> MakeVelocities(std::span<const RegisteredUnit> lengths) {
    std::vector<RegisteredUnit> units;
    for (const CommonUnit& common : kCommonUnits) {
        if (common.unitClass != UnitClass::Velocity) continue;
        const auto length =
            std::ranges::find(lengths, common.number % kPerHour, &RegisteredUnit::number);
        if (length == lengths.end()) continue;
        const double time = common.number >= kPerHour ? kSecondsPerHour : 1;
        units.push_back({common.number, length->size / time, "", "", &common});
    }
    return units;
}

const std::vector<RegisteredUnit>& UnitsOf(UnitClass unitClass) {
    static const std::vector<RegisteredUnit> lengths =
        ReadUnits(UnitClass::Length, "linear", kMetre, 1);
    static const std::vector<RegisteredUnit> angles =
        ReadUnits(UnitClass::Angle, "angular", kDegree, kRadiansPerDegree);
    static const std::vector<RegisteredUnit> velocities = MakeVelocities(lengths);
    switch (unitClass) {
        case UnitClass::Angle:
            return angles;
        case UnitClass::Velocity:
            return velocities;
        default:
            return lengths;
    }
}

const RegisteredUnit* FindUnit(UnitClass unitClass, int number) {
    const std::vector<RegisteredUnit>& units = UnitsOf(unitClass);
    const auto found = std::ranges::find(units, number, &RegisteredUnit::number);
    return found != units.end() ? &*found : nullptr;
}

std::string SymbolOf(const RegisteredUnit& unit) {
    return unit.common != nullptr ? TEXTRES::Text(unit.common->symbol) : unit.shortName;
}

}  // namespace

std::vector<UnitInfo> GetUnitList(UnitClass unitClass) {
    std::vector<UnitInfo> list;
    for (const RegisteredUnit& unit : UnitsOf(unitClass)) {
        list.push_back({unit.number,
                        unit.common != nullptr ? TEXTRES::Text(unit.common->name) : unit.name,
                        SymbolOf(unit)});
    }
    return list;
}

Status GetUnitConversion(UnitClass unitClass, int from, int to, double& factor) {
    const RegisteredUnit* const source = FindUnit(unitClass, from);
    const RegisteredUnit* const target = FindUnit(unitClass, to);
    if (source == nullptr || target == nullptr) {
        return _SetErrPosn(StatusCode::BadState, "no unit has the number " +
                                                     std::to_string(source == nullptr ? from : to));
    }
    factor = source->size / target->size;
    return StatusCode::Ok;
}

std::string GetUnitSymbol(UnitClass unitClass, int unit) {
    const RegisteredUnit* const found = FindUnit(unitClass, unit);
    return found != nullptr ? SymbolOf(*found) : std::string();
}

}  // namespace tarnvale
