#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include "zpf/schema.h"
#include "zpf/text.h"

namespace tarnvale::ZPF {

namespace {

constexpr std::int64_t kHighestType = 0xFFFF;  // types that aren't known yet are passed over

bool InRange(std::int64_t value, std::int64_t lowest, std::int64_t highest) {
    return value >= lowest && value <= highest;
}

}  // namespace

Status LoadObjects(Database& database) {
    Statement statement;
    if (const Status status = database.Prepare("SELECT 1 FROM sqlite_master WHERE type = 'table' "
                                               "AND name = 'zpf_object' COLLATE NOCASE",
                                               statement);
        !status.Good()) {
        return status;
    }
    const RowState present = statement.Step();
    if (present == RowState::Failed) return database.Failure("reading the schema");
    std::vector<ObjectRecord> objects;
    if (present == RowState::End) {
        database.SetObjects(std::move(objects));
        return StatusCode::Ok;
    }
    if (const Status status = database.Prepare("SELECT number, parent, type, name, description, "
                                               "last_used FROM zpf_object ORDER BY number",
                                               statement);
        !status.Good()) {
        return status;
    }
    RowState state = statement.Step();
    for (; state == RowState::Found; state = statement.Step()) {
        if (objects.size() == kMaximumObjects) {
            return database.Fault(StatusCode::FileDamaged,
                                  fmt::format("more than {} objects", kMaximumObjects));
        }
        const std::int64_t number = statement.Integer(0), parent = statement.Integer(1);
        const int last = objects.empty() ? kRootObject : objects.back().header.number;
        const bool sound =
            statement.IsInteger(0) && statement.IsInteger(1) && statement.IsInteger(2) &&
            InRange(number, std::int64_t{last} + 1, INT32_MAX) &&
            InRange(parent, kRootObject, last) && InRange(statement.Integer(2), 1, kHighestType) &&
            statement.IsText(3) && statement.IsText(4) && statement.IsInteger(5);
        const auto above = std::ranges::lower_bound(
            objects, parent, {}, [](const ObjectRecord& known) { return known.header.number; });
        const bool inFolder = above != objects.end() && above->header.number == parent;
        if (!sound || (parent != kRootObject && !inFolder)) {
            return database.Fault(
                StatusCode::FileDamaged,
                fmt::format("object {} of the tree can't be; make the file anew", number));
        }
        ObjectRecord record;
        record.header.name = OneLine(statement.Text(3), kNameCharacters);
        record.header.description = OneLine(statement.Text(4), kDescriptionCharacters);
        record.header.type = static_cast<ObjectType>(statement.Integer(2));
        record.header.number = static_cast<int>(number);
        record.parent = static_cast<int>(parent);
        record.depth = parent == kRootObject ? 1 : above->depth + 1;
        if (record.depth > kDeepestObject) {
            return database.Fault(
                StatusCode::FileDamaged,
                fmt::format("object {} stands more than {} deep", number, kDeepestObject));
        }
        record.lastUsed = statement.Integer(5);
        objects.push_back(std::move(record));
    }
    if (state == RowState::Failed) return database.Failure("reading the objects");
    database.SetObjects(std::move(objects));
    return StatusCode::Ok;
}

int FindLastUsed(const Database& database, int parent, ObjectType type) {
    const ObjectRecord* best = nullptr;
    for (const ObjectRecord* record : database.Children(parent)) {
        if (record->header.type != type) continue;
        if (best == nullptr || record->lastUsed > best->lastUsed) best = record;
    }
    return best == nullptr ? kNoObject : best->header.number;
}

Status ReadRasterRecord(Database& database, int number, RasterRecord& record) {
    const ObjectRecord* object = database.Find(number);
    if (object == nullptr || object->header.type != ObjectType::Raster) {
        return database.Fault(StatusCode::BadState, fmt::format("object {} is no raster", number));
    }
    Statement* row = nullptr;
    if (const Status status =
            database.Keep("SELECT columns, rows, data_type, has_null, null_value, value_scale, "
                          "value_offset, minimum, maximum,"
                          " factor, tile_table, zoom_level, srs_id, x_origin, x_column, x_row, "
                          "y_origin, y_column, y_row"
                          " FROM zpf_raster WHERE object = ?1",
                          row);
        !status.Good()) {
        return status;
    }
    struct Release {
        Statement* statement;
        ~Release() { statement->Reset(); }
    } const release{row};
    const auto damaged = [&](std::string_view what) {
        return database.Fault(
            StatusCode::FileDamaged,
            fmt::format("raster \"{}\" {}; make the file anew", object->header.name, what));
    };
    row->Bind(1, std::int64_t{number});
    const RowState state = row->Step();
    if (state == RowState::Failed) return database.Failure("reading a raster's header");
    if (state == RowState::End) return damaged("has no header");

    const auto integer = [row](int column, std::int64_t lowest, std::int64_t highest) {
        return row->IsInteger(column) && InRange(row->Integer(column), lowest, highest);
    };
    const auto finite = [row](int column) {
        return row->IsNumber(column) && std::isfinite(row->Real(column));
    };
    if (!integer(0, 1, kMaximumSide) || !integer(1, 1, kMaximumSide))
        return damaged("has an absurd size");
    if (!integer(2, 1, UINT32_MAX) || !IsRasterType(static_cast<std::uint32_t>(row->Integer(2)))) {
        return damaged("has no known data type");
    }
    if (!integer(3, 0, 1) || !finite(5) || !finite(6) || !integer(9, 1, kMaximumSide) ||
        !integer(11, 0, 30) || !integer(12, INT32_MIN, INT32_MAX)) {
        return damaged("has a broken header");
    }
    RasterRecord read;
    read.header.columns = static_cast<int>(row->Integer(0));
    read.header.rows = static_cast<int>(row->Integer(1));
    read.header.type = static_cast<RasterType>(row->Integer(2));
    read.header.hasNull = row->Integer(3) == 1;
    if (read.header.hasNull) {
        // The file has no form for "not a number": it is the absence of a null value.
        read.header.nullValue = row->IsNumber(4) ? row->Real(4) : std::nan("");
    }
    read.header.scale = row->Real(5);
    read.header.offset = row->Real(6);
    read.factor = static_cast<int>(row->Integer(9));
    read.zoomLevel = static_cast<int>(row->Integer(11));
    read.srsId = static_cast<int>(row->Integer(12));
    read.hasStatistics = row->IsNumber(7) && row->IsNumber(8);
    if (read.hasStatistics) {
        read.statistics = {row->Real(7), row->Real(8)};
        if (!finite(7) || !finite(8) || read.statistics.minimum > read.statistics.maximum) {
            return damaged("has a minimum above its maximum");
        }
    }
    if (row->IsText(10)) {
        read.tileTable = row->Text(10);
        if (!IsTileTableName(read.tileTable)) return damaged("names a table that can't hold tiles");
    } else if (!row->IsNull(10)) {
        return damaged("has a broken header");
    }
    if (!row->IsNull(13)) {
        for (int column = 13; column < 19; ++column) {
            if (!finite(column)) return damaged("has a broken georeference");
        }
        read.hasTransform = true;
        read.transform = {row->Real(13), row->Real(14), row->Real(15),
                          row->Real(16), row->Real(17), row->Real(18)};
    }
    record = std::move(read);
    return StatusCode::Ok;
}

Status WriteRasterRecord(Database& database, int number, const RasterRecord& record) {
    Statement* insert = nullptr;
    if (const Status status = database.Keep("INSERT INTO zpf_raster VALUES"
                                            " (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, NULL, NULL, ?9, "
                                            "?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18)",
                                            insert);
        !status.Good()) {
        return status;
    }
    const RasterHeader& header = record.header;
    insert->Bind(1, std::int64_t{number});
    insert->Bind(2, std::int64_t{header.columns});
    insert->Bind(3, std::int64_t{header.rows});
    insert->Bind(4, static_cast<std::int64_t>(header.type));
    insert->Bind(5, std::int64_t{header.hasNull ? 1 : 0});
    insert->BindIf(header.hasNull && !std::isnan(header.nullValue), 6, header.nullValue);
    insert->Bind(7, header.scale);
    insert->Bind(8, header.offset);
    insert->Bind(9, std::int64_t{record.factor});
    if (record.tileTable.empty()) {
        insert->BindNull(10);
    } else {
        insert->Bind(10, record.tileTable);
    }
    insert->Bind(11, std::int64_t{record.zoomLevel});
    insert->Bind(12, std::int64_t{record.srsId});
    const GeoTransform& t = record.transform;
    int parameter = 13;
    for (const double term : {t.xOrigin, t.xColumn, t.xRow, t.yOrigin, t.yColumn, t.yRow}) {
        insert->BindIf(record.hasTransform, parameter++, term);
    }
    return database.Run(*insert);
}

}  // namespace tarnvale::ZPF
