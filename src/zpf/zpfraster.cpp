#include "zpf/zpfraster.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <numbers>

#include "zpf/cells.h"
#include "zpf/database.h"
#include "zpf/geopackage.h"
#include "zpf/schema.h"
#include "zpf/tilecodec.h"

namespace tarnvale::ZPF {

namespace {

constexpr std::size_t kKeptBytes = 16 << 20;      // decoded tiles kept for any way of reading
constexpr std::size_t kMostKeptBytes = 64 << 20;  // and for lines across very wide rasters
constexpr std::size_t kLongestProfile = 4 << 20;
// A raster that claims this many cells must hold a fair part of its tiles, or its header is a lie
// that costs whoever makes room for it dearly.
constexpr std::int64_t kTrustedCells = std::int64_t{1} << 26;
constexpr std::int64_t kLeastShareOfTiles = 64;

struct KeptTile {
    int column = -1, row = -1;
    StatusCode status = StatusCode::Ok;  // what decoding it gave
    std::vector<std::byte> cells;
};

/// How a raster is gone through: along lines, one after the other, or block by block.
enum class Way : std::uint8_t { Lines, Blocks };

int TilesAcross(int side) {
    return ReducedSide(side, kTileSide);
}

/// Metres of a degree of longitude and of latitude on the WGS 84 ellipsoid.
void MetresPerDegree(double latitude, double& alongX, double& alongY) {
    constexpr double kAxis = 6378137.0, kEccentricity2 = 0.00669437999014;
    constexpr double kRadians = std::numbers::pi / 180;
    const double sine = std::sin(latitude * kRadians);
    const double bend = 1 - kEccentricity2 * sine * sine;
    alongX = kAxis / std::sqrt(bend) * std::cos(latitude * kRadians) * kRadians;
    alongY = kAxis * (1 - kEccentricity2) / (bend * std::sqrt(bend)) * kRadians;
}

}  // namespace

struct RASTERHANDLE::State {
    std::shared_ptr<Database> database;
    Statement tileQuery;  // before its database goes
    int number = kNoObject;
    std::string name;
    RasterRecord record;
    std::size_t cellBytes = 1;
    std::vector<KeptTile> kept;  // tile column c lies in slot c % size
    std::vector<std::byte> scratch, line;

    Status Prepare();
    Status CheckSize();
    Status LoadTile(int column, int row, std::span<std::byte> cells);
    Status Keep(int column, int row, const KeptTile*& tile);
    void MakeRoom(int firstTile, int lastTile, Way way);
    Status ReadRows(IntRect block, std::byte* out, LineForm form, Way way);
    [[nodiscard]] bool Covers(int column, int row, int columns, int rows) const;
    Status TileFailure(int column, int row, Status status) const;
};

Status RASTERHANDLE::State::Prepare() {
    if (record.tileTable.empty()) {
        return database->Prepare(
            "SELECT tile_data FROM zpf_tile WHERE tile_column = ?1 AND tile_row = ?2 AND object = "
            "?3",
            tileQuery);
    }
    if (const Status status = CheckTileTable(*database, record.tileTable); !status.Good())
        return status;
    return database->Prepare(fmt::format("SELECT tile_data FROM \"{}\" WHERE tile_column = ?1 AND "
                                         "tile_row = ?2 AND zoom_level = ?3",
                                         record.tileTable),
                             tileQuery);
}

Status RASTERHANDLE::State::CheckSize() {
    const RasterHeader& header = record.header;
    const std::int64_t cells = std::int64_t{header.columns} * header.rows;
    if (cells <= kTrustedCells || BitsOf(header.type) == 1) return StatusCode::Ok;
    const std::int64_t wanted =
        std::int64_t{TilesAcross(header.columns)} * TilesAcross(header.rows) / kLeastShareOfTiles;
    Statement count;
    const bool own = record.tileTable.empty();
    if (const Status status = database->Prepare(
            fmt::format("SELECT count(*) FROM (SELECT 1 FROM \"{}\" WHERE {} = ?1 LIMIT ?2)",
                        own ? "zpf_tile" : record.tileTable, own ? "object" : "zoom_level"),
            count);
        !status.Good()) {
        return status;
    }
    count.Bind(1, std::int64_t{own ? number : record.zoomLevel});
    count.Bind(2, wanted);
    if (count.Step() != RowState::Found) return database->Failure("counting tiles");
    if (count.Integer(0) >= wanted) return StatusCode::Ok;
    return database->Fault(
        StatusCode::FileDamaged,
        fmt::format("raster \"{}\" claims {} x {} cells but holds {} tiles; make the file anew",
                    name, header.columns, header.rows, count.Integer(0)));
}

bool RASTERHANDLE::State::Covers(int column, int row, int columns, int rows) const {
    return column >= 0 && row >= 0 && columns >= 0 && rows >= 0 &&
           columns <= record.header.columns - column && rows <= record.header.rows - row;
}

Status RASTERHANDLE::State::TileFailure(int column, int row, Status status) const {
    const std::string why =
        GetErrPosn().code == status.Code() ? GetErrPosn().detail : std::string();
    return database->Fault(status.Code(),
                           fmt::format("tile {}, {} of raster \"{}\": {}", column, row, name, why));
}

/// Decodes a tile; its cells are blank where there is none or it can't be decoded.
Status RASTERHANDLE::State::LoadTile(int column, int row, std::span<std::byte> cells) {
    tileQuery.Bind(1, std::int64_t{column});
    tileQuery.Bind(2, std::int64_t{row});
    tileQuery.Bind(3, std::int64_t{record.tileTable.empty() ? number : record.zoomLevel});
    Status status = StatusCode::Ok;
    const RowState state = tileQuery.Step();
    if (state == RowState::Found && tileQuery.IsBlob(0)) {
        status = DecodeCells(record.header, tileQuery.Blob(0), cells, scratch);
        if (!status.Good()) status = TileFailure(column, row, status);
    } else if (state == RowState::Found) {
        status = TileFailure(column, row, _SetErrPosn(StatusCode::FileDamaged, "no blob"));
    } else if (state == RowState::Failed) {
        status = database->Failure(
            fmt::format("reading tile {}, {} of raster \"{}\"", column, row, name));
    }
    tileQuery.Reset();
    if (state != RowState::Found || !status.Good()) FillBlank(record.header, cells);
    return status;
}

/// Makes room for the tiles asked for, and for lines for a whole row of tiles where that is cheap:
/// a line may be read in many small pieces.
void RASTERHANDLE::State::MakeRoom(int firstTile, int lastTile, Way way) {
    const std::size_t tileBytes = kTileCells * cellBytes;
    const auto across = static_cast<std::size_t>(TilesAcross(record.header.columns));
    const auto asked = static_cast<std::size_t>(lastTile - firstTile) + 1;
    const std::size_t cheap = std::min(across, std::max<std::size_t>(kKeptBytes / tileBytes, 1));
    const std::size_t wanted = way == Way::Lines ? std::max(cheap, asked) : asked;
    const std::size_t slots = std::min(wanted, kMostKeptBytes / tileBytes);
    if (slots <= kept.size()) return;
    // Tiles change their slots with the number of slots.
    kept.clear();
    kept.resize(slots);
}

/// @param tile  out: valid until the next call; its cells are right or blank whatever the status
Status RASTERHANDLE::State::Keep(int column, int row, const KeptTile*& tile) {
    KeptTile& slot = kept[static_cast<std::size_t>(column) % kept.size()];
    tile = &slot;
    if (slot.column == column && slot.row == row) {
        if (slot.status == StatusCode::Ok) return StatusCode::Ok;
        return TileFailure(column, row, _SetErrPosn(slot.status, "can't be decoded"));
    }
    slot.column = slot.row = -1;
    slot.cells.resize(kTileCells * cellBytes);
    const Status status = LoadTile(column, row, slot.cells);
    slot.column = column;
    slot.row = row;
    slot.status = status.Code();
    return status;
}

/// Reads a rectangle that lies within one row of tiles.
Status RASTERHANDLE::State::ReadRows(IntRect block, std::byte* out, LineForm form, Way way) {
    const int firstTile = block.x0 / kTileSide, lastTile = (block.x1 - 1) / kTileSide;
    const int tileRow = block.y0 / kTileSide;
    MakeRoom(firstTile, lastTile, way);
    const std::size_t outBytes = form == LineForm::Raw ? cellBytes : sizeof(std::int16_t);
    const std::size_t stride = static_cast<std::size_t>(block.x1 - block.x0) * outBytes;
    Status result = StatusCode::Ok;
    for (int tileColumn = firstTile; tileColumn <= lastTile; ++tileColumn) {
        const KeptTile* tile = nullptr;
        if (const Status status = Keep(tileColumn, tileRow, tile); !status.Good()) result = status;
        const int left = std::max(block.x0, tileColumn * kTileSide);
        const int right = std::min(block.x1, (tileColumn + 1) * kTileSide);
        const auto count = static_cast<std::size_t>(right - left);
        for (int row = block.y0; row < block.y1; ++row) {
            const auto from = static_cast<std::size_t>(row % kTileSide) * kTileSide +
                              static_cast<std::size_t>(left % kTileSide);
            const std::span cells =
                std::span(tile->cells).subspan(from * cellBytes, count * cellBytes);
            std::byte* target = out + static_cast<std::size_t>(row - block.y0) * stride +
                                static_cast<std::size_t>(left - block.x0) * outBytes;
            if (form == LineForm::Raw) {
                std::ranges::copy(cells, target);
            } else {
                ToSigned16(record.header, cells, {target, count * outBytes});
            }
        }
    }
    return result;
}

RASTERHANDLE::RASTERHANDLE() = default;
RASTERHANDLE::~RASTERHANDLE() = default;
RASTERHANDLE::RASTERHANDLE(RASTERHANDLE&&) noexcept = default;
RASTERHANDLE& RASTERHANDLE::operator=(RASTERHANDLE&&) noexcept = default;

Status RASTERHANDLE::Open(const FILEHANDLE& file, int number) try {
    Close();
    if (!file.IsOpen()) return _SetErrPosn(StatusCode::NotOpen);
    auto opened = std::make_unique<State>();
    opened->database = file.Connection();
    opened->number = number;
    if (const Status status = ReadRasterRecord(*opened->database, number, opened->record);
        !status.Good()) {
        return status;
    }
    opened->name = opened->database->Find(number)->header.name;
    opened->cellBytes = static_cast<std::size_t>(BytesOf(opened->record.header.type));
    if (const Status status = opened->Prepare(); !status.Good()) return status;
    if (const Status status = opened->CheckSize(); !status.Good()) return status;
    state_ = std::move(opened);
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

void RASTERHANDLE::Close() {
    state_.reset();
}

bool RASTERHANDLE::IsOpen() const noexcept {
    return state_ != nullptr;
}

const RasterHeader& RASTERHANDLE::Header() const noexcept {
    static constexpr RasterHeader kNone;
    const State* const state = state_.get();
    return state != nullptr ? state->record.header : kNone;
}

Status RASTERHANDLE::ReadLine(int row, int column, int count, std::span<std::byte> out,
                              LineForm form) {
    return ReadBlock(column, row, count, 1, out, form);
}

Status RASTERHANDLE::ReadBlock(int column, int row, int columns, int rows, std::span<std::byte> out,
                               LineForm form) try {
    if (!IsOpen()) return _SetErrPosn(StatusCode::NotOpen);
    State& state = *state_;
    const std::size_t outBytes = form == LineForm::Raw ? state.cellBytes : sizeof(std::int16_t);
    const auto cells = static_cast<std::uint64_t>(std::max(columns, 0)) *
                       static_cast<std::uint64_t>(std::max(rows, 0));
    if (!state.Covers(column, row, columns, rows) || out.size() / outBytes < cells) {
        return _SetErrPosn(StatusCode::BadState,
                           fmt::format("raster \"{}\" read outside its cells", state.name));
    }
    if (cells == 0) return StatusCode::Ok;
    const bool oneTile = column % kTileSide == 0 && row % kTileSide == 0 && columns == kTileSide &&
                         rows == kTileSide;
    if (oneTile && form == LineForm::Raw) {
        return state.LoadTile(column / kTileSide, row / kTileSide,
                              out.first(kTileCells * outBytes));
    }
    const Way way = rows == 1 ? Way::Lines : Way::Blocks;
    Status result = StatusCode::Ok;
    const std::size_t stride = static_cast<std::size_t>(columns) * outBytes;
    for (int top = row; top < row + rows;) {
        const int bottom = std::min(row + rows, (top / kTileSide + 1) * kTileSide);
        const IntRect part{column, top, column + columns, bottom};
        std::byte* target = out.data() + static_cast<std::size_t>(top - row) * stride;
        if (const Status status = state.ReadRows(part, target, form, way); !status.Good())
            result = status;
        top = bottom;
    }
    return result;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

Status RASTERHANDLE::GetPyramidList(std::vector<PyramidLevel>& levels) const try {
    if (!IsOpen()) return _SetErrPosn(StatusCode::NotOpen);
    const RasterRecord& base = state_->record;
    std::vector<PyramidLevel> found;
    for (const ObjectRecord* object : state_->database->Children(state_->number)) {
        if (object->header.type != ObjectType::Raster) continue;
        RasterRecord level;
        if (!ReadRasterRecord(*state_->database, object->header.number, level).Good()) continue;
        if (level.factor == 1) continue;
        const bool power = (level.factor & (level.factor - 1)) == 0;
        const bool fits = level.header.columns == ReducedSide(base.header.columns, level.factor) &&
                          level.header.rows == ReducedSide(base.header.rows, level.factor) &&
                          level.header.type == base.header.type;
        if (!power || !fits) {
            return state_->database->Fault(
                StatusCode::FileDamaged,
                fmt::format(
                    "level {} of raster \"{}\" isn't the raster reduced; make the file anew",
                    level.factor, state_->name));
        }
        found.push_back({level.factor, object->header.number});
    }
    std::ranges::stable_sort(found, {}, &PyramidLevel::factor);
    const auto sameFactor = [](const PyramidLevel& a, const PyramidLevel& b) {
        return a.factor == b.factor;
    };
    found.erase(std::unique(found.begin(), found.end(), sameFactor), found.end());
    levels = std::move(found);
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

int RASTERHANDLE::FindMask() const {
    if (!IsOpen()) return kNoObject;
    for (const ObjectRecord* object : state_->database->Children(state_->number)) {
        if (object->header.type != ObjectType::Raster) continue;
        RasterRecord mask;
        if (!ReadRasterRecord(*state_->database, object->header.number, mask).Good()) continue;
        const RasterHeader& own = state_->record.header;
        if (mask.header.type == RasterType::Unsigned1 && mask.header.columns == own.columns &&
            mask.header.rows == own.rows) {
            return object->header.number;
        }
    }
    return kNoObject;
}

Status RASTERHANDLE::GetGeoreference(GeoTransform& transform, COORDREFSYS& system) const {
    if (!IsOpen()) return _SetErrPosn(StatusCode::NotOpen);
    const RasterRecord& record = state_->record;
    if (!record.hasTransform || record.srsId <= 0) {
        return state_->database->Fault(
            StatusCode::ReadFailed, fmt::format("raster \"{}\" has no georeference", state_->name));
    }
    const KnownSystem* known = nullptr;
    if (const Status status = FindReferenceSystem(*state_->database, record.srsId, known);
        !status.Good()) {
        return status;
    }
    system = known->system;
    transform = record.transform;
    return StatusCode::Ok;
}

Status RASTERHANDLE::GetCellSize(double& width, double& height) const {
    if (!IsOpen()) return _SetErrPosn(StatusCode::NotOpen);
    const RasterRecord& record = state_->record;
    const GeoTransform& t = record.transform;
    if (!record.hasTransform || record.srsId <= 0) {
        width = height = 1;
        return StatusCode::Ok;
    }
    const KnownSystem* known = nullptr;
    if (const Status status = FindReferenceSystem(*state_->database, record.srsId, known);
        !status.Good()) {
        return status;
    }
    double alongX = known->metresPerUnit, alongY = alongX;
    if (known->geographic) {
        const double latitude =
            t.yOrigin + record.header.columns / 2.0 * t.yColumn + record.header.rows / 2.0 * t.yRow;
        MetresPerDegree(latitude, alongX, alongY);
    }
    const double columnStep = std::hypot(t.xColumn * alongX, t.yColumn * alongY);
    const double rowStep = std::hypot(t.xRow * alongX, t.yRow * alongY);
    if (!std::isfinite(columnStep) || !std::isfinite(rowStep) || columnStep <= 0 || rowStep <= 0) {
        return state_->database->Fault(
            StatusCode::FileDamaged,
            fmt::format("raster \"{}\" has cells without a size", state_->name));
    }
    width = columnStep;
    height = rowStep;
    return StatusCode::Ok;
}

Status RASTERHANDLE::GetStatistics(RasterStatistics& statistics) const {
    if (!IsOpen()) return _SetErrPosn(StatusCode::NotOpen);
    if (!state_->record.hasStatistics) {
        return state_->database->Fault(
            StatusCode::ReadFailed,
            fmt::format("raster \"{}\" lacks its minimum and maximum", state_->name));
    }
    statistics = state_->record.statistics;
    return StatusCode::Ok;
}

Status RASTERHANDLE::ReadColorMap(ColorMap& map) const {
    if (!IsOpen()) return _SetErrPosn(StatusCode::NotOpen);
    Database& database = *state_->database;
    int number = FindLastUsed(database, state_->number, ObjectType::ColorMap);
    // A level wears the colours of its raster.
    if (number == kNoObject && state_->record.factor > 1) {
        number =
            FindLastUsed(database, database.Find(state_->number)->parent, ObjectType::ColorMap);
    }
    if (number == kNoObject) {
        return database.Fault(StatusCode::BadState,
                              fmt::format("raster \"{}\" has no colour map", state_->name));
    }
    Statement* row = nullptr;
    if (const Status status = database.Keep("SELECT entry, red, green, blue, word FROM zpf_color "
                                            "WHERE object = ?1 ORDER BY entry LIMIT 257",
                                            row);
        !status.Good()) {
        return status;
    }
    row->Bind(1, std::int64_t{number});
    ColorMap read{};
    bool sound = true;
    RowState state = row->Step();
    for (; state == RowState::Found && sound; state = row->Step()) {
        const std::int64_t entry = row->Integer(0);
        sound = row->IsInteger(0) && entry >= 0 && entry < std::ssize(read);
        for (int column = 1; column < 5; ++column) {
            sound = sound && row->IsInteger(column) && row->Integer(column) >= 0 &&
                    row->Integer(column) <= 0xFFFF;
        }
        if (!sound) break;
        const auto part = [row](int column) {
            return static_cast<std::uint16_t>(row->Integer(column));
        };
        read[static_cast<std::size_t>(entry)] = {part(1), part(2), part(3), part(4)};
    }
    row->Reset();
    if (state == RowState::Failed) return database.Failure("reading a colour map");
    if (!sound) {
        return database.Fault(
            StatusCode::FileDamaged,
            fmt::format("the colour map of raster \"{}\" can't be", state_->name));
    }
    map = read;
    return StatusCode::Ok;
}

std::vector<std::byte> RASTERHANDLE::ReadColorProfile() const {
    if (!IsOpen()) return {};
    Statement* row = nullptr;
    if (!state_->database->Keep("SELECT profile FROM zpf_profile WHERE object = ?1", row).Good())
        return {};
    row->Bind(1, std::int64_t{state_->number});
    std::vector<std::byte> profile;
    if (row->Step() == RowState::Found && row->IsBlob(0) &&
        row->Blob(0).size() <= kLongestProfile) {
        const std::span<const std::byte> blob = row->Blob(0);
        profile.assign(blob.begin(), blob.end());
    }
    row->Reset();
    return profile;
}

}  // namespace tarnvale::ZPF
