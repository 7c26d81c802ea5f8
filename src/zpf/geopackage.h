#pragma once

#include <string>

#include "base/status.h"
#include "geom/transgen.h"
#include "zpf/database.h"
#include "zpf/schema.h"
#include "zpf/tilecodec.h"

namespace tarnvale::ZPF {

/// Makes the tables of an empty GeoPackage 1.3 with the extensions that the store uses.
Status CreateGeoPackage(Database& database);

/// Adds the system to the file unless it is there. @param srsId  out: its number there
Status WriteReferenceSystem(Database& database, const COORDREFSYS& system, int& srsId);
/// Finds a system of the file; understanding one takes a millisecond, so that is done once.
/// @param system  out: lives as long as the database
/// @return ReadFailed where the file has no such system or what it says can't be understood
Status FindReferenceSystem(Database& database, int srsId, const KnownSystem*& system);

/// What other programs are told of a raster with a tile table.
struct TileSet {
    std::string table;
    std::string identifier;  ///< unique in the file
    std::string description;
    RasterRecord record;  ///< of the base raster
    int levels = 1;
};

/// Makes the tile table and enters it where GeoPackage wants it. A raster that doesn't lie straight
/// and north up, or has no georeference, is entered in pixels, x to the right and y upward from
/// -rows to 0.
Status CreateTileSet(Database& database, const TileSet& set);
/// Enters a tile of a gridded coverage. @param tileId  its row in the tile table
/// @param range  raster units; minimum > maximum where all cells are null
Status EnterCoverageTile(Database& database, const TileSet& set, std::int64_t tileId,
                         const RasterStatistics& range);

}  // namespace tarnvale::ZPF
