#include "simulator/readouts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "base/settings.h"
#include "base/textres.h"
#include "geom/degtext.h"

namespace tarnvale {

namespace {

using Kind = ReadoutRowKind;

constexpr auto kTerrainRows = std::to_array<ReadoutRow>({
    {"east_extent_c", Kind::EastWest},
    {"west_extent_c", Kind::EastWest},
    {"north_extent_c", Kind::NorthSouth},
    {"south_extent_c", Kind::NorthSouth},
    {"east_west_extents_c", Kind::Distance},
    {"north_south_extents_c", Kind::Distance},
    {"maximum_elevation_c", Kind::Elevation},
    {"minimum_elevation_c", Kind::Elevation},
    {"terrain_quality_c", Kind::Percent},
    {"frame_rate_c", Kind::FrameRate},
});
constexpr auto kViewerRows = std::to_array<ReadoutRow>({
    {"position_c", Kind::Position},
    {"altitude_c", Kind::Elevation},
    {"surface_elevation_c", Kind::Elevation},
    {"height_above_surface_c", Kind::Elevation},
    {"pitch_c", Kind::Angle},
    {"roll_c", Kind::Angle},
    {"heading_c", Kind::Angle},
    {"velocity_c", Kind::Velocity},
});
constexpr auto kMouseRows = std::to_array<ReadoutRow>({
    {"mouse_location_c", Kind::Position},
    {"mouse_elevation_c", Kind::Elevation},
    {"distance_c", Kind::PlaceDistance},
    {"accuracy_c", Kind::Accuracy},
});
constexpr auto kViewRows = std::to_array<ReadoutRow>({
    {"center_position_c", Kind::Position},
    {"elevation_c", Kind::Elevation},
    {"distance_c", Kind::PlaceDistance},
    {"accuracy_c", Kind::Accuracy},
});
constexpr auto kPageTable = std::to_array<ReadoutPage>({
    {"terrain", kTerrainRows},
    {"viewer", kViewerRows},
    {"mouse", kMouseRows},
    {"forward", kViewRows},
    {"left", kViewRows},
    {"right", kViewRows},
    {"rear", kViewRows},
    {"up", kViewRows},
    {"down", kViewRows},
    {"vertical", kViewRows},
    {"map_view", kViewRows},
    {"custom_view", kViewRows},
});
static_assert(kPageTable.size() == Readouts::kPages);
static_assert(kTerrainRows.size() <= Readouts::kMostRows);

// With the decimal point of the process's locale, as numbers look everywhere on the desktop.
std::string TwoDecimals(double value) {
    std::array<char, 400> text{};
    std::snprintf(text.data(), text.size(), "%.2f", value);
    std::string number = text.data();
    if (number.starts_with('-') && number.find_first_of("123456789") == std::string::npos)
        number.erase(0, 1);
    return number;
}

}  // namespace

std::span<const ReadoutPage> ReadoutPages() {
    return kPageTable;
}

void Readouts::SetDisplay(ReadoutsDisplay* display) {
    display_ = display;
    shown_ = {};
}

void Readouts::Clear() {
    shown_ = {};
    if (display_ == nullptr) return;
    for (int page = 0; page < kPages; ++page) {
        const auto rows = static_cast<int>(kPageTable[page].rows.size());
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < 2; ++column)
                display_->ShowReadout({page, row, column}, {});
        }
    }
}

void Readouts::Update(const SimulatorReadoutValues& values, bool isLatLon, bool force) {
    if (display_ == nullptr) return;
    const Refresh refresh{isLatLon, force};
    const SimulatorReadoutValues& v = values;
    int row = 0;
    for (const double value :
         {v.eastExtent, v.westExtent, v.northExtent, v.southExtent, double{v.eastWestExtents},
          double{v.northSouthExtents}, double{v.maximumElevation}, double{v.minimumElevation},
          double{v.terrainQuality},
          // there is no average in the first second
          double{v.averageFrameRate > 0 ? v.averageFrameRate : v.instantFrameRate}}) {
        ShowRow(0, row++, value, refresh);
    }
    ShowRow(1, 0, v.viewerNorth, refresh, v.viewerEast);
    row = 1;
    for (const float value : {v.altitude, v.surfaceElevation, v.altitude - v.surfaceElevation,
                              v.pitch, v.roll, v.heading, v.velocity}) {
        ShowRow(1, row++, value, refresh);
    }
    ShowPlace(kMousePage, v.mouse, refresh);
    ShowPlace(kForwardPage, v.centres[View::kMain], refresh);
    for (int view = 0; view < View::kFirstPoi; ++view)
        ShowPlace(kFirstViewPage + view, v.centres[view], refresh);
}

void Readouts::ShowPlace(int page, const ReadoutPlace& place, const Refresh& refresh) {
    if (!place.valid) return;
    constexpr double kUnknown = SimulatorReadoutValues::kUnknown;
    ShowRow(page, 0, place.north, refresh, place.east);
    ShowRow(page, 1, place.elevation, refresh);
    ShowRow(page, 2, place.hasDistance ? double{place.distance} : kUnknown, refresh);
    ShowRow(page, 3, place.accuracy >= 0 ? place.accuracy : kUnknown, refresh);
}

bool Readouts::Changed(const ReadoutField& field, double value, bool force) {
    Shown& shown = shown_[field.page][field.row][field.column];
    const auto number = static_cast<float>(value);
    const bool same = shown.value == number || (std::isnan(shown.value) && std::isnan(number));
    if (!force && shown.known && same) return false;
    shown = {number, true};
    return true;
}

void Readouts::ShowRow(int page, int row, double value, const Refresh& refresh, double second) {
    const Kind kind = kPageTable[page].rows[row].kind;
    const ReadoutField field{page, row, 0}, beside{page, row, 1};
    if (Changed(field, value, refresh.force)) {
        display_->ShowReadout(field, TextOf(value, kind == Kind::Position ? Kind::NorthSouth : kind,
                                            refresh.isLatLon));
        const bool attached = kind == Kind::PlaceDistance || kind == Kind::Accuracy;
        if (const std::string unit = UnitText(kind); !attached && !unit.empty())
            display_->ShowReadout(beside, unit);
    }
    if (kind == Kind::Position && Changed(beside, second, refresh.force))
        display_->ShowReadout(beside, TextOf(second, Kind::EastWest, refresh.isLatLon));
}

std::string Readouts::TextOf(double value, ReadoutRowKind kind, bool isLatLon) const {
    if (!std::isfinite(value)) return {};
    switch (kind) {
        case Kind::NorthSouth:
        case Kind::EastWest: {
            if (!isLatLon) return TwoDecimals(value);
            const std::int32_t direction =
                kind == Kind::NorthSouth ? DegreeFlag::kNorthSouth : DegreeFlag::kEastWest;
            return ConvertDegsToString(value, settings::Format.Get() | direction);
        }
        case Kind::PlaceDistance:
            return TwoDecimals(value) + " " + UnitText(kind);
        case Kind::Accuracy: {
            std::array<char, 32> text{};
            std::snprintf(text.data(), text.size(), "%d ", static_cast<int>(value));
            return text.data() + UnitText(kind);
        }
        default:
            return TwoDecimals(value);
    }
}

std::string Readouts::UnitText(ReadoutRowKind kind) const {
    switch (kind) {
        case Kind::Distance:
        case Kind::PlaceDistance:
        case Kind::Accuracy:
            return scale_.Symbol(ReadoutQuantity::Distance);
        case Kind::Elevation:
            return scale_.Symbol(ReadoutQuantity::Elevation);
        case Kind::Angle:
            return scale_.Symbol(ReadoutQuantity::Angle);
        case Kind::Velocity:
            return scale_.Symbol(ReadoutQuantity::Velocity);
        case Kind::Percent:
            return TEXTRES::Text("percent");
        case Kind::FrameRate:
            return TEXTRES::Text("frames_per_second");
        default:
            return {};
    }
}

}  // namespace tarnvale
