#pragma once

#include <string>

#include "base/status.h"
#include "geom/transgen.h"
#include "zpf/database.h"
#include "zpf/zpfraster.h"

namespace tarnvale::ZPF {

/// Most objects that a file may hold.
inline constexpr int kMaximumObjects = 65536;

/// Most coordinate reference systems that the rasters of one file may use.
inline constexpr int kMaximumSystems = 64;
/// Deepest that an object may stand; the root's children stand at 1.
inline constexpr int kDeepestObject = 32;

/// Makes the store's own tables.
Status CreateSchema(Database& database);

/// Looks at every table, index, view and trigger before anything else is read.
/// @return FileRefused for what neither the store nor a GIS that adds layers makes: views, other
/// virtual
///         tables than spatial indices, other triggers than the usual ones, other columns than ours
Status CheckSchema(Database& database);

/// Reads the tree of objects. A sound GeoPackage without the store's tables has none.
/// @return FileDamaged where numbers, types, parents or names can't be
Status LoadObjects(Database& database);

/// @return the child used last, else the first one, else kNoObject
[[nodiscard]] int FindLastUsed(const Database& database, int parent, ObjectType type);

/// @param table  a name for which IsTileTableName holds
/// @return FileRefused where it isn't a plain table with the columns of a tile table
Status CheckTileTable(Database& database, const std::string& table);

/// All that the file says of one raster object.
struct RasterRecord {
    RasterHeader header;
    int factor = 1;  ///< reduction of a pyramid level; 1 for a raster of its own and for a mask
    std::string tileTable;  ///< empty: the store's own table
    int zoomLevel = 0;
    bool hasTransform = false;
    GeoTransform transform;
    int srsId = -1;
    bool hasStatistics = false;
    RasterStatistics statistics;
};

/// @return BadState where `number` is no raster; FileDamaged where what is said of it can't be
Status ReadRasterRecord(Database& database, int number, RasterRecord& record);
Status WriteRasterRecord(Database& database, int number, const RasterRecord& record);

/// @return cells of a side of `side` base cells at a reduction by `factor`: the last one may be
/// partial
[[nodiscard]] constexpr int ReducedSide(int side, int factor) {
    return side / factor + (side % factor != 0 ? 1 : 0);
}

}  // namespace tarnvale::ZPF
