#include "terrain/terrainmodel.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/settings.h"
#include "terrain/qtmorphs.h"

namespace tarnvale {
namespace {

constexpr double kRadiansPerDegree = 0.017453292519943295;
constexpr double kWorst = 0.0;
constexpr double kBest = 100.0;

/// What the setting `TerrainChoice` may say.
enum class Choice : std::int32_t { FixedQuality = 1, HoldFrameRate = 2 };

/// Level of detail of the process. The frame cycle's thread only.
struct Detail {
    double quality = 85.0;
    double userQuality = 85.0;
    double qualityStep = 1.0;
    float verticalScale = 1.0F;
};

Detail& TheDetail() {
    static Detail detail;
    return detail;
}

bool HoldsFrameRate() {
    const std::int32_t choice = settings::TerrainChoice.Get();
    if (choice != static_cast<std::int32_t>(Choice::FixedQuality) &&
        choice != static_cast<std::int32_t>(Choice::HoldFrameRate)) {
        settings::TerrainChoice.Set(static_cast<std::int32_t>(Choice::FixedQuality));
    }
    return settings::TerrainChoice.Get() == static_cast<std::int32_t>(Choice::HoldFrameRate);
}

}  // namespace

TerrainModel::TerrainModel(std::string name, std::string secondText)
    : name_(std::move(name)), secondText_(std::move(secondText)) {}

void TerrainModel::SetFieldOfView(float degrees) noexcept {
    fieldOfView_ = degrees;
    fieldOfViewRadians_ = static_cast<float>(static_cast<double>(degrees) * kRadiansPerDegree);
}

float TerrainModel::NearestElevation(float worldX, float worldY) const {
    constexpr double kBias = 1e-10;
    const auto nearest = [](double at, int count) {
        const double rounded = std::round(at + kBias);
        return rounded > 0 ? static_cast<int>(std::min(rounded, count - 1.0)) : 0;
    };
    return GetElevation(nearest(static_cast<double>(worldX / cellWidth_), GetColumns()),
                        nearest(static_cast<double>(-worldY / cellHeight_), GetRows()));
}

void TerrainModel::GridToWorld(Vec3f& point) const noexcept {
    point.x *= cellWidth_;
    point.y = -(point.y * cellHeight_);
}

void TerrainModel::WorldToGrid(Vec3f& point) const noexcept {
    point.x /= cellWidth_;
    point.y = -point.y / cellHeight_;
}

bool TerrainModel::PickPoint(const Vec3f& a, const Vec3f& b, Vec3d& result, bool toPlane) const {
    const TerrainIntersector* intersector = GetIntersector();
    if (intersector == nullptr || !open_) return false;
    const auto toMap = [this](const Vec3f& world, Vec3d& map) {
        Vec3f grid = world;
        WorldToGrid(grid);
        map = {static_cast<double>(grid.x), static_cast<double>(grid.y),
               static_cast<double>(world.z)};
        return TransGenConvPointFwd(transform_, map.x, map.y).Good();
    };
    Vec3d from;
    if (!toMap(a, from)) return false;

    Vec3f target = b;
    if (toPlane && b.z != 0.0F) {
        if (a.z == b.z) return false;  // never reaches the plane
        const float f = a.z / (a.z - b.z);
        target = {a.x + (a.x - b.x) * f, a.y + (a.y - b.y) * f, 0.0F};
    }
    const bool inside =
        target.x >= 0.0F && target.x <= static_cast<float>(GetColumns()) * cellWidth_ &&
        target.y <= 0.0F && target.y >= -(static_cast<float>(GetRows()) * cellHeight_);
    Vec3d to;
    if (!toMap(target, to)) return false;
    if (toPlane) {
        Vec3f cell = b;
        WorldToGrid(cell);
        const auto whole = [](float value, int count) {
            return static_cast<int>(
                std::clamp(std::isnan(value) ? 0.0F : value, 0.0F, static_cast<float>(count)));
        };
        result = {to.x, to.y,
                  static_cast<double>(
                      GetElevation(whole(cell.x, GetColumns()), whole(cell.y, GetRows())))};
        return inside;
    }
    Vec3d hit;
    if (!intersector->Intersect(from, to, transform_.OutputCoordRefSys(), hit)) return false;
    result = hit;
    return true;
}

void TerrainModel::SetQuality(double percent, bool save) {
    if (std::isnan(percent)) return;
    Detail& detail = TheDetail();
    detail.quality = std::clamp(percent, kWorst, kBest);
    detail.userQuality = detail.quality;
    if (save) settings::TerrainQuality.Set(detail.quality);
}

double TerrainModel::Quality() {
    return TheDetail().quality;
}

double TerrainModel::UserQuality() {
    return TheDetail().userQuality;
}

void TerrainModel::SetFrameRate(double framesPerSecond, bool save) {
    if (save) {
        settings::FrameRate.Set(framesPerSecond);
    } else {
        settings::FrameRate.SetUnsaved(framesPerSecond);
    }
}

double TerrainModel::FrameRate() {
    return settings::FrameRate.Get();
}

void TerrainModel::SetQualityStep(double step) {
    TheDetail().qualityStep = std::abs(step);
}

void TerrainModel::StepQualityUp() {
    Detail& detail = TheDetail();
    detail.quality = std::min(detail.quality + detail.qualityStep, kBest);
}

void TerrainModel::StepQualityDown() {
    Detail& detail = TheDetail();
    detail.quality = std::max(detail.quality - detail.qualityStep, kWorst);
}

void TerrainModel::SetVerticalScale(float scale) {
    if (scale >= 0.01F && scale <= 100.0F) TheDetail().verticalScale = scale;
}

float TerrainModel::VerticalScale() {
    return TheDetail().verticalScale;
}

void TerrainModel::RegulateFrameRate(double measured) {
    // The first frames have no measure yet.
    if (!HoldsFrameRate() || !std::isfinite(measured) || measured <= 0.0) return;
    const double wanted = FrameRate();
    const double error = (measured - wanted) / wanted;
    if (std::abs(error) < 0.1) return;
    SetQualityStep(std::min(std::abs(error), 1.0) / measured * 50.0);
    if (error <= 0.0) {
        StepQualityDown();
    } else {
        StepQualityUp();
    }
}

TerrainModelRegistry::TerrainModelRegistry() {
    prototypes_.push_back(std::make_unique<QuadtreeMorphTerrain>());
}

std::string TerrainModelRegistry::Name(int index) const {
    const auto i = static_cast<std::size_t>(index);
    return i < prototypes_.size() ? prototypes_[i]->Name() : std::string();
}

std::string TerrainModelRegistry::SecondText(int index) const {
    const auto i = static_cast<std::size_t>(index);
    return i < prototypes_.size() ? prototypes_[i]->SecondText() : std::string();
}

std::unique_ptr<TerrainModel> TerrainModelRegistry::CreateInstance(int index) const {
    const auto i = static_cast<std::size_t>(index);
    return i < prototypes_.size() ? prototypes_[i]->CreateInstance() : nullptr;
}

}  // namespace tarnvale
