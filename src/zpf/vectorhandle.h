#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "base/status.h"
#include "geom/transgen.h"
#include "zpf/database.h"
#include "zpf/zpffile.h"

namespace tarnvale::ZPF {

/// A rectangle of a map, in the map's units.
struct VectorBox {
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
    /// Of numbers that are finite, and in order.
    [[nodiscard]] bool Sound() const noexcept;
    [[nodiscard]] bool Touches(const VectorBox& other) const noexcept;
    void Include(const VectorBox& other) noexcept;
};

/// What a file says of a layer of features.
struct VectorHeader {
    std::string table, column;        ///< where the geometries are
    std::string geometryType;         ///< upper case, such as "POLYGON" or, for any, "GEOMETRY"
    std::optional<VectorBox> extent;  ///< as entered by who wrote the file: it may be stale
    int srsId = -1;
    bool indexed = false;  ///< by place
};

/// A feature that a selection found.
struct VectorEntry {
    std::int64_t id = 0;
    std::optional<VectorBox> box;  ///< of its index entry, rounded outward to 32-bit floats
};

/// The geometry of a feature.
struct VectorGeometry {
    std::optional<VectorBox> box;  ///< as written beside it
    std::span<const std::byte>
        wkb;               ///< well-known binary; empty for none; on loan to the next read
    bool damaged = false;  ///< it isn't what a geometry begins with, or can't be read
};

/// The name of the table that a GeoPackage lists under `name`, by any case of its letters.
/// @return ObjectNotFound without a table of features or attributes of that name; the file's error
Status FindListedTable(const FILEHANDLE& file, const QNSTRING& name, std::string& table);

/// A layer of features of a project file: a GeoPackage feature table. Geometries are handed out as
/// well-known binary. Thread: one at a time, with the rest of its file.
class VECTORHANDLE {
public:
    /// @param table  any case
    /// @return ObjectNotFound without such a table; BadState where it has no geometry; the file's
    /// error
    Status Open(const FILEHANDLE& file, const QNSTRING& table);
    [[nodiscard]] const VectorHeader& Header() const noexcept { return header_; }
    /// @param system  out: not Valid where the layer has none, or none that is understood
    void GetSystem(COORDREFSYS& system) const;
    /// Whether there is a feature, whatever its geometry.
    [[nodiscard]] bool Any();

    /// Begins a selection: of what may touch `box` where the layer is indexed, or else of all.
    void Select(const VectorBox& box);
    /// Begins a selection of all features.
    void SelectAll();
    /// @return the next of the selection
    [[nodiscard]] RowState Next(VectorEntry& entry);
    /// A feature without geometry, or one that went, has an empty one.
    void ReadGeometry(std::int64_t id, VectorGeometry& geometry);

    /// Ends selecting and reading, so that other programs can write to the file.
    void Finish();

private:
    void OpenIndex();

    std::shared_ptr<Database> database_;  // before the statements, which it outlives
    VectorHeader header_;
    Statement index_, rows_, geometry_;
    bool byIndex_ = false;
};

}  // namespace tarnvale::ZPF
