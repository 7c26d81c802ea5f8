#include "base/settings.h"

#include <algorithm>
#include <initializer_list>

namespace tarnvale {

namespace {

// Constant-initialised, so it stands before the first setting's constructor runs.
constinit SettingBase* firstSetting = nullptr;

template <std::int32_t least, std::int32_t most>
std::optional<std::int32_t> Between(const std::int32_t& value) {
    return std::clamp(value, least, most);
}

// Ranges whose ends are no integers are given as fractions: clang 14 has no floating template
// arguments.
template <typename T, int least, int most, int divisor = 1>
std::optional<T> Within(const T& value) {
    return std::clamp(value, static_cast<T>(least) / static_cast<T>(divisor),
                      static_cast<T>(most) / static_cast<T>(divisor));
}

// Nothing sensible is near a value outside: the one in force stays.
template <typename T, int least, int most, int divisor = 1>
std::optional<T> Only(const T& value) {
    const std::optional<T> held = Within<T, least, most, divisor>(value);
    return held == value ? held : std::nullopt;
}

std::optional<double> AtLeastOne(const double& value) {
    return value >= 1 ? std::optional(value) : std::nullopt;
}

// For numbers that name a choice: an unknown one becomes the first.
template <std::int32_t first, std::int32_t... others>
std::optional<std::int32_t> OneOf(const std::int32_t& value) {
    return ((value == others) || ...) ? value : first;
}

// Of the bits that choose how an angle is split the first one counts, and one must be there; bit 16
// puts the letter of the direction behind the number.
std::optional<std::int32_t> AngleFormat(const std::int32_t& value) {
    for (const std::int32_t split : {128, 32, 64}) {
        if ((value & split) != 0) return split | (value & 16);
    }
    return std::nullopt;
}

constexpr auto kPositive = Between<0, 0x7FFFFFFF>;
constexpr auto kPercent = Within<float, 0, 100>;
constexpr auto kTurning = Within<float, -3600, 3600>;  // degrees a second
constexpr auto kHeight =
    Within<float, -1'000'000, 1'000'000>;  // far beyond any mountain in any unit
constexpr auto kFar = Within<float, 0, 1'000'000'000>;

constexpr COLOR kRed{65280, 0, 0, 0};

}  // namespace

SettingBase::SettingBase(const char* key) noexcept : key_(key), next_(firstSetting) {
    firstSetting = this;
}

SettingBase::~SettingBase() {
    SettingBase** link = &firstSetting;
    while (*link != nullptr && *link != this) link = &(*link)->next_;
    if (*link != nullptr) *link = next_;
}

SettingBase* SettingBase::Find(std::string_view key) noexcept {
    SettingBase* setting = firstSetting;
    while (setting != nullptr && setting->key_ != key) setting = setting->next_;
    return setting;
}

namespace settings {

Setting<std::int32_t> DirectXAdapter{"DirectXAdapter", 0, kPositive};
Setting<float> PitchSpeed{"PitchSpeed", 45, kTurning};
Setting<float> RollSpeed{"RollSpeed", 45, kTurning};
Setting<float> TurnSpeed{"TurnSpeed", 45, kTurning};
Setting<float> MinimumHeight{"MinimumHeight", 100, kHeight};
Setting<float> MaximumHeight{"MaximumHeight", 100, kHeight};
Setting<bool> UseMinimumHeight{"UseMinimumHeight", false};
Setting<bool> UseMaximumHeight{"UseMaximumHeight", false};
Setting<bool> ExaggerateStalks{"ExaggerateStalks", false};
Setting<bool> ExaggerateVolumes{"ExaggerateVolumes", false};
Setting<COLOR> SelectedItemColor{"SelectedItemColor", {0xFF00, 0, 0xFF00, 1}};
Setting<bool> AutoOpenPOIView{"AutoOpenPOIView", false};
Setting<std::int32_t> POIMarker{"POIMarker", 1, kPositive};
Setting<bool> Wireframe{"Wireframe", false};
Setting<bool> Sky{"Sky", false};
Setting<bool> SkyCentered{"SkyCentered", true};
Setting<bool> Compass{"Compass", true};
Setting<float> CompassSize{"CompassSize", 1, Within<float, 0, 2>};
Setting<COLOR> CompassNorthColor{"CompassNorthColor", {30000, 0, 0, 0}};
Setting<COLOR> CompassCardinalColor{"CompassCardinalColor", {0, 0, 30000, 0}};
Setting<COLOR> CompassIntermediateColor{"CompassIntermediateColor", {0, 20000, 0, 0}};
Setting<bool> MapViewOrientationNorth{"MapViewOrientationNorth", true};
Setting<std::int32_t> MapLocator{"MapLocator", 0, OneOf<0, 1>};
Setting<COLOR> MapLocatorArrowColor{"MapLocatorArrowColor", kRed};
Setting<COLOR> MapLocatorViewerColor{"MapLocatorViewerColor", kRed};
Setting<COLOR> MapLocatorCenterColor{"MapLocatorCenterColor", kRed};
Setting<COLOR> MapLocatorLineColor{"MapLocatorLineColor", kRed};
Setting<std::int32_t> StyleQuality{"StyleQuality", 0x100, OneOf<0x100, 0x200, 0x400>};
Setting<COLOR> PointSymbolColor{"PointSymbolColor", {0, 0, 0xFF00, 0}};
Setting<float> PointSymbolSize{"PointSymbolSize", 3, Within<float, 0, 1000>};
Setting<bool> PointSymbolUseMapScale{"PointSymbolUseMapScale", false};
Setting<float> PointSymbolScale{"PointSymbolScale", 0, kFar};
Setting<COLOR> LineSymbolColor{"LineSymbolColor", {}};
Setting<bool> UseVOITransparency{"UseVOITransparency", false};
Setting<float> VOITransparency{"VOITransparency", 0, kPercent};
Setting<std::int32_t> Format{"Format", 0x80, AngleFormat};
Setting<std::int32_t> DistanceUnits{"DistanceUnits", 0, kPositive};
Setting<std::int32_t> ElevationUnits{"ElevationUnits", 0, kPositive};
Setting<std::int32_t> AngleUnits{"AngleUnits", 0, kPositive};
Setting<std::int32_t> VelocityUnits{"VelocityUnits", 0, kPositive};
Setting<float> VerticalExaggeration{"VerticalExaggeration", 1, Only<float, 1, 10'000, 100>};
Setting<bool> ExaggerateExtrudedPolygons{"ExaggerateExtrudedPolygons", false};
Setting<double> TerrainQuality{"TerrainQuality", 85, Within<double, 0, 100>};
Setting<double> FrameRate{"FrameRate", 20, AtLeastOne};
Setting<std::int32_t> TerrainChoice{"TerrainChoice", 1, OneOf<1, 2>};
Setting<COLOR> BackgroundColor{"BackgroundColor", {}};
Setting<COLOR> WireframeColor{"WireframeColor", {}};
Setting<bool> Subterrain{"Subterrain", false};
Setting<COLOR> SubterrainColor{"SubterrainColor", {}};
Setting<float> SubterrainOpacity{"SubterrainOpacity", 50, kPercent};
Setting<COLOR> FogColor{"FogColor", {}};
Setting<bool> Fog{"Fog", false};
Setting<bool> UseBackgroundColor{"UseBackgroundColor", true};
Setting<std::int32_t> FogType{"FogType", 0, OneOf<0, 1, 2>};
Setting<float> FogStart{"FogStart", 4000, kFar};
Setting<float> FogEnd{"FogEnd", 40000, kFar};
Setting<float> FogDensity{"FogDensity", 0.0001F, Within<float, 0, 1>};
Setting<bool> UseSun{"UseSun", true};
Setting<float> SunElevationAngle{"SunElevationAngle", 45, Within<float, -180, 180>};
Setting<float> SunAzimuthAngle{"SunAzimuthAngle", 90, Within<float, 0, 360>};
Setting<bool> SmoothTexture{"SmoothTexture", false};
Setting<bool> Antialias{"Antialias", false};
Setting<std::int32_t> TextureMemory{"TextureMemory", 0, Between<0, 1 << 20>};

float MapExtents = 100;
float UpDownSpeed = 500;
float LeftRightSpeed = 500;
float ForwardBackwardSpeed = 500;

bool SetFromText(const std::string& key, const std::string& value) {
    SettingBase* setting = SettingBase::Find(key);
    return setting != nullptr && setting->SetFromText(value);
}

}  // namespace settings

}  // namespace tarnvale
