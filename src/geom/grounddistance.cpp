#include "geom/grounddistance.h"

#include <geodesic.h>

namespace tarnvale {

double GroundDistance(const GeographicPlace& from, const GeographicPlace& to) {
    constexpr double kAxis = 6378137, kFlattening = 1 / 298.257223563;
    geod_geodesic globe{};
    geod_init(&globe, kAxis, kFlattening);
    double metres = 0;
    geod_inverse(&globe, from.latitude, from.longitude, to.latitude, to.longitude, &metres, nullptr,
                 nullptr);
    return metres;
}

}  // namespace tarnvale
