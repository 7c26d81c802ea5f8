#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/status.h"
#include "base/vec3f.h"

namespace tarnvale {

/// Affine map from a raster's grid to map coordinates, in the field's usual order of six:
/// X = xOrigin + column * xColumn + row * xRow, Y = yOrigin + column * yColumn + row * yRow.
/// Grid (0, 0) is the outer corner of the first cell; (0.5, 0.5) is its centre.
struct GeoTransform {
    double xOrigin = 0, xColumn = 1, xRow = 0, yOrigin = 0, yColumn = 0, yRow = -1;
    friend bool operator==(const GeoTransform&, const GeoTransform&) = default;
};

/// A coordinate reference system of maps: heights don't take part, so the horizontal half of a
/// compound system stands for it. A value; empty until made from text. Axis order is always x east
/// or longitude, y north or latitude; geographic coordinates are in the system's own angle, nearly
/// always degrees. Every question but Valid and Wkt takes a millisecond or more: ask once, not for
/// each point.
class COORDREFSYS {
public:
    /// Identity number of the fixed reference that north is measured in.
    static constexpr int kFixedReference = 1281;

    COORDREFSYS() = default;
    /// @param text  "EPSG:n", WKT of any version, or a PROJ string; up to 100,000 bytes, trusted in
    /// nothing
    /// @param out   set only on success
    /// @return BadState if it isn't understood, or isn't a system of two map coordinates
    static Status FromText(std::string_view text, COORDREFSYS& out);
    /// @param identity  kFixedReference: geographic WGS 84 in degrees
    static Status FromIdentity(int identity, COORDREFSYS& out);

    [[nodiscard]] bool Valid() const noexcept { return !wkt_.empty(); }
    [[nodiscard]] const std::string& Wkt() const noexcept { return wkt_; }  ///< WKT2:2019, one line
    [[nodiscard]] std::string Wkt1()
        const;  ///< WKT1 as GDAL writes it; empty if it can't be said so
    [[nodiscard]] std::string Name() const;
    [[nodiscard]] bool IsGeographic() const;
    [[nodiscard]] double MetresPerUnit() const;   ///< of a projected axis; 0 for geographic
    [[nodiscard]] double DegreesPerUnit() const;  ///< of a geographic axis; 0 for projected
    /// What the registry says of where it is meant to be used, one line; empty if it says nothing.
    [[nodiscard]] std::string AreaOfUse() const;
    /// @return the code of the EPSG registry that this system equals, if there is one
    [[nodiscard]] std::optional<int> EpsgCode() const;
    /// Whether coordinates of the one are coordinates of the other to a millimetre or so, however
    /// each is spelled. Datums that no known operation shifts against each other count as one.
    [[nodiscard]] bool Equivalent(const COORDREFSYS& other) const;

private:
    std::string wkt_;
};

/// Two-way point conversion from a grid (columns, rows) to map coordinates, or on to another
/// system's map coordinates, or on to another raster's grid. A value: copies are independent, so
/// one copy may be used on each thread. 64-bit throughout.
class TransGen {
public:
    TransGen();
    TransGen(const TransGen& other);
    TransGen& operator=(const TransGen& other);
    TransGen(TransGen&&) noexcept;
    TransGen& operator=(TransGen&&) noexcept;
    ~TransGen();

    [[nodiscard]] const GeoTransform& Grid() const;
    [[nodiscard]] const COORDREFSYS& InputCoordRefSys() const;
    [[nodiscard]] const COORDREFSYS& OutputCoordRefSys() const;

private:
    friend Status TransGenInit(TransGen&, const GeoTransform&, const COORDREFSYS&);
    friend Status TransGenSetOutputMapCoordRefSys(TransGen&, const COORDREFSYS&);
    friend Status TransGenSetOutputGrid(TransGen&, const GeoTransform&, const COORDREFSYS&);
    friend Status TransGenConvPointFwd(const TransGen&, double&, double&);
    friend Status TransGenConvPointInv(const TransGen&, double&, double&);
    struct State;
    std::unique_ptr<State> state_;
};

/// Grid to map. @return BadState if the transform has no inverse
Status TransGenInit(TransGen& transform, const GeoTransform& grid, const COORDREFSYS& system);
/// Makes `system` what the forward conversion ends in. Equivalent systems cost nothing per point,
/// others about 0.3 microseconds; setting it takes some ten milliseconds, and nothing if it stands
/// already.
/// @return BadState, `transform` unchanged, if no conversion leads there: one of both isn't Valid,
/// or
///         has no place on the globe
Status TransGenSetOutputMapCoordRefSys(TransGen& transform, const COORDREFSYS& system);
/// Makes the pixels of another raster what the forward conversion ends in. Failures as above.
Status TransGenSetOutputGrid(TransGen& transform, const GeoTransform& grid,
                             const COORDREFSYS& system);
/// Converts in place; on failure the point stays as it was.
Status TransGenConvPointFwd(const TransGen& transform, double& x, double& y);
Status TransGenConvPointInv(const TransGen& transform, double& x, double& y);

}  // namespace tarnvale
