#include "atlas/mapcamera.h"

#include <algorithm>
#include <cmath>

namespace tarnvale {

namespace {

constexpr double kNarrowest = 1, kWidest = 1e9;  // metres across a view

}  // namespace

void MapCamera::SetView(double width, double height) {
    viewWidth_ = std::max(width, 1.0);
    viewHeight_ = std::max(height, 1.0);
}

void MapCamera::SetCentre(const MapPoint& centre) {
    if (std::isfinite(centre.x) && std::isfinite(centre.y)) centre_ = centre;
}

void MapCamera::SetWidth(double metres) {
    if (std::isfinite(metres)) width_ = std::clamp(metres, kNarrowest, kWidest);
}

MapPoint MapCamera::ToScreen(const MapPoint& map) const {
    const double pixel = MetresPerPixel();
    return {viewWidth_ / 2 + (map.x - centre_.x) * metresX_ / pixel,
            viewHeight_ / 2 - (map.y - centre_.y) * metresY_ / pixel};
}

MapPoint MapCamera::ToMap(const MapPoint& screen) const {
    const double pixel = MetresPerPixel();
    return {centre_.x + (screen.x - viewWidth_ / 2) * pixel / metresX_,
            centre_.y - (screen.y - viewHeight_ / 2) * pixel / metresY_};
}

void MapCamera::Drag(double dx, double dy) {
    SetCentre(ToMap({viewWidth_ / 2 - dx, viewHeight_ / 2 - dy}));
}

void MapCamera::ZoomAbout(const MapPoint& screen, double factor) {
    const MapPoint before = ToMap(screen);
    SetWidth(width_ * factor);
    const MapPoint after = ToMap(screen);
    SetCentre({centre_.x + before.x - after.x, centre_.y + before.y - after.y});
}

void MapCamera::Fit(const MapPoint& low, const MapPoint& high) {
    SetCentre({(low.x + high.x) / 2, (low.y + high.y) / 2});
    const double across = (high.x - low.x) * metresX_;
    const double up = (high.y - low.y) * metresY_ * viewWidth_ / viewHeight_;
    SetWidth(std::max(across, up));
}

ViewLink ViewLink::FromAtlas(int stored, double scale) noexcept {
    const bool known = stored >= 0 && stored <= (kCentre | kWidth);
    return {known ? stored : kCentre | kWidth, scale > 0 ? scale : 1.0};
}

double RoundLength(double most) {
    if (!(most > 0) || !std::isfinite(most)) return 0;
    const double power = std::pow(10.0, std::floor(std::log10(most)));
    for (const double step : {10.0, 5.0, 2.0}) {
        if (power * step <= most) return power * step;
    }
    return power <= most ? power : power / 2;
}

}  // namespace tarnvale
