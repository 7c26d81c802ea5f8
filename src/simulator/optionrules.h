#pragma once

#include <cstdint>
#include <vector>

#include "overlays/maplocator.h"

namespace tarnvale {

/// Least and greatest value that a number may have.
struct NumberRange {
    double least = 0, most = 0;
};

/// A number of a dialog: kept in the program's unit, shown and entered in the user's. What nobody
/// enters comes back bit for bit, however it was rounded for show.
class EditedNumber {
public:
    /// @param factor  shown = kept x factor, above 0
    /// @param range   in the program's unit
    EditedNumber(double factor, NumberRange range) noexcept : factor_(factor), range_(range) {}

    /// Takes a kept value as it stands, within the range or not.
    void Load(double kept) noexcept { kept_ = kept; }
    /// Takes what the user entered, held within the range. Ignores what isn't finite.
    void Enter(double shown) noexcept;
    [[nodiscard]] double Kept() const noexcept { return kept_; }
    [[nodiscard]] double Shown() const noexcept { return kept_ * factor_; }
    [[nodiscard]] NumberRange ShownRange() const noexcept {
        return {range_.least * factor_, range_.most * factor_};
    }

private:
    double factor_, kept_ = 0;
    NumberRange range_;
};

/// @return decimals by which a unit of this factor shows as finely as two decimals of the kept unit
[[nodiscard]] int DecimalsFor(double factor) noexcept;

/// `FogDensity` is too small for people: the dialog shows it times this.
inline constexpr double kFogDensityShown = 100'000;

/// What the check boxes and radio buttons of the effects say.
struct EffectsChoice {
    bool subterrain = false, fog = false, useBackgroundColor = false, sun = false;
    std::int32_t fogType = 0;  ///< 0 linear, 1 exponential, 2 exponential two
};
/// Which controls of the effects can be used.
struct EffectsEnabled {
    bool subterrainColor = false, subterrainOpacity = false;
    bool useBackgroundColor = false, fogColor = false, fogTypes = false;
    bool fogStart = false, fogEnd = false, fogDensity = false;
    bool sunElevation = false, sunAzimuth = false;
    friend bool operator==(const EffectsEnabled&, const EffectsEnabled&) = default;
};
[[nodiscard]] EffectsEnabled EnabledEffects(const EffectsChoice& choice) noexcept;

/// The two height limits of the viewer.
struct HeightLimits {
    double minimum = 0, maximum = 0;  ///< metres
    bool useMinimum = false, useMaximum = false;
    friend bool operator==(const HeightLimits&, const HeightLimits&) = default;
};
enum class HeightChange : std::uint8_t { Minimum, Maximum, UseMinimum, UseMaximum };
/// Minimum and maximum hold each other in order while both are in use: the other one follows the
/// one that the user changed or switched on.
[[nodiscard]] HeightLimits HoldInOrder(HeightLimits limits, HeightChange changed) noexcept;

/// How the terrain chooses its detail.
struct TerrainDetail {
    bool holdFrameRate = false;
    double quality = 0;    ///< percent
    double frameRate = 0;  ///< frames a second
};
/// What the settings say. A stored choice that is none is written back as fixed quality.
[[nodiscard]] TerrainDetail StoredTerrainDetail();
/// Puts all three in force and writes them.
void KeepTerrainDetail(const TerrainDetail& detail);

/// @return the marks of the map view that can be chosen: a map that turns with the viewer has only
/// the arrow
[[nodiscard]] std::vector<LocatorKind> LocatorKinds(bool northUp);

}  // namespace tarnvale
