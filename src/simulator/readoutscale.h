#pragma once

#include <array>
#include <string>

#include "base/status.h"
#include "base/vec3f.h"
#include "geom/coordop.h"
#include "geom/transgen.h"

namespace tarnvale {

/// What the user chooses a unit for.
enum class ReadoutQuantity { Distance, Elevation, Angle, Velocity };

enum class UnitChoice {
    Keep,   ///< from now on, and written to the settings
    ForRun  ///< from now on
};

/// How readouts tell places and amounts: a unit for each quantity, and a coordinate system for
/// positions, which is the landscape's own until another is chosen. Thread: the frame cycle's.
class ReadoutScale {
public:
    /// Takes the units from the settings; a number that stands for no unit counts as 0.
    ReadoutScale();

    /// @param unit  number of a unit of the quantity's class
    /// @return BadState, nothing changed, where there is no such unit
    Status SetUnit(ReadoutQuantity quantity, int unit, UnitChoice choice);
    [[nodiscard]] int Unit(ReadoutQuantity quantity) const;
    /// From the internal unit (metre, degree, metre per second) to the chosen one.
    [[nodiscard]] float Factor(ReadoutQuantity quantity) const;
    [[nodiscard]] std::string Symbol(ReadoutQuantity quantity) const;

    /// Another landscape is open. A system chosen before stays in force where a conversion leads
    /// there.
    void SetLandscape(const COORDREFSYS& system);
    /// Tells positions in `system` from now on; one that isn't Valid stands for the landscape's
    /// own.
    /// @return BadState, nothing changed, where no conversion leads from the landscape's system
    Status ChooseSystem(const COORDREFSYS& system);
    [[nodiscard]] const COORDREFSYS& LandscapeSystem() const noexcept { return landscape_; }
    /// The system in force; not Valid where there is none.
    [[nodiscard]] const COORDREFSYS& System() const noexcept { return system_; }
    /// Whether positions are latitudes and longitudes, then in degrees whatever the system's angle.
    [[nodiscard]] bool IsLatLon() const noexcept { return degreesPerUnit_ > 0; }
    /// Metres of one unit of a position; 0 for latitudes and longitudes.
    [[nodiscard]] double MetresPerUnit() const noexcept { return metresPerUnit_; }
    /// Converts map coordinates of the landscape.
    /// @return false, nothing changed, where the system in force has no such place
    [[nodiscard]] bool Convert(double& east, double& north) const;

    /// Another number whenever the landscape or the system changed.
    [[nodiscard]] int Revision() const noexcept { return revision_; }

private:
    struct ChosenUnit {
        int number = 0;
        float factor = 1;
    };
    void PutInForce(const COORDREFSYS& system, COORDOP_LIST operations);

    std::array<ChosenUnit, 4> units_;
    COORDREFSYS landscape_, chosen_, system_;
    COORDOP_LIST operations_;  // from landscape_ to system_
    double degreesPerUnit_ = 0, metresPerUnit_ = 1;
    int revision_ = 0;
};

}  // namespace tarnvale
