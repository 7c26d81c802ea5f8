#include "simulator/readoutscale.h"

#include <utility>

#include "base/settings.h"
#include "geom/units.h"

namespace tarnvale {

namespace {

struct QuantityInfo {
    UnitClass unitClass;
    Setting<std::int32_t>* setting;
};

const QuantityInfo& InfoOf(ReadoutQuantity quantity) {
    static const std::array<QuantityInfo, 4> infos = {{
        {UnitClass::Length, &settings::DistanceUnits},
        {UnitClass::Length, &settings::ElevationUnits},
        {UnitClass::Angle, &settings::AngleUnits},
        {UnitClass::Velocity, &settings::VelocityUnits},
    }};
    return infos[static_cast<std::size_t>(quantity)];
}

}  // namespace

ReadoutScale::ReadoutScale() {
    for (const ReadoutQuantity quantity : {ReadoutQuantity::Distance, ReadoutQuantity::Elevation,
                                           ReadoutQuantity::Angle, ReadoutQuantity::Velocity}) {
        // The internal units need no look into the database, which would slow down every start.
        if (const int unit = InfoOf(quantity).setting->Get(); unit != kInternalUnit)
            (void)SetUnit(quantity, unit, UnitChoice::ForRun);
    }
}

Status ReadoutScale::SetUnit(ReadoutQuantity quantity, int unit, UnitChoice choice) {
    const QuantityInfo& info = InfoOf(quantity);
    double factor = 1;
    if (const Status known = GetUnitConversion(info.unitClass, kInternalUnit, unit, factor);
        !known.Good()) {
        return known;
    }
    units_[static_cast<std::size_t>(quantity)] = {unit, static_cast<float>(factor)};
    if (choice == UnitChoice::Keep) info.setting->Set(unit);
    return StatusCode::Ok;
}

int ReadoutScale::Unit(ReadoutQuantity quantity) const {
    return units_[static_cast<std::size_t>(quantity)].number;
}

float ReadoutScale::Factor(ReadoutQuantity quantity) const {
    return units_[static_cast<std::size_t>(quantity)].factor;
}

std::string ReadoutScale::Symbol(ReadoutQuantity quantity) const {
    return GetUnitSymbol(InfoOf(quantity).unitClass, Unit(quantity));
}

void ReadoutScale::SetLandscape(const COORDREFSYS& system) {
    landscape_ = system;
    COORDOP_LIST operations;
    if (chosen_.Valid() && COORDOP_LIST::Create(landscape_, chosen_, operations).Good())
        PutInForce(chosen_, std::move(operations));
    else
        PutInForce(landscape_, {});
}

Status ReadoutScale::ChooseSystem(const COORDREFSYS& system) {
    const COORDREFSYS& wanted = system.Valid() ? system : landscape_;
    COORDOP_LIST operations;
    if (const Status made = COORDOP_LIST::Create(landscape_, wanted, operations); !made.Good())
        return made;
    chosen_ = system;
    PutInForce(wanted, std::move(operations));
    return StatusCode::Ok;
}

void ReadoutScale::PutInForce(const COORDREFSYS& system, COORDOP_LIST operations) {
    system_ = system;
    operations_ = std::move(operations);
    degreesPerUnit_ = system_.Valid() ? system_.DegreesPerUnit() : 0;
    metresPerUnit_ = system_.Valid() ? system_.MetresPerUnit() : 1;
    ++revision_;
}

bool ReadoutScale::Convert(double& east, double& north) const {
    if (!operations_.ConvertPoint(east, north).Good()) return false;
    if (IsLatLon()) {
        east *= degreesPerUnit_;
        north *= degreesPerUnit_;
    }
    return true;
}

}  // namespace tarnvale
