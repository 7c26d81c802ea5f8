#pragma once

#include <QString>

#include "atlas/mapsource.h"

namespace tarnvale {

/// A length in metres or kilometres, in the user's way of writing numbers.
[[nodiscard]] QString LengthText(double metres);
/// A height of a legend. @param span  from the lowest to the highest, metres as all
[[nodiscard]] QString HeightText(double metres, double span);
/// Latitude and longitude; empty where the map has no place on the globe.
[[nodiscard]] QString GeographicText(const MapSource& source, const MapPoint& map);
/// Map coordinates with the code of their system.
[[nodiscard]] QString MapText(const MapSource& source, const MapPoint& map);
/// Both in one line.
[[nodiscard]] QString PlaceText(const MapSource& source, const MapPoint& map);

}  // namespace tarnvale
