#include "simulator/optionrules.h"

#include <algorithm>
#include <cmath>

#include "base/inistore.h"
#include "base/settings.h"
#include "terrain/terrainmodel.h"

namespace tarnvale {

namespace {

constexpr std::int32_t kFixedQuality = 1, kHoldFrameRate = 2;  // `TerrainChoice`
constexpr int kDecimals = 2, kMostDecimals = 6;

}  // namespace

void EditedNumber::Enter(double shown) noexcept {
    if (std::isfinite(shown)) kept_ = std::clamp(shown / factor_, range_.least, range_.most);
}

int DecimalsFor(double factor) noexcept {
    if (!(factor > 0)) return kDecimals;
    const int more = static_cast<int>(std::ceil(-std::log10(factor)));
    return std::clamp(kDecimals + more, kDecimals, kMostDecimals);
}

EffectsEnabled EnabledEffects(const EffectsChoice& choice) noexcept {
    const bool linear = choice.fogType == 0;
    return {
        .subterrainColor = choice.subterrain,
        .subterrainOpacity = choice.subterrain,
        .useBackgroundColor = choice.fog,
        .fogColor = choice.fog && !choice.useBackgroundColor,
        .fogTypes = choice.fog,
        .fogStart = choice.fog && linear,
        .fogEnd = choice.fog && linear,
        .fogDensity = choice.fog && !linear,
        .sunElevation = choice.sun,
        .sunAzimuth = choice.sun,
    };
}

HeightLimits HoldInOrder(HeightLimits limits, HeightChange changed) noexcept {
    const bool byMinimum = changed == HeightChange::Minimum || changed == HeightChange::UseMinimum;
    const bool otherInUse = byMinimum ? limits.useMaximum : limits.useMinimum;
    const bool ownInUse = byMinimum ? limits.useMinimum : limits.useMaximum;
    if (!ownInUse || !otherInUse || limits.minimum <= limits.maximum) return limits;
    if (byMinimum) {
        limits.maximum = limits.minimum;
    } else {
        limits.minimum = limits.maximum;
    }
    return limits;
}

TerrainDetail StoredTerrainDetail() {
    std::int32_t choice = kFixedQuality;
    if (_iniRead("TerrainChoice", choice) && choice != kFixedQuality && choice != kHoldFrameRate) {
        settings::TerrainChoice.Set(kFixedQuality);
    }
    return {settings::TerrainChoice.Get() == kHoldFrameRate, settings::TerrainQuality.Get(),
            TerrainModel::FrameRate()};
}

void KeepTerrainDetail(const TerrainDetail& detail) {
    TerrainModel::SetQuality(detail.quality, true);
    TerrainModel::SetFrameRate(detail.frameRate, true);
    settings::TerrainChoice.Set(detail.holdFrameRate ? kHoldFrameRate : kFixedQuality);
}

std::vector<LocatorKind> LocatorKinds(bool northUp) {
    if (!northUp) return {LocatorKind::Arrow};
    return {LocatorKind::ViewerCenter, LocatorKind::Arrow};
}

}  // namespace tarnvale
