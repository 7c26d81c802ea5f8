#include "simulator/poifile.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "geom/coordop.h"
#include "simulator/simulatr.h"

namespace tarnvale {

namespace {

using Json = nlohmann::ordered_json;

constexpr double kPlaceDigits = 1e7, kHeightDigits = 1e2;  // about a centimetre each
constexpr int kIndent = 2;

double Rounded(double value, double digits) {
    return std::round(value * digits) / digits;
}

// The high bytes: a file knows 8 bits a channel.
std::string HexOf(const COLOR& color) {
    return fmt::format("#{:02x}{:02x}{:02x}", color.red >> 8, color.green >> 8, color.blue >> 8);
}

/// Between the landscape's system and longitude and latitude, and back.
struct GlobeOperations {
    COORDOP_LIST toGlobe, fromGlobe;
    bool geographic = false;  ///< the landscape's system
};

/// A projection goes around: what lies far outside of it comes back as another place.
bool LeadsBack(const GlobeOperations& globe, const Vec3d& own, Vec3d place) {
    if (!globe.fromGlobe.ConvertPoint(place.x, place.y).Good()) return false;
    if (globe.geographic)
        return std::abs(std::remainder(place.x - own.x, 360.0)) < 1e-5 &&
               std::abs(place.y - own.y) < 1e-5;
    return std::hypot(place.x - own.x, place.y - own.y) < 1;
}

Status Feature(const PoiControl& pois, int view, const GlobeOperations& globe, Json& feature) {
    Vec3d place;
    if (const Status got = pois.GetPOIPosition(view, place); !got.Good()) return got;
    const Vec3d own = place;
    if (!globe.toGlobe.ConvertPoint(place.x, place.y).Good() || std::abs(place.y) > 90 ||
        !LeadsBack(globe, own, place)) {
        return _SetErrPosn(StatusCode::BadState,
                           pois.POIName(view) + " lies nowhere on the globe: move it");
    }
    COLOR color;
    if (const Status got = pois.GetPOIColor(view, color); !got.Good()) return got;
    const double longitude = std::remainder(place.x, 360.0);
    feature = {{"type", "Feature"},
               {"geometry",
                {{"type", "Point"},
                 {"coordinates",
                  {Rounded(longitude, kPlaceDigits), Rounded(place.y, kPlaceDigits),
                   Rounded(place.z, kHeightDigits)}}}},
               {"properties",
                {{"name", pois.POIName(view)},
                 {"color", HexOf(color)},
                 {"marker", SIMPOISET::MarkerKey(pois.POIMarker(view))}}}};
    return StatusCode::Ok;
}

}  // namespace

Status WritePoiText(const Simulator& simulator, std::string& text) {
    const Scene* const scene = simulator.GetScene();
    if (scene == nullptr) return _SetErrPosn(StatusCode::BadState);
    COORDREFSYS globe;
    if (const Status made = COORDREFSYS::FromIdentity(COORDREFSYS::kFixedReference, globe);
        !made.Good()) {
        return made;
    }
    const COORDREFSYS& own = scene->Reference().Transform().OutputCoordRefSys();
    GlobeOperations operations;
    if (!own.Valid() || !COORDOP_LIST::Create(own, globe, operations.toGlobe).Good() ||
        !COORDOP_LIST::Create(globe, own, operations.fromGlobe).Good()) {
        return _SetErrPosn(StatusCode::BadState,
                           "the landscape's coordinate system isn't known, so its points have no "
                           "place on the globe; build it with one");
    }
    operations.geographic = own.IsGeographic();
    Json features = Json::array();
    for (int view = View::kFirstPoi; view < View::kMain; ++view) {
        if (!simulator.Pois().Exists(view)) continue;
        Json feature;
        if (const Status made = Feature(simulator.Pois(), view, operations, feature); !made.Good())
            return made;
        features.push_back(std::move(feature));
    }
    const Json collection{{"type", "FeatureCollection"}, {"features", std::move(features)}};
    text = collection.dump(kIndent, ' ', false, Json::error_handler_t::replace) + '\n';
    return StatusCode::Ok;
}

}  // namespace tarnvale
