#include "zpf/geopackage.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "zpf/cells.h"

namespace tarnvale::ZPF {

namespace {

constexpr int kFirstOwnSystem = 100'000;  // numbers below belong to registries

constexpr const char* kTables = R"(
CREATE TABLE gpkg_spatial_ref_sys (
  srs_name TEXT NOT NULL, srs_id INTEGER NOT NULL PRIMARY KEY, organization TEXT NOT NULL,
  organization_coordsys_id INTEGER NOT NULL, definition TEXT NOT NULL, description TEXT,
  definition_12_063 TEXT NOT NULL, epoch DOUBLE);
CREATE TABLE gpkg_contents (
  table_name TEXT NOT NULL PRIMARY KEY, data_type TEXT NOT NULL, identifier TEXT UNIQUE, description TEXT DEFAULT '',
  last_change DATETIME NOT NULL DEFAULT (strftime('%Y-%m-%dT%H:%M:%fZ','now')),
  min_x DOUBLE, min_y DOUBLE, max_x DOUBLE, max_y DOUBLE, srs_id INTEGER,
  CONSTRAINT fk_gc_r_srs_id FOREIGN KEY (srs_id) REFERENCES gpkg_spatial_ref_sys(srs_id));
CREATE TABLE gpkg_tile_matrix_set (
  table_name TEXT NOT NULL PRIMARY KEY, srs_id INTEGER NOT NULL,
  min_x DOUBLE NOT NULL, min_y DOUBLE NOT NULL, max_x DOUBLE NOT NULL, max_y DOUBLE NOT NULL,
  CONSTRAINT fk_gtms_table_name FOREIGN KEY (table_name) REFERENCES gpkg_contents(table_name),
  CONSTRAINT fk_gtms_srs FOREIGN KEY (srs_id) REFERENCES gpkg_spatial_ref_sys(srs_id));
CREATE TABLE gpkg_tile_matrix (
  table_name TEXT NOT NULL, zoom_level INTEGER NOT NULL, matrix_width INTEGER NOT NULL, matrix_height INTEGER NOT NULL,
  tile_width INTEGER NOT NULL, tile_height INTEGER NOT NULL, pixel_x_size DOUBLE NOT NULL, pixel_y_size DOUBLE NOT NULL,
  CONSTRAINT pk_ttm PRIMARY KEY (table_name, zoom_level),
  CONSTRAINT fk_tmm_table_name FOREIGN KEY (table_name) REFERENCES gpkg_contents(table_name));
CREATE TABLE gpkg_extensions (
  table_name TEXT, column_name TEXT, extension_name TEXT NOT NULL, definition TEXT NOT NULL, scope TEXT NOT NULL,
  CONSTRAINT ge_tce UNIQUE (table_name, column_name, extension_name));
CREATE TABLE gpkg_2d_gridded_coverage_ancillary (
  id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, tile_matrix_set_name TEXT NOT NULL UNIQUE,
  datatype TEXT NOT NULL DEFAULT 'integer', scale REAL NOT NULL DEFAULT 1.0, offset REAL NOT NULL DEFAULT 0.0,
  precision REAL DEFAULT 1.0, data_null REAL, grid_cell_encoding TEXT DEFAULT 'grid-value-is-center', uom TEXT,
  field_name TEXT DEFAULT 'Height', quantity_definition TEXT DEFAULT 'Height',
  CONSTRAINT fk_g2dgtct_name FOREIGN KEY (tile_matrix_set_name) REFERENCES gpkg_tile_matrix_set(table_name),
  CHECK (datatype IN ('integer', 'float')));
CREATE TABLE gpkg_2d_gridded_tile_ancillary (
  id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, tpudt_name TEXT NOT NULL, tpudt_id INTEGER NOT NULL,
  scale REAL NOT NULL DEFAULT 1.0, offset REAL NOT NULL DEFAULT 0.0, min REAL DEFAULT NULL, max REAL DEFAULT NULL,
  mean REAL DEFAULT NULL, std_dev REAL DEFAULT NULL,
  CONSTRAINT fk_g2dgtat_name FOREIGN KEY (tpudt_name) REFERENCES gpkg_contents(table_name),
  UNIQUE (tpudt_name, tpudt_id));
INSERT INTO gpkg_spatial_ref_sys (srs_name, srs_id, organization, organization_coordsys_id, definition, description,
  definition_12_063) VALUES
  ('Undefined Cartesian SRS', -1, 'NONE', -1, 'undefined', 'undefined Cartesian coordinate reference system',
   'undefined'),
  ('Undefined geographic SRS', 0, 'NONE', 0, 'undefined', 'undefined geographic coordinate reference system',
   'undefined');
INSERT INTO gpkg_extensions VALUES
  ('gpkg_spatial_ref_sys', 'definition_12_063', 'gpkg_crs_wkt_1_1',
   'http://www.geopackage.org/spec130/#extension_crs_wkt', 'read-write'),
  ('gpkg_spatial_ref_sys', 'epoch', 'gpkg_crs_wkt_1_1',
   'http://www.geopackage.org/spec130/#extension_crs_wkt', 'read-write'),
  ('gpkg_2d_gridded_coverage_ancillary', NULL, 'gpkg_2d_gridded_coverage',
   'http://docs.opengeospatial.org/is/17-066r1/17-066r1.html', 'read-write'),
  ('gpkg_2d_gridded_tile_ancillary', NULL, 'gpkg_2d_gridded_coverage',
   'http://docs.opengeospatial.org/is/17-066r1/17-066r1.html', 'read-write');
)";

constexpr const char* kOwnEntries = R"(
INSERT INTO gpkg_contents (table_name, data_type, identifier, description)
  VALUES ('zpf_object', 'attributes', 'zpf_object', 'Objects of the landscape');
INSERT INTO gpkg_extensions VALUES
  ('zpf_object', NULL, 'tarnvale_zpf', 'docs/file-format.md of Tarnvale', 'write-only'),
  ('zpf_raster', NULL, 'tarnvale_zpf', 'docs/file-format.md of Tarnvale', 'write-only'),
  ('zpf_tile', NULL, 'tarnvale_zpf', 'docs/file-format.md of Tarnvale', 'write-only'),
  ('zpf_color', NULL, 'tarnvale_zpf', 'docs/file-format.md of Tarnvale', 'write-only'),
  ('zpf_text', NULL, 'tarnvale_zpf', 'docs/file-format.md of Tarnvale', 'write-only'),
  ('zpf_table', NULL, 'tarnvale_zpf', 'docs/file-format.md of Tarnvale', 'write-only'),
  ('zpf_profile', NULL, 'tarnvale_zpf', 'docs/file-format.md of Tarnvale', 'write-only');
)";

Status InsertSystem(Database& database, int srsId, const COORDREFSYS& system,
                    std::optional<int> epsg) {
    Statement insert;
    if (const Status status =
            database.Prepare("INSERT OR IGNORE INTO gpkg_spatial_ref_sys (srs_name, srs_id, "
                             "organization, organization_coordsys_id,"
                             " definition, definition_12_063) VALUES (?1, ?2, ?3, ?4, ?5, ?6)",
                             insert);
        !status.Good()) {
        return status;
    }
    const std::string wkt1 = system.Wkt1();
    insert.Bind(1, std::string_view(system.Name()));
    insert.Bind(2, std::int64_t{srsId});
    insert.Bind(3, std::string_view(epsg ? "EPSG" : "NONE"));
    insert.Bind(4, std::int64_t{epsg.value_or(srsId)});
    insert.Bind(5, wkt1.empty() ? std::string_view("undefined") : std::string_view(wkt1));
    insert.Bind(6, std::string_view(system.Wkt()));
    return database.Run(insert);
}

/// Whether a text from a file may go to the coordinate library: well-known text alone. The other
/// forms that it takes can name files.
bool IsWellKnownText(std::string_view text) {
    constexpr std::size_t kLongest = 100'000;
    const bool keyword = !text.empty() && text.front() >= 'A' && text.front() <= 'Z';
    return keyword && text.size() <= kLongest && text.find_first_of("[(") != std::string_view::npos;
}

bool Understand(std::string_view text, KnownSystem& known) {
    if (!COORDREFSYS::FromText(text, known.system).Good()) return false;
    known.understood = true;
    known.geographic = known.system.IsGeographic();
    known.metresPerUnit = known.system.MetresPerUnit();
    return true;
}

/// Reads the texts for a system and tries to understand one of them.
Status ReadReferenceSystem(Database& database, KnownSystem& known) {
    Statement* row = nullptr;
    // All columns: not every GeoPackage has the one with the newer form of the text.
    if (const Status status =
            database.Keep("SELECT * FROM gpkg_spatial_ref_sys WHERE srs_id = ?1", row);
        !status.Good()) {
        return status;
    }
    row->Bind(1, std::int64_t{known.srsId});
    const RowState state = row->Step();
    std::array<std::string, 2> texts;  // newer form, older form
    std::string registry;
    std::int64_t code = 0;
    for (int column = 0; state == RowState::Found && column < row->Columns(); ++column) {
        const std::string_view name = row->ColumnName(column);
        if (name == "definition_12_063") texts[0] = row->Text(column);
        if (name == "definition") texts[1] = row->Text(column);
        if (name == "organization") registry = row->Text(column);
        if (name == "organization_coordsys_id") code = row->Integer(column);
    }
    row->Reset();
    if (state == RowState::Failed) {
        return database.Failure("reading a coordinate reference system");
    }
    for (const std::string& text : texts) {
        if (IsWellKnownText(text) && Understand(text, known)) return StatusCode::Ok;
    }
    if (registry == "EPSG") static_cast<void>(Understand(fmt::format("EPSG:{}", code), known));
    return StatusCode::Ok;
}

/// Where a tile set lies for other programs.
struct Placement {
    int srsId;
    double minX, maxY, pixelX, pixelY;
};

Placement PlaceOf(const RasterRecord& record) {
    const GeoTransform& t = record.transform;
    const bool straight =
        record.hasTransform && t.xRow == 0 && t.yColumn == 0 && t.xColumn > 0 && t.yRow < 0;
    if (!straight) return {-1, 0, 0, 1, 1};
    return {record.srsId, t.xOrigin, t.yOrigin, t.xColumn, -t.yRow};
}

Status EnterExtent(Database& database, const TileSet& set, const Placement& place) {
    const RasterHeader& header = set.record.header;
    Statement contents;
    if (const Status status =
            database.Prepare("INSERT INTO gpkg_contents (table_name, data_type, identifier, "
                             "description, min_x, min_y, max_x, max_y,"
                             " srs_id) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)",
                             contents);
        !status.Good()) {
        return status;
    }
    const bool coverage = StoreOf(header.type) == TileStore::Coverage;
    contents.Bind(1, std::string_view(set.table));
    contents.Bind(2, std::string_view(coverage ? "2d-gridded-coverage" : "tiles"));
    contents.Bind(3, std::string_view(set.identifier));
    contents.Bind(4, std::string_view(set.description));
    contents.Bind(5, place.minX);
    contents.Bind(6, place.maxY - header.rows * place.pixelY);
    contents.Bind(7, place.minX + header.columns * place.pixelX);
    contents.Bind(8, place.maxY);
    contents.Bind(9, std::int64_t{place.srsId});
    return database.Run(contents);
}

/// The matrices of all levels cover one rectangle of whole tiles, so it is padded to the coarsest.
Status EnterMatrices(Database& database, const TileSet& set, const Placement& place) {
    const int top = set.levels - 1;
    const std::int64_t span = std::int64_t{kTileSide} << top;
    const std::int64_t acrossTop = (set.record.header.columns + span - 1) / span;
    const std::int64_t downTop = (set.record.header.rows + span - 1) / span;
    Statement matrixSet;
    if (const Status status = database.Prepare(
            "INSERT INTO gpkg_tile_matrix_set VALUES (?1, ?2, ?3, ?4, ?5, ?6)", matrixSet);
        !status.Good()) {
        return status;
    }
    matrixSet.Bind(1, std::string_view(set.table));
    matrixSet.Bind(2, std::int64_t{place.srsId});
    matrixSet.Bind(3, place.minX);
    matrixSet.Bind(4, place.maxY - static_cast<double>(downTop * span) * place.pixelY);
    matrixSet.Bind(5, place.minX + static_cast<double>(acrossTop * span) * place.pixelX);
    matrixSet.Bind(6, place.maxY);
    if (const Status status = database.Run(matrixSet); !status.Good()) return status;

    Statement matrix;
    if (const Status status = database.Prepare(
            "INSERT INTO gpkg_tile_matrix VALUES (?1, ?2, ?3, ?4, 512, 512, ?5, ?6)", matrix);
        !status.Good()) {
        return status;
    }
    for (int zoom = 0; zoom <= top; ++zoom) {
        const double factor = std::ldexp(1.0, top - zoom);
        matrix.Bind(1, std::string_view(set.table));
        matrix.Bind(2, std::int64_t{zoom});
        matrix.Bind(3, acrossTop << zoom);
        matrix.Bind(4, downTop << zoom);
        matrix.Bind(5, place.pixelX * factor);
        matrix.Bind(6, place.pixelY * factor);
        if (const Status status = database.Run(matrix); !status.Good()) return status;
    }
    return StatusCode::Ok;
}

Status EnterCoverage(Database& database, const TileSet& set) {
    Statement extension;
    if (const Status status = database.Prepare(
            "INSERT INTO gpkg_extensions VALUES (?1, 'tile_data', 'gpkg_2d_gridded_coverage',"
            " 'http://docs.opengeospatial.org/is/17-066r1/17-066r1.html', 'read-write')",
            extension);
        !status.Good()) {
        return status;
    }
    extension.Bind(1, std::string_view(set.table));
    if (const Status status = database.Run(extension); !status.Good()) return status;

    const RasterHeader& header = set.record.header;
    Statement coverage;
    if (const Status status =
            database.Prepare("INSERT INTO gpkg_2d_gridded_coverage_ancillary"
                             " (tile_matrix_set_name, datatype, scale, offset, precision, "
                             "data_null) VALUES (?1, ?2, ?3, ?4, ?5, ?6)",
                             coverage);
        !status.Good()) {
        return status;
    }
    const bool isFloat = header.type == RasterType::Float32;
    const bool isSigned = header.type == RasterType::Signed16;
    coverage.Bind(1, std::string_view(set.table));
    coverage.Bind(2, std::string_view(isFloat ? "float" : "integer"));
    // A coverage of floats has no scale of its own; signed cells stand 32768 higher in their PNG.
    coverage.Bind(3, isFloat ? 1.0 : header.scale);
    coverage.Bind(4, isFloat    ? 0.0
                     : isSigned ? header.offset - 32768 * header.scale
                                : header.offset);
    coverage.Bind(5, isFloat ? 1.0 : std::abs(header.scale));
    if (isSigned) {
        coverage.BindIf(SignedPng(header).HasNull(), 6, 65535);
    } else {
        coverage.BindIf(header.hasNull && !std::isnan(header.nullValue), 6, header.nullValue);
    }
    return database.Run(coverage);
}

}  // namespace

Status CreateGeoPackage(Database& database) {
    if (const Status status = database.Execute(kTables); !status.Good()) return status;
    // GeoPackage and its coverages want these two, used or not.
    for (const int code : {4326, 4979}) {
        COORDREFSYS system;
        if (const Status status = COORDREFSYS::FromText(fmt::format("EPSG:{}", code), system);
            !status.Good()) {
            return status;
        }
        if (const Status status = InsertSystem(database, code, system, code); !status.Good()) {
            return status;
        }
    }
    return database.Execute(kOwnEntries);
}

Status WriteReferenceSystem(Database& database, const COORDREFSYS& system, int& srsId) {
    if (!system.Valid()) {
        srsId = -1;
        return StatusCode::Ok;
    }
    if (const std::optional<int> epsg = system.EpsgCode()) {
        srsId = *epsg;
        return InsertSystem(database, srsId, system, epsg);
    }
    Statement* known = nullptr;
    if (const Status status = database.Keep(
            "SELECT srs_id FROM gpkg_spatial_ref_sys WHERE definition_12_063 = ?1", known);
        !status.Good()) {
        return status;
    }
    known->Bind(1, std::string_view(system.Wkt()));
    const RowState state = known->Step();
    if (state == RowState::Found) srsId = static_cast<int>(known->Integer(0));
    known->Reset();
    if (state == RowState::Found) return StatusCode::Ok;
    if (state == RowState::Failed) return database.Failure("writing");
    Statement highest;
    if (const Status status =
            database.Prepare("SELECT max(srs_id) FROM gpkg_spatial_ref_sys", highest);
        !status.Good()) {
        return status;
    }
    if (highest.Step() != RowState::Found) return database.Failure("writing");
    srsId = std::max(static_cast<int>(highest.Integer(0)) + 1, kFirstOwnSystem);
    highest.Reset();
    return InsertSystem(database, srsId, system, std::nullopt);
}

Status FindReferenceSystem(Database& database, int srsId, const KnownSystem*& system) {
    auto known = std::ranges::find(database.Systems(), srsId, &KnownSystem::srsId);
    if (known == database.Systems().end()) {
        // Each takes a millisecond or more to understand.
        if (std::ssize(database.Systems()) >= kMaximumSystems) {
            return database.Fault(
                StatusCode::FileRefused,
                fmt::format("rasters in more than {} coordinate reference systems; split the file",
                            kMaximumSystems));
        }
        KnownSystem read;
        read.srsId = srsId;
        if (const Status status = ReadReferenceSystem(database, read); !status.Good())
            return status;
        known = database.Systems().insert(known, std::move(read));
    }
    if (!known->understood) {
        return database.Fault(
            StatusCode::ReadFailed,
            fmt::format("coordinate reference system {} can't be understood", srsId));
    }
    system = &*known;
    return StatusCode::Ok;
}

Status CreateTileSet(Database& database, const TileSet& set) {
    const std::string create = fmt::format(
        "CREATE TABLE \"{}\" (id INTEGER PRIMARY KEY AUTOINCREMENT, zoom_level INTEGER NOT NULL,"
        " tile_column INTEGER NOT NULL, tile_row INTEGER NOT NULL, tile_data BLOB NOT NULL,"
        " UNIQUE (zoom_level, tile_column, tile_row))",
        set.table);
    if (const Status status = database.Execute(create.c_str()); !status.Good()) return status;
    const Placement place = PlaceOf(set.record);
    if (const Status status = EnterExtent(database, set, place); !status.Good()) return status;
    if (const Status status = EnterMatrices(database, set, place); !status.Good()) return status;
    if (StoreOf(set.record.header.type) != TileStore::Coverage) return StatusCode::Ok;
    return EnterCoverage(database, set);
}

Status EnterCoverageTile(Database& database, const TileSet& set, std::int64_t tileId,
                         const RasterStatistics& range) {
    Statement* insert = nullptr;
    if (const Status status = database.Keep("INSERT INTO gpkg_2d_gridded_tile_ancillary "
                                            "(tpudt_name, tpudt_id, scale, offset, min, max)"
                                            " VALUES (?1, ?2, 1, 0, ?3, ?4)",
                                            insert);
        !status.Good()) {
        return status;
    }
    const RasterHeader& header = set.record.header;
    const bool isFloat = header.type == RasterType::Float32;
    const double scale = isFloat ? 1 : header.scale, offset = isFloat ? 0 : header.offset;
    const bool any = range.minimum <= range.maximum;
    const double first = range.minimum * scale + offset, second = range.maximum * scale + offset;
    insert->Bind(1, std::string_view(set.table));
    insert->Bind(2, tileId);
    insert->BindIf(any, 3, std::min(first, second));
    insert->BindIf(any, 4, std::max(first, second));
    return database.Run(*insert);
}

}  // namespace tarnvale::ZPF
