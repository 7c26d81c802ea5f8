#pragma once

#include <optional>
#include <string>

#include "atlas/mapcamera.h"
#include "base/status.h"
#include "geom/coordop.h"
#include "geom/crslist.h"
#include "geom/transgen.h"

namespace tarnvale {

/// An object of a project file as a map: its name, and where it lies. Thread: what is said here
/// doesn't change once the object is open, so any.
class MapSource {
public:
    MapSource() = default;
    MapSource(const MapSource&) = delete;
    MapSource& operator=(const MapSource&) = delete;
    virtual ~MapSource() = default;

    [[nodiscard]] const std::string& Name() const noexcept { return name_; }
    [[nodiscard]] const std::string& ObjectPath() const noexcept { return path_; }
    /// Whether its places are known on the globe.
    [[nodiscard]] bool HasSystem() const noexcept { return onGlobe_; }
    /// Empty where it has none.
    [[nodiscard]] const std::string& SystemName() const noexcept { return systemName_; }
    /// Metres of the map for one of its units; true ones for degrees at the object's middle.
    [[nodiscard]] double MetresX() const noexcept { return metresX_; }
    [[nodiscard]] double MetresY() const noexcept { return metresY_; }
    [[nodiscard]] std::optional<GeographicPlace> ToGlobe(const MapPoint& map) const;
    [[nodiscard]] std::optional<MapPoint> FromGlobe(const GeographicPlace& place) const;

    /// The smallest rectangle of the map that holds the object.
    virtual void Bounds(MapPoint& low, MapPoint& high) const = 0;
    /// Whether its coordinates are columns and rows.
    [[nodiscard]] virtual bool InCells() const noexcept = 0;
    /// Whether what is seen can't be understood without a legend.
    [[nodiscard]] virtual bool NeedsLegend() const noexcept = 0;

protected:
    /// Once Bounds are known. @param system  Valid
    Status SetSystem(const COORDREFSYS& system);
    void SetName(std::string name, std::string path);

private:
    std::string name_, path_, systemName_;
    bool onGlobe_ = false;
    double metresX_ = 1, metresY_ = 1;
    COORDOP_LIST toGlobe_, fromGlobe_;
};

}  // namespace tarnvale
