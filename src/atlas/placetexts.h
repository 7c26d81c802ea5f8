#pragma once

#include <QString>

#include "atlas/mappicture.h"

namespace tarnvale {

/// A length in metres or kilometres, in the user's way of writing numbers.
[[nodiscard]] QString LengthText(double metres);
/// A height of a legend. @param span  from the lowest to the highest, metres as all
[[nodiscard]] QString HeightText(double metres, double span);
/// Latitude and longitude; empty where the map has no place on the globe.
[[nodiscard]] QString GeographicText(const MapPicture& picture, const MapPoint& map);
/// Map coordinates with the code of their system.
[[nodiscard]] QString MapText(const MapPicture& picture, const MapPoint& map);
/// Both in one line.
[[nodiscard]] QString PlaceText(const MapPicture& picture, const MapPoint& map);

}  // namespace tarnvale
