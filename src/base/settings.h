#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "base/color.h"
#include "base/inistore.h"
#include "base/valuetext.h"

namespace tarnvale {

/// What all settings have in common: a key, by which `--set` finds them.
class SettingBase {
public:
    SettingBase(const SettingBase&) = delete;
    SettingBase& operator=(const SettingBase&) = delete;
    [[nodiscard]] const char* Key() const noexcept { return key_; }
    /// Changes the value for this run alone.
    /// @return false, nothing changed, if `text` isn't a value of the type or not within the range
    [[nodiscard]] virtual bool SetFromText(std::string_view text) = 0;
    /// @return the setting with this key, or null
    [[nodiscard]] static SettingBase* Find(std::string_view key) noexcept;

protected:
    explicit SettingBase(const char* key) noexcept;
    virtual ~SettingBase();

private:
    const char* key_;
    SettingBase* next_;  // in the list of all settings
};

/// One process-wide preference. Read from the store before main; Set keeps the value and writes it
/// at once (a failed write is ignored: the value holds for the run). A missing key leaves the
/// default. Of a value outside the range, wherever it comes from, the range says whether it is
/// brought inside or ignored; one that is no number at all is ignored. Thread: main thread only.
template <typename T>
class Setting final : public SettingBase {
public:
    /// Answers the value to keep for one that is given, none to ignore it.
    using Range = std::optional<T> (*)(const T&);

    /// @param key    on loan for good
    /// @param range  null: every value is good
    explicit Setting(const char* key, T initial, Range range = nullptr)
        : SettingBase(key), range_(range), value_(std::move(initial)) {
        T stored = value_;
        if (_iniRead(Key(), stored)) SetUnsaved(std::move(stored));
    }
    [[nodiscard]] const T& Get() const noexcept { return value_; }
    void Set(T value) {
        if (Take(std::move(value))) _iniWrite(Key(), value_);
    }
    /// Changes the value for this run alone.
    void SetUnsaved(T value) { (void)Take(std::move(value)); }
    [[nodiscard]] bool SetFromText(std::string_view text) override {
        T value = value_;
        if (!ParseValue(text, value) || (range_ != nullptr && range_(value) != value)) return false;
        return Take(std::move(value));
    }

private:
    // @return false where the value is ignored
    bool Take(T value) {
        if constexpr (std::is_floating_point_v<T>) {
            if (!std::isfinite(value)) return false;
        }
        if (range_ == nullptr) {
            value_ = std::move(value);
            return true;
        }
        const std::optional<T> kept = range_(value);
        if (kept.has_value()) value_ = *kept;
        return kept.has_value();
    }

    Range range_;
    T value_;
};

/// All keys kept by the program. Units stand beside the key where a number has one.
namespace settings {
extern Setting<std::int32_t> DirectXAdapter;
extern Setting<float> PitchSpeed, RollSpeed, TurnSpeed;  // degrees a second
extern Setting<float> MinimumHeight, MaximumHeight;      // terrain's height units above ground
extern Setting<bool> UseMinimumHeight, UseMaximumHeight;
extern Setting<bool> ExaggerateStalks, ExaggerateVolumes;
extern Setting<COLOR> SelectedItemColor;
extern Setting<bool> AutoOpenPOIView;
extern Setting<std::int32_t> POIMarker;
extern Setting<bool> Wireframe;
extern Setting<bool> Sky, SkyCentered;
extern Setting<bool> Compass;
extern Setting<float> CompassSize;
extern Setting<COLOR> CompassNorthColor, CompassCardinalColor, CompassIntermediateColor;
extern Setting<bool> MapViewOrientationNorth;
extern Setting<std::int32_t> MapLocator;
extern Setting<COLOR> MapLocatorArrowColor, MapLocatorViewerColor, MapLocatorCenterColor,
    MapLocatorLineColor;
extern Setting<std::int32_t> StyleQuality;
extern Setting<COLOR> PointSymbolColor;
extern Setting<float> PointSymbolSize;
extern Setting<bool> PointSymbolUseMapScale;
extern Setting<float> PointSymbolScale;
extern Setting<COLOR> LineSymbolColor;
extern Setting<bool> UseVOITransparency;
extern Setting<float> VOITransparency;
extern Setting<std::int32_t> Format, DistanceUnits, ElevationUnits, AngleUnits, VelocityUnits;
extern Setting<float> VerticalExaggeration;
extern Setting<bool> ExaggerateExtrudedPolygons;
extern Setting<double> TerrainQuality;  // percent
extern Setting<double> FrameRate;       // frames a second
extern Setting<std::int32_t> TerrainChoice;
extern Setting<COLOR> BackgroundColor, WireframeColor;
extern Setting<bool> Subterrain;
extern Setting<COLOR> SubterrainColor;
extern Setting<float> SubterrainOpacity;  // percent
extern Setting<COLOR> FogColor;
extern Setting<bool> Fog, UseBackgroundColor;
extern Setting<std::int32_t> FogType;
extern Setting<float> FogStart, FogEnd;  // scene units
extern Setting<float> FogDensity;
extern Setting<bool> UseSun;
extern Setting<float> SunElevationAngle, SunAzimuthAngle;  // degrees
extern Setting<bool> SmoothTexture, Antialias;
extern Setting<std::int32_t> TextureMemory;  // megabytes for tiles of one process, 0 automatic

/// Kept in the process only, never stored.
extern float MapExtents;                                         // percent
extern float UpDownSpeed, LeftRightSpeed, ForwardBackwardSpeed;  // scene units a second

/// Sets one setting from text, by key, for this run alone (`--set KEY=VALUE`).
/// @return false if there is no such key or the text isn't a value of its type within its range
[[nodiscard]] bool SetFromText(const std::string& key, const std::string& value);
}  // namespace settings

}  // namespace tarnvale
