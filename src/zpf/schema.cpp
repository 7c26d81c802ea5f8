#include "zpf/schema.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "zpf/text.h"

namespace tarnvale::ZPF {

namespace {

constexpr std::string_view kCureRefused =
    "open only landscapes from who you trust, or make the file anew";

struct TableForm {
    std::string_view name;
    std::string_view columns;  // in order, each followed by a comma
    const char* create;
};

constexpr std::array<TableForm, 7> kOwnTables{{
    {"zpf_object", "number,parent,type,name,description,last_used,",
     "CREATE TABLE zpf_object (number INTEGER PRIMARY KEY NOT NULL, parent INTEGER NOT NULL, type "
     "INTEGER NOT NULL,"
     " name TEXT NOT NULL, description TEXT NOT NULL DEFAULT '', last_used INTEGER NOT NULL "
     "DEFAULT 0)"},
    {"zpf_raster",
     "object,columns,rows,data_type,has_null,null_value,value_scale,value_offset,minimum,maximum,"
     "factor,tile_table,"
     "zoom_level,srs_id,x_origin,x_column,x_row,y_origin,y_column,y_row,",
     "CREATE TABLE zpf_raster (object INTEGER PRIMARY KEY NOT NULL REFERENCES zpf_object(number),"
     " columns INTEGER NOT NULL, rows INTEGER NOT NULL, data_type INTEGER NOT NULL,"
     " has_null INTEGER NOT NULL DEFAULT 0, null_value REAL, value_scale REAL NOT NULL DEFAULT 1,"
     " value_offset REAL NOT NULL DEFAULT 0, minimum REAL, maximum REAL, factor INTEGER NOT NULL "
     "DEFAULT 1,"
     " tile_table TEXT, zoom_level INTEGER NOT NULL DEFAULT 0,"
     " srs_id INTEGER NOT NULL DEFAULT -1 REFERENCES gpkg_spatial_ref_sys(srs_id),"
     " x_origin REAL, x_column REAL, x_row REAL, y_origin REAL, y_column REAL, y_row REAL)"},
    {"zpf_tile", "id,object,tile_column,tile_row,tile_data,",
     "CREATE TABLE zpf_tile (id INTEGER PRIMARY KEY NOT NULL, object INTEGER NOT NULL REFERENCES "
     "zpf_object(number),"
     " tile_column INTEGER NOT NULL, tile_row INTEGER NOT NULL, tile_data BLOB NOT NULL,"
     " UNIQUE (object, tile_column, tile_row))"},
    {"zpf_color", "id,object,entry,red,green,blue,word,",
     "CREATE TABLE zpf_color (id INTEGER PRIMARY KEY NOT NULL, object INTEGER NOT NULL REFERENCES "
     "zpf_object(number),"
     " entry INTEGER NOT NULL, red INTEGER NOT NULL, green INTEGER NOT NULL, blue INTEGER NOT NULL,"
     " word INTEGER NOT NULL DEFAULT 0, UNIQUE (object, entry))"},
    {"zpf_text", "object,content,",
     "CREATE TABLE zpf_text (object INTEGER PRIMARY KEY NOT NULL REFERENCES zpf_object(number),"
     " content TEXT NOT NULL)"},
    {"zpf_table", "id,object,position,table_name,usage,",
     "CREATE TABLE zpf_table (id INTEGER PRIMARY KEY NOT NULL, object INTEGER NOT NULL REFERENCES "
     "zpf_object(number),"
     " position INTEGER NOT NULL, table_name TEXT NOT NULL, usage INTEGER NOT NULL DEFAULT 0,"
     " UNIQUE (object, position))"},
    {"zpf_profile", "object,profile,",
     "CREATE TABLE zpf_profile (object INTEGER PRIMARY KEY NOT NULL REFERENCES zpf_object(number),"
     " profile BLOB NOT NULL)"},
}};

constexpr std::string_view kTileColumns = "id,zoom_level,tile_column,tile_row,tile_data,";

/// Names of the plain columns of a table, each followed by a comma. Computed columns are told by a
/// '!'.
Status ColumnsOf(Database& database, std::string_view table, std::string& columns) {
    Statement statement;
    if (const Status status =
            database.Prepare(fmt::format("PRAGMA table_xinfo(\"{}\")", table), statement);
        !status.Good()) {
        return status;
    }
    columns.clear();
    RowState state = statement.Step();
    for (; state == RowState::Found; state = statement.Step()) {
        columns += statement.Text(1);
        if (statement.Integer(6) != 0) columns += '!';
        columns += ',';
    }
    return state == RowState::End ? Status(StatusCode::Ok) : database.Failure("reading the schema");
}

Status Refuse(const Database& database, std::string_view what) {
    return database.Fault(StatusCode::FileRefused, fmt::format("{}; {}", what, kCureRefused));
}

bool StartsWithName(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && SameName(text.substr(0, prefix.size()), prefix);
}

bool EndsWithName(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() &&
           SameName(text.substr(text.size() - suffix.size()), suffix);
}

/// A spatial index "rtree_<table>_<column>" of a table that exists, made as programs make it.
bool IsSpatialIndex(std::string_view name, std::string_view sql,
                    const std::vector<std::string>& tables) {
    constexpr std::string_view kPrefix = "rtree_";
    constexpr std::string_view kStart = "CREATE VIRTUAL TABLE ";
    if (!StartsWithName(name, kPrefix) || !sql.starts_with(kStart)) return false;
    const std::string_view rest = name.substr(kPrefix.size());
    const bool known = std::ranges::any_of(tables, [rest](const std::string& table) {
        return rest.size() > table.size() + 1 && StartsWithName(rest, table) &&
               rest[table.size()] == '_';
    });
    if (!known) return false;
    sql.remove_prefix(kStart.size());
    const bool quoted =
        !sql.empty() && (sql.front() == '"' || sql.front() == '\'' || sql.front() == '`');
    if (quoted) sql.remove_prefix(1);
    if (!StartsWithName(sql, name)) return false;
    sql.remove_prefix(name.size() + (quoted ? 1 : 0));
    return StartsWithName(sql, " USING rtree(") || StartsWithName(sql, " USING rtree (");
}

/// A trigger as GeoPackage and programs that keep its rules make them; none of them ever runs here.
bool IsUsualTrigger(std::string_view name, std::string_view table) {
    constexpr std::array<std::string_view, 9> kIndexEnds{"_insert",  "_delete",  "_update1",
                                                         "_update2", "_update3", "_update4",
                                                         "_update5", "_update6", "_update7"};
    constexpr std::array<std::string_view, 6> kTileEnds{
        "_zoom_insert",        "_zoom_update",     "_tile_column_insert",
        "_tile_column_update", "_tile_row_insert", "_tile_row_update"};
    constexpr std::array<std::string_view, 2> kCounts{"trigger_insert_feature_count_",
                                                      "trigger_delete_feature_count_"};
    constexpr std::array<std::string_view, 3> kGuarded{"gpkg_tile_matrix", "gpkg_metadata",
                                                       "gpkg_metadata_reference"};
    if (StartsWithName(table, "zpf_")) return false;
    const auto joins = [name](std::string_view first, std::string_view second) {
        return name.size() == first.size() + second.size() && StartsWithName(name, first) &&
               EndsWithName(name, second);
    };
    if (std::ranges::any_of(kGuarded, [&](std::string_view guarded) {
            return SameName(table, guarded) && StartsWithName(name, guarded) &&
                   name.size() > guarded.size() &&
                   (EndsWithName(name, "_insert") || EndsWithName(name, "_update"));
        })) {
        return true;
    }
    if (std::ranges::any_of(kCounts, [&](std::string_view start) { return joins(start, table); }))
        return true;
    if (std::ranges::any_of(kTileEnds, [&](std::string_view end) { return joins(table, end); }))
        return true;
    const std::string start = fmt::format("rtree_{}_", table);
    return StartsWithName(name, start) &&
           std::ranges::any_of(kIndexEnds, [&](std::string_view end) {
               return EndsWithName(name, end) && name.size() > start.size() + end.size();
           });
}

struct SchemaEntry {
    std::string type, name, table, sql;
};

Status CheckEntry(const Database& database, const SchemaEntry& entry,
                  const std::vector<std::string>& tables) {
    const std::string shown = OneLine(entry.name, 40);
    if (entry.type == "table") {
        if (entry.sql.starts_with("CREATE TABLE ")) return StatusCode::Ok;
        if (IsSpatialIndex(entry.name, entry.sql, tables)) return StatusCode::Ok;
        return Refuse(database, fmt::format("holds the virtual table \"{}\"", shown));
    }
    if (entry.type == "index") {
        const bool plain = entry.sql.empty() || entry.sql.starts_with("CREATE INDEX ") ||
                           entry.sql.starts_with("CREATE UNIQUE INDEX ");
        return plain ? Status(StatusCode::Ok)
                     : Refuse(database, fmt::format("holds the odd index \"{}\"", shown));
    }
    if (entry.type == "trigger" && entry.sql.starts_with("CREATE TRIGGER ") &&
        IsUsualTrigger(entry.name, entry.table)) {
        return StatusCode::Ok;
    }
    return Refuse(database, fmt::format("holds the {} \"{}\"", OneLine(entry.type, 16), shown));
}

}  // namespace

Status CheckSchema(Database& database) {
    Statement statement;
    if (const Status status =
            database.Prepare("SELECT type, name, tbl_name, sql FROM sqlite_master", statement);
        !status.Good()) {
        return status;
    }
    std::vector<SchemaEntry> entries;
    std::vector<std::string> tables;
    RowState state = statement.Step();
    for (; state == RowState::Found; state = statement.Step()) {
        entries.push_back({std::string(statement.Text(0)), std::string(statement.Text(1)),
                           std::string(statement.Text(2)), std::string(statement.Text(3))});
        const SchemaEntry& entry = entries.back();
        if (entry.type == "table" && entry.sql.starts_with("CREATE TABLE "))
            tables.push_back(entry.name);
    }
    if (state == RowState::Failed) return database.Failure("reading the schema");
    for (const SchemaEntry& entry : entries) {
        if (const Status status = CheckEntry(database, entry, tables); !status.Good())
            return status;
    }
    const auto has = [&tables](std::string_view name) {
        return std::ranges::any_of(
            tables, [name](const std::string& table) { return SameName(table, name); });
    };
    for (const std::string_view needed : {"gpkg_contents", "gpkg_spatial_ref_sys"}) {
        if (!has(needed)) return Refuse(database, fmt::format("lacks the table {}", needed));
    }
    const auto own =
        std::ranges::count_if(kOwnTables, [&has](const TableForm& form) { return has(form.name); });
    if (own == 0) return StatusCode::Ok;
    std::string columns;
    for (const TableForm& form : kOwnTables) {
        if (!has(form.name)) return Refuse(database, fmt::format("lacks the table {}", form.name));
        if (const Status status = ColumnsOf(database, form.name, columns); !status.Good())
            return status;
        if (columns != form.columns)
            return Refuse(database, fmt::format("has other columns in {}", form.name));
    }
    return StatusCode::Ok;
}

Status CheckTileTable(Database& database, const std::string& table) {
    Statement* statement = nullptr;
    if (const Status status = database.Keep(
            "SELECT sql FROM sqlite_master WHERE type = 'table' AND name = ?1 COLLATE NOCASE",
            statement);
        !status.Good()) {
        return status;
    }
    statement->Bind(1, table);
    const RowState state = statement->Step();
    const bool plain = state == RowState::Found && statement->Text(0).starts_with("CREATE TABLE ");
    statement->Reset();
    if (state == RowState::Failed) return database.Failure("reading the schema");
    if (!plain)
        return database.Fault(StatusCode::FileDamaged,
                              fmt::format("lacks the tile table {}", table));
    std::string columns;
    if (const Status status = ColumnsOf(database, table, columns); !status.Good()) return status;
    if (columns != kTileColumns)
        return Refuse(database, fmt::format("has other columns in {}", table));
    return StatusCode::Ok;
}

Status CreateSchema(Database& database) {
    for (const TableForm& form : kOwnTables) {
        if (const Status status = database.Execute(form.create); !status.Good()) return status;
    }
    return database.Execute("CREATE INDEX zpf_object_parent ON zpf_object (parent, type)");
}

}  // namespace tarnvale::ZPF
