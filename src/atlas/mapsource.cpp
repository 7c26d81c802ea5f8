#include "atlas/mapsource.h"

#include <algorithm>
#include <utility>

#include "geom/grounddistance.h"

namespace tarnvale {

void MapSource::SetName(std::string name, std::string path) {
    name_ = std::move(name);
    path_ = std::move(path);
}

Status MapSource::SetSystem(const COORDREFSYS& system) {
    COORDREFSYS globe;
    if (const Status made = COORDREFSYS::FromIdentity(COORDREFSYS::kFixedReference, globe);
        !made.Good()) {
        return made;
    }
    onGlobe_ = COORDOP_LIST::Create(system, globe, toGlobe_).Good() &&
               COORDOP_LIST::Create(globe, system, fromGlobe_).Good();
    const auto code = system.EpsgCode();
    systemName_ = code ? "EPSG:" + std::to_string(*code) : system.Name();
    metresX_ = metresY_ = system.MetresPerUnit();
    if (system.IsGeographic()) {
        MapPoint low, high;
        Bounds(low, high);
        const double unit = system.DegreesPerUnit();
        const double latitude = std::clamp((low.y + high.y) / 2 * unit, -89.0, 89.0);
        metresX_ = GroundDistance({-unit / 2, latitude}, {unit / 2, latitude});
        metresY_ = GroundDistance({0, latitude - unit / 2}, {0, latitude + unit / 2});
    }
    if (!(metresX_ > 0) || !(metresY_ > 0)) metresX_ = metresY_ = 1;
    return StatusCode::Ok;
}

std::optional<GeographicPlace> MapSource::ToGlobe(const MapPoint& map) const {
    MapPoint place = map;
    if (!onGlobe_ || !toGlobe_.ConvertPoint(place.x, place.y).Good()) return std::nullopt;
    return GeographicPlace{place.x, place.y};
}

std::optional<MapPoint> MapSource::FromGlobe(const GeographicPlace& place) const {
    MapPoint map{place.longitude, place.latitude};
    if (!onGlobe_ || !fromGlobe_.ConvertPoint(map.x, map.y).Good()) return std::nullopt;
    return map;
}

}  // namespace tarnvale
