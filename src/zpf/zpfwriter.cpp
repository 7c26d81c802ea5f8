#include "zpf/zpfwriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <new>
#include <set>

#include "zpf/cells.h"
#include "zpf/database.h"
#include "zpf/geopackage.h"
#include "zpf/newfile.h"
#include "zpf/schema.h"
#include "zpf/text.h"
#include "zpf/tilecodec.h"

namespace tarnvale::ZPF {

namespace {

constexpr int kMostLevels = 16;

/// One level of a raster that is being written.
struct LevelState {
    int object = kNoObject;
    int mask = kNoObject;
    RasterRecord record;
};

struct RasterState {
    RasterSpec spec;
    TileSet set;
    std::vector<LevelState> levels;
    RasterStatistics range{std::numeric_limits<double>::max(),
                           std::numeric_limits<double>::lowest()};
    bool rangeIsSet = false;
    std::unique_ptr<Statement> insert;  // into its tile table, if it has one
};

std::string Lowered(std::string text) {
    std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

RasterHeader HeaderOf(const RasterSpec& spec) {
    RasterHeader header;
    header.columns = spec.columns;
    header.rows = spec.rows;
    header.type = spec.type;
    header.hasNull = spec.hasNull;
    header.nullValue = spec.nullValue;
    header.scale = spec.scale;
    header.offset = spec.offset;
    return header;
}

/// @return "" if the raster can be written, else what is wrong with it
std::string_view Fault(const RasterSpec& spec) {
    const auto side = [](int cells) { return cells >= 1 && cells <= kMaximumSide; };
    if (!side(spec.columns) || !side(spec.rows)) return "has an absurd size";
    if (!IsRasterType(static_cast<std::uint32_t>(spec.type))) return "has no known data type";
    if (!std::isfinite(spec.scale) || !std::isfinite(spec.offset))
        return "has a broken scale or offset";
    if (spec.hasNull && !std::isfinite(spec.nullValue) && !std::isnan(spec.nullValue))
        return "has an infinite null";
    if (spec.levels < 1 || spec.levels > kMostLevels) return "has too few or too many levels";
    if (spec.jpegQuality < 1 || spec.jpegQuality > 100) return "has a quality outside 1 to 100";
    if (spec.colorMap.size() > 256 ||
        (!spec.colorMap.empty() && spec.type != RasterType::Unsigned8)) {
        return "can't have that colour map";
    }
    return {};
}

}  // namespace

struct PROJECTWRITER::State {
    FILEPATH target, temporary;
    std::unique_ptr<Database> database;
    std::vector<ObjectRecord> objects;          // for parents and names
    std::set<std::string> tables, identifiers;  // in lower case
    std::map<int, RasterState> rasters;
    // Counts through all tile tables: some programs look for a tile's minimum and maximum by its
    // number alone, without the name of its table.
    std::int64_t lastTile = 0;

    Status AddObject(int parent, ObjectType type, const QNSTRING& name, const QNSTRING& description,
                     int& number);
    [[nodiscard]] QNSTRING UniqueName(int parent, ObjectType type, const QNSTRING& wanted) const;
    std::string UniqueTable(const QNSTRING& name);
    Status AddLevels(int base, RasterState& raster);
    Status AddColors(int raster, const std::vector<COLOR>& colors);
    Status AddProfile(int raster, const std::vector<std::byte>& profile);
    Status StoreTile(RasterState& raster, int level, int tileColumn, int tileRow,
                     const EncodedTile& tile);
    Status StoreOwn(int object, int tileColumn, int tileRow, const std::vector<std::byte>& blob);
    Status WriteStatistics();
    void Abandon();
};

QNSTRING PROJECTWRITER::State::UniqueName(int parent, ObjectType type,
                                          const QNSTRING& wanted) const {
    const auto taken = [&](const QNSTRING& name) {
        return std::ranges::any_of(objects, [&](const ObjectRecord& known) {
            return known.parent == parent && known.header.type == type &&
                   SameName(known.header.name, name);
        });
    };
    QNSTRING name = OneLine(wanted, kNameCharacters);
    for (int i = 2; taken(name); ++i) {
        const std::string tail = fmt::format("_{}", i);
        name = OneLine(wanted, kNameCharacters - tail.size()) + tail;
    }
    return name;
}

/// A table name made of the raster's: letters and digits as they are, underscores for all else.
std::string PROJECTWRITER::State::UniqueTable(const QNSTRING& name) {
    std::string table;
    for (const char c : name) {
        const bool plain =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (plain || (!table.empty() && table.back() != '_')) table += plain ? c : '_';
    }
    while (!table.empty() && table.back() == '_') table.pop_back();
    if (!IsTileTableName(table)) table = "raster_" + table.substr(0, 40);
    std::string unique = table;
    for (int i = 2; !tables.insert(Lowered(unique)).second; ++i)
        unique = fmt::format("{}_{}", table, i);
    return unique;
}

Status PROJECTWRITER::State::AddObject(int parent, ObjectType type, const QNSTRING& name,
                                       const QNSTRING& description, int& number) {
    const int next = objects.empty() ? kRootObject + 1 : objects.back().header.number + 1;
    const int depth =  // numbers are given without gaps
        parent > kRootObject && parent < next
            ? objects[static_cast<std::size_t>(parent) - 1].depth + 1
            : 1;
    if (parent < kRootObject || parent >= next || depth > kDeepestObject ||
        std::ssize(objects) >= kMaximumObjects) {
        return _SetErrPosn(StatusCode::BadState,
                           fmt::format("no object {} to put \"{}\" in", parent, name));
    }
    ObjectRecord record;
    record.header = {UniqueName(parent, type, name), OneLine(description, kDescriptionCharacters),
                     type, next};
    record.parent = parent;
    record.depth = depth;
    Statement* insert = nullptr;
    if (const Status status = database->Keep("INSERT INTO zpf_object (number, parent, type, name, "
                                             "description) VALUES (?1, ?2, ?3, ?4, ?5)",
                                             insert);
        !status.Good()) {
        return status;
    }
    insert->Bind(1, std::int64_t{next});
    insert->Bind(2, std::int64_t{parent});
    insert->Bind(3, static_cast<std::int64_t>(type));
    insert->Bind(4, std::string_view(record.header.name));
    insert->Bind(5, std::string_view(record.header.description));
    if (const Status status = database->Run(*insert); !status.Good()) return status;
    objects.push_back(std::move(record));
    number = next;
    return StatusCode::Ok;
}

/// Adds the objects beneath a raster: its mask, its levels, their masks.
Status PROJECTWRITER::State::AddLevels(int base, RasterState& raster) {
    const RasterSpec& spec = raster.spec;
    for (int level = 0; level < spec.levels; ++level) {
        const int factor = 1 << level;
        LevelState added;
        added.object = base;
        added.record = raster.set.record;
        RasterRecord& record = added.record;
        record.header.columns = ReducedSide(spec.columns, factor);
        record.header.rows = ReducedSide(spec.rows, factor);
        record.factor = factor;
        record.zoomLevel = record.tileTable.empty() ? 0 : spec.levels - 1 - level;
        record.transform.xColumn *= factor;
        record.transform.yColumn *= factor;
        record.transform.xRow *= factor;
        record.transform.yRow *= factor;
        if (level > 0) {
            if (const Status status = AddObject(
                    base, ObjectType::Raster, fmt::format("Reduced {}", factor), {}, added.object);
                !status.Good()) {
                return status;
            }
        }
        if (const Status status = WriteRasterRecord(*database, added.object, record);
            !status.Good())
            return status;
        if (spec.hasMask) {
            if (const Status status =
                    AddObject(added.object, ObjectType::Raster, "Mask", {}, added.mask);
                !status.Good()) {
                return status;
            }
            RasterRecord mask = record;
            mask.header = {};
            mask.header.columns = record.header.columns;
            mask.header.rows = record.header.rows;
            mask.header.type = RasterType::Unsigned1;
            mask.factor = 1;
            mask.tileTable.clear();
            mask.zoomLevel = 0;
            if (const Status status = WriteRasterRecord(*database, added.mask, mask);
                !status.Good())
                return status;
        }
        raster.levels.push_back(std::move(added));
    }
    return StatusCode::Ok;
}

Status PROJECTWRITER::State::AddColors(int raster, const std::vector<COLOR>& colors) {
    if (colors.empty()) return StatusCode::Ok;
    int number = kNoObject;
    if (const Status status = AddObject(raster, ObjectType::ColorMap, "Colors", {}, number);
        !status.Good()) {
        return status;
    }
    Statement* insert = nullptr;
    if (const Status status = database->Keep("INSERT INTO zpf_color (object, entry, red, green, "
                                             "blue, word) VALUES (?1, ?2, ?3, ?4, ?5, ?6)",
                                             insert);
        !status.Good()) {
        return status;
    }
    for (std::size_t entry = 0; entry < colors.size(); ++entry) {
        insert->Bind(1, std::int64_t{number});
        insert->Bind(2, static_cast<std::int64_t>(entry));
        insert->Bind(3, std::int64_t{colors[entry].red});
        insert->Bind(4, std::int64_t{colors[entry].green});
        insert->Bind(5, std::int64_t{colors[entry].blue});
        insert->Bind(6, std::int64_t{colors[entry].word});
        if (const Status status = database->Run(*insert); !status.Good()) return status;
    }
    return StatusCode::Ok;
}

Status PROJECTWRITER::State::AddProfile(int raster, const std::vector<std::byte>& profile) {
    if (profile.empty()) return StatusCode::Ok;
    Statement* insert = nullptr;
    if (const Status status = database->Keep("INSERT INTO zpf_profile VALUES (?1, ?2)", insert);
        !status.Good()) {
        return status;
    }
    insert->Bind(1, std::int64_t{raster});
    insert->Bind(2, std::span<const std::byte>(profile));
    return database->Run(*insert);
}

Status PROJECTWRITER::State::StoreOwn(int object, int tileColumn, int tileRow,
                                      const std::vector<std::byte>& blob) {
    if (blob.empty()) return StatusCode::Ok;
    Statement* insert = nullptr;
    if (const Status status = database->Keep("INSERT INTO zpf_tile (object, tile_column, tile_row, "
                                             "tile_data) VALUES (?1, ?2, ?3, ?4)",
                                             insert);
        !status.Good()) {
        return status;
    }
    insert->Bind(1, std::int64_t{object});
    insert->Bind(2, std::int64_t{tileColumn});
    insert->Bind(3, std::int64_t{tileRow});
    insert->Bind(4, std::span<const std::byte>(blob));
    return database->Run(*insert);
}

Status PROJECTWRITER::State::StoreTile(RasterState& raster, int level, int tileColumn, int tileRow,
                                       const EncodedTile& tile) {
    const LevelState& state = raster.levels[static_cast<std::size_t>(level)];
    if (state.mask != kNoObject) {
        if (const Status status = StoreOwn(state.mask, tileColumn, tileRow, tile.mask);
            !status.Good())
            return status;
    }
    // What lies beyond the raster's far sides is padding: it doesn't count for the range.
    const RasterHeader& header = state.record.header;
    const int columns = std::min(kTileSide, header.columns - tileColumn * kTileSide);
    const int rows = std::min(kTileSide, header.rows - tileRow * kTileSide);
    RasterStatistics range{tile.minimum, tile.maximum};
    if ((columns < kTileSide || rows < kTileSide) && !tile.pixels.empty() &&
        !IsComposite(header.type)) {
        std::vector<std::byte> cells(kTileCells * static_cast<std::size_t>(BytesOf(header.type))),
            scratch;
        if (const Status status = DecodeCells(header, tile.pixels, cells, scratch); !status.Good())
            return status;
        // Cells under the mask keep out by the range that the whole tile had.
        const RasterStatistics part = RangeOf(header, cells, {}, columns, rows);
        range.minimum = std::max(range.minimum, part.minimum);
        range.maximum = std::min(range.maximum, part.maximum);
    }
    if (level == 0 && !raster.rangeIsSet && range.minimum <= range.maximum) {
        raster.range.minimum = std::min(raster.range.minimum, range.minimum);
        raster.range.maximum = std::max(raster.range.maximum, range.maximum);
    }
    if (tile.pixels.empty()) return StatusCode::Ok;
    if (raster.insert == nullptr) return StoreOwn(state.object, tileColumn, tileRow, tile.pixels);
    raster.insert->Bind(1, std::int64_t{state.record.zoomLevel});
    raster.insert->Bind(2, std::int64_t{tileColumn});
    raster.insert->Bind(3, std::int64_t{tileRow});
    raster.insert->Bind(4, std::span<const std::byte>(tile.pixels));
    raster.insert->Bind(5, ++lastTile);
    if (const Status status = database->Run(*raster.insert); !status.Good()) return status;
    if (StoreOf(header.type) != TileStore::Coverage) return StatusCode::Ok;
    return EnterCoverageTile(*database, raster.set, lastTile, range);
}

Status PROJECTWRITER::State::WriteStatistics() {
    Statement* update = nullptr;
    if (const Status status = database->Keep(
            "UPDATE zpf_raster SET minimum = ?2, maximum = ?3 WHERE object = ?1", update);
        !status.Good()) {
        return status;
    }
    for (const auto& [number, raster] : rasters) {
        if (raster.range.minimum > raster.range.maximum) continue;
        update->Bind(1, std::int64_t{number});
        update->Bind(2, raster.range.minimum);
        update->Bind(3, raster.range.maximum);
        if (const Status status = database->Run(*update); !status.Good()) return status;
    }
    return StatusCode::Ok;
}

void PROJECTWRITER::State::Abandon() {
    rasters.clear();
    database.reset();
    std::error_code ignored;
    if (!temporary.empty()) std::filesystem::remove(temporary, ignored);
    temporary.clear();
}

PROJECTWRITER::PROJECTWRITER() = default;

PROJECTWRITER::~PROJECTWRITER() {
    if (state_ != nullptr) state_->Abandon();
}

Status PROJECTWRITER::Create(const FILEPATH& path) try {
    if (state_ != nullptr) state_->Abandon();
    state_ = std::make_unique<State>();
    State& state = *state_;
    // A link stays a link: what it leads to is replaced.
    std::error_code error;
    state.target = std::filesystem::weakly_canonical(path, error);
    if (error) state.target = path;
    if (!path.has_filename() || std::filesystem::is_directory(path, error)) {
        return _SetErrPosn(StatusCode::WriteFailed,
                           fmt::format("{}: a folder; name a file", path.string()));
    }
    if (const std::string why = MakeFileBeside(state.target, state.temporary); !why.empty()) {
        return _SetErrPosn(StatusCode::WriteFailed,
                           fmt::format("{}: the folder can't be written: {}; choose another one",
                                       path.string(), why));
    }
    if (const Status status = Database::Create(state.temporary, path, state.database);
        !status.Good())
        return status;
    if (const Status status = CreateGeoPackage(*state.database); !status.Good()) return status;
    return CreateSchema(*state.database);
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

FILEPATH PROJECTWRITER::TemporaryPath() const {
    return state_ == nullptr ? FILEPATH() : state_->temporary;
}

Status PROJECTWRITER::AddFolder(int parent, const QNSTRING& name, int& number) {
    if (state_ == nullptr || state_->database == nullptr) return _SetErrPosn(StatusCode::NotOpen);
    return state_->AddObject(parent, ObjectType::Folder, name, {}, number);
}

Status PROJECTWRITER::AddText(int parent, const QNSTRING& name, const QNSTRING& text, int& number) {
    if (state_ == nullptr || state_->database == nullptr) return _SetErrPosn(StatusCode::NotOpen);
    if (const Status status = state_->AddObject(parent, ObjectType::Text, name, {}, number);
        !status.Good()) {
        return status;
    }
    Statement* insert = nullptr;
    if (const Status status =
            state_->database->Keep("INSERT INTO zpf_text VALUES (?1, ?2)", insert);
        !status.Good()) {
        return status;
    }
    insert->Bind(1, std::int64_t{number});
    insert->Bind(2, std::string_view(text));
    return state_->database->Run(*insert);
}

Status PROJECTWRITER::AddRaster(int parent, const RasterSpec& spec, int& number) try {
    if (state_ == nullptr || state_->database == nullptr) return _SetErrPosn(StatusCode::NotOpen);
    State& state = *state_;
    if (const std::string_view fault = Fault(spec); !fault.empty()) {
        return _SetErrPosn(StatusCode::BadState, fmt::format("raster \"{}\" {}", spec.name, fault));
    }
    RasterState raster;
    raster.spec = spec;
    int added = kNoObject;
    if (const Status status =
            state.AddObject(parent, ObjectType::Raster, spec.name, spec.description, added);
        !status.Good()) {
        return status;
    }
    TileSet& set = raster.set;
    set.record.header = HeaderOf(spec);
    set.record.hasTransform = spec.system.Valid();
    set.record.transform = spec.georeference;
    set.levels = spec.levels;
    if (const Status status = WriteReferenceSystem(*state.database, spec.system, set.record.srsId);
        !status.Good()) {
        return status;
    }
    if (StoreOf(spec.type) != TileStore::Own) {
        const QNSTRING& name = state.objects.back().header.name;
        set.table = state.UniqueTable(name);
        set.identifier = state.identifiers.insert(Lowered(name)).second ? name : set.table;
        state.identifiers.insert(Lowered(set.identifier));
        set.description = state.objects.back().header.description;
        set.record.tileTable = set.table;
        if (const Status status = CreateTileSet(*state.database, set); !status.Good())
            return status;
        raster.insert = std::make_unique<Statement>();
        const std::string sql = fmt::format(
            "INSERT INTO \"{}\" (zoom_level, tile_column, tile_row, tile_data, id)"
            " VALUES (?1, ?2, ?3, ?4, ?5)",
            set.table);
        if (const Status status = state.database->Prepare(sql, *raster.insert); !status.Good())
            return status;
    }
    if (const Status status = state.AddColors(added, spec.colorMap); !status.Good()) return status;
    if (const Status status = state.AddProfile(added, spec.colorProfile); !status.Good())
        return status;
    if (const Status status = state.AddLevels(added, raster); !status.Good()) return status;
    state.rasters.emplace(added, std::move(raster));
    number = added;
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

Status PROJECTWRITER::EncodeTile(const RasterSpec& spec, int level,
                                 std::span<const std::byte> cells,
                                 std::span<const std::uint8_t> mask, EncodedTile& tile) try {
    if (level < 0 || level >= spec.levels ||
        cells.size() != kTileCells * static_cast<std::size_t>(BytesOf(spec.type)) ||
        (!mask.empty() && (mask.size() != kTileCells || !spec.hasMask))) {
        return _SetErrPosn(StatusCode::BadState,
                           fmt::format("a tile of raster \"{}\" has another size", spec.name));
    }
    const RasterHeader header = HeaderOf(spec);
    tile.pixels.clear();
    tile.mask.clear();
    const RasterStatistics range = RangeOf(header, cells, mask);
    tile.minimum = range.minimum;
    tile.maximum = range.maximum;
    if (spec.hasMask) {
        if (std::ranges::all_of(mask, [](std::uint8_t opaque) { return opaque == 0; }) &&
            !mask.empty()) {
            return StatusCode::Ok;  // nothing shows: neither picture nor mask
        }
        const std::vector<std::uint8_t> opaque(mask.empty() ? kTileCells : 0, std::uint8_t{255});
        if (const Status status = EncodeMask(mask.empty() ? opaque : mask, tile.mask);
            !status.Good())
            return status;
    }
    if (AllNull(header, cells)) return StatusCode::Ok;
    return EncodeCells(spec, cells, mask, tile.pixels);
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

Status PROJECTWRITER::PutTile(int raster, int level, int tileColumn, int tileRow,
                              const EncodedTile& tile) try {
    if (state_ == nullptr || state_->database == nullptr) return _SetErrPosn(StatusCode::NotOpen);
    const auto found = state_->rasters.find(raster);
    if (found == state_->rasters.end() || level < 0 || level >= std::ssize(found->second.levels)) {
        return _SetErrPosn(StatusCode::BadState,
                           fmt::format("no raster {} with a level {}", raster, level));
    }
    const RasterHeader& header =
        found->second.levels[static_cast<std::size_t>(level)].record.header;
    if (tileColumn < 0 || tileColumn >= ReducedSide(header.columns, kTileSide) || tileRow < 0 ||
        tileRow >= ReducedSide(header.rows, kTileSide)) {
        return _SetErrPosn(StatusCode::BadState,
                           fmt::format("tile {}, {} lies outside the raster", tileColumn, tileRow));
    }
    return state_->StoreTile(found->second, level, tileColumn, tileRow, tile);
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

Status PROJECTWRITER::SetStatistics(int raster, const RasterStatistics& statistics) {
    if (state_ == nullptr || state_->database == nullptr) return _SetErrPosn(StatusCode::NotOpen);
    const auto found = state_->rasters.find(raster);
    if (found == state_->rasters.end() || !(statistics.minimum <= statistics.maximum)) {
        return _SetErrPosn(StatusCode::BadState);
    }
    found->second.range = statistics;
    found->second.rangeIsSet = true;
    return StatusCode::Ok;
}

Status PROJECTWRITER::Commit() try {
    if (state_ == nullptr || state_->database == nullptr) return _SetErrPosn(StatusCode::NotOpen);
    State& state = *state_;
    if (const Status status = state.WriteStatistics(); !status.Good()) return status;
    if (const Status status = state.database->Execute("COMMIT"); !status.Good()) return status;
    state.rasters.clear();
    if (const Status status = state.database->Close(); !status.Good()) return status;
    state.database.reset();
    if (const std::string why = FlushAndRename(state.temporary, state.target); !why.empty()) {
        return _SetErrPosn(StatusCode::WriteFailed,
                           fmt::format("{}: {}; free some room or choose another folder",
                                       state.target.string(), why));
    }
    state.temporary.clear();
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

}  // namespace tarnvale::ZPF
