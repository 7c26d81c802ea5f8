#include "atlas/placetexts.h"

#include <QLocale>
#include <cmath>

#include "geom/degtext.h"
#include "qtbase/apptext.h"

namespace tarnvale {

QString LengthText(double metres) {
    constexpr double kKilometre = 1000;
    if (metres >= kKilometre) return QLocale().toString(metres / kKilometre, 'g', 6) + " km";
    return QLocale().toString(metres, 'g', 6) + " m";
}

QString HeightText(double metres, double span) {
    constexpr double kFine = 10;
    const int decimals = span < kFine ? 2 : 0;
    return QLocale().toString(metres, 'f', decimals) + " m";
}

QString GeographicText(const MapSource& source, const MapPoint& map) {
    const auto place = source.ToGlobe(map);
    if (!place) return {};
    const std::string latitude =
        ConvertDegsToString(place->latitude, DegreeFlag::kNorthSouth | DegreeFlag::kDegrees);
    const std::string longitude =
        ConvertDegsToString(place->longitude, DegreeFlag::kEastWest | DegreeFlag::kDegrees);
    return QString::fromStdString(latitude + "  " + longitude)
        .replace(QLatin1Char('.'), QLocale().decimalPoint());
}

QString MapText(const MapSource& source, const MapPoint& map) {
    if (source.InCells()) {
        return TextOf("atlas_cell")
            .arg(QLocale().toString(std::floor(map.x), 'f', 0),
                 QLocale().toString(std::floor(-map.y), 'f', 0));
    }
    // A metre or less in all units that maps have; without a system nobody knows which.
    const int decimals = source.MetresX() > 1000 ? 6 : source.HasSystem() ? 1 : 4;
    QLocale plain;
    plain.setNumberOptions(QLocale::OmitGroupSeparator);
    return (plain.toString(map.x, 'f', decimals) + QStringLiteral("  ") +
            plain.toString(map.y, 'f', decimals) + QStringLiteral("  ") +
            QString::fromStdString(source.SystemName()))
        .trimmed();
}

QString PlaceText(const MapSource& source, const MapPoint& map) {
    const QString geographic = GeographicText(source, map), own = MapText(source, map);
    return geographic.isEmpty() ? own : geographic + QStringLiteral("; ") + own;
}

}  // namespace tarnvale
