#include "zpf/vectorhandle.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "zpf/geopackage.h"
#include "zpf/text.h"

namespace tarnvale::ZPF {

namespace {

// As SQL takes a name from a stranger.
std::string Quoted(std::string_view name) {
    std::string quoted = "\"";
    for (const char c : name) {
        quoted += c;
        if (c == '"') quoted += c;
    }
    return quoted + '"';
}

double DoubleAt(std::span<const std::byte> bytes, std::size_t at, bool littleEndian) {
    std::array<std::byte, sizeof(double)> raw{};
    std::ranges::copy(bytes.subspan(at, raw.size()), raw.begin());
    if (littleEndian != (std::endian::native == std::endian::little)) std::ranges::reverse(raw);
    return std::bit_cast<double>(raw);
}

/// Parts what GeoPackage puts before the well-known binary from it.
bool PartGeometry(std::span<const std::byte> blob, VectorGeometry& geometry) {
    constexpr std::size_t kHead = 8;
    constexpr std::array<std::size_t, 5> kBoxBytes{0, 32, 48, 48, 64};
    constexpr unsigned kLittleEndian = 1, kExtended = 0x20;
    if (blob.size() < kHead || blob[0] != std::byte{'G'} || blob[1] != std::byte{'P'}) return false;
    const auto flags = std::to_integer<unsigned>(blob[3]);
    const std::size_t form = flags >> 1 & 7;
    if ((flags & kExtended) != 0 || form >= kBoxBytes.size()) return false;
    if (blob.size() < kHead + kBoxBytes[form]) return false;
    if (form > 0) {
        const bool little = (flags & kLittleEndian) != 0;
        const auto value = [&](std::size_t index) {
            return DoubleAt(blob, kHead + index * sizeof(double), little);
        };
        const VectorBox box{value(0), value(2), value(1), value(3)};
        if (box.Sound()) geometry.box = box;
    }
    geometry.wkb = blob.subspan(kHead + kBoxBytes[form]);
    return !geometry.wkb.empty();
}

}  // namespace

bool VectorBox::Sound() const noexcept {
    return std::isfinite(minX) && std::isfinite(minY) && std::isfinite(maxX) &&
           std::isfinite(maxY) && minX <= maxX && minY <= maxY;
}

bool VectorBox::Touches(const VectorBox& other) const noexcept {
    return minX <= other.maxX && maxX >= other.minX && minY <= other.maxY && maxY >= other.minY;
}

void VectorBox::Include(const VectorBox& other) noexcept {
    minX = std::min(minX, other.minX);
    minY = std::min(minY, other.minY);
    maxX = std::max(maxX, other.maxX);
    maxY = std::max(maxY, other.maxY);
}

Status FindListedTable(const FILEHANDLE& file, const QNSTRING& name, std::string& table) {
    if (!file.IsOpen()) return _SetErrPosn(StatusCode::NotOpen);
    Database& database = *file.Connection();
    Statement* row = nullptr;
    if (const Status status =
            database.Keep("SELECT table_name FROM gpkg_contents WHERE data_type IN ('features', "
                          "'attributes') AND table_name = ?1 COLLATE NOCASE",
                          row);
        !status.Good()) {
        return status;
    }
    row->Bind(1, std::string_view(name));
    const RowState state = row->Step();
    if (state == RowState::Found) table = row->Text(0);
    row->Reset();
    if (state == RowState::Failed) return database.Failure("reading the list of layers");
    if (state == RowState::Found) return StatusCode::Ok;
    return database.Fault(StatusCode::ObjectNotFound,
                          fmt::format("has no layer \"{}\"", OneLine(name, 64)));
}

Status VECTORHANDLE::Open(const FILEHANDLE& file, const QNSTRING& table) {
    VectorHeader header;
    if (const Status found = FindListedTable(file, table, header.table); !found.Good())
        return found;
    database_ = file.Connection();
    const auto noGeometry = [&] {
        return database_->Fault(StatusCode::BadState,
                                fmt::format("layer \"{}\" has no geometry column; name a layer "
                                            "of points, lines or polygons",
                                            OneLine(header.table, 64)));
    };
    Statement column;
    if (!database_
             ->Prepare("SELECT column_name, geometry_type_name, srs_id FROM gpkg_geometry_columns "
                       "WHERE table_name = ?1 COLLATE NOCASE",
                       column)
             .Good()) {
        return noGeometry();
    }
    column.Bind(1, std::string_view(header.table));
    if (column.Step() != RowState::Found) return noGeometry();
    header.column = column.Text(0);
    header.geometryType = column.Text(1);
    std::ranges::transform(header.geometryType, header.geometryType.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    const std::int64_t srsId = column.Integer(2);
    if (srsId > 0 && srsId <= std::numeric_limits<int>::max())
        header.srsId = static_cast<int>(srsId);
    // With its table before it, a name that isn't there can't pass for a text.
    const std::string geometry = "f." + Quoted(header.column), from = Quoted(header.table) + " f";
    Statement extent;
    if (!database_
             ->Prepare(fmt::format("SELECT {} FROM {} WHERE f.rowid = ?1", geometry, from),
                       geometry_)
             .Good() ||
        !database_->Prepare(fmt::format("SELECT f.rowid FROM {}", from), rows_).Good()) {
        return noGeometry();
    }
    if (const Status status = database_->Prepare(
            "SELECT min_x, min_y, max_x, max_y FROM gpkg_contents WHERE table_name = ?1", extent);
        !status.Good()) {
        return status;
    }
    extent.Bind(1, std::string_view(header.table));
    if (extent.Step() == RowState::Found && extent.IsNumber(0) && extent.IsNumber(1) &&
        extent.IsNumber(2) && extent.IsNumber(3)) {
        header.extent = {extent.Real(0), extent.Real(1), extent.Real(2), extent.Real(3)};
    }
    header_ = std::move(header);
    OpenIndex();
    return StatusCode::Ok;
}

// An index that is there but empty was never filled.
void VECTORHANDLE::OpenIndex() {
    const std::string name = "rtree_" + header_.table + "_" + header_.column;
    if (!database_
             ->Prepare(
                 fmt::format("SELECT i.id, i.minx, i.maxx, i.miny, i.maxy FROM {} i WHERE i.maxx "
                             ">= ?1 AND i.minx <= ?2 AND i.maxy >= ?3 AND i.miny <= ?4",
                             Quoted(name)),
                 index_)
             .Good()) {
        return;
    }
    header_.indexed = true;
    SelectAll();
    VectorEntry entry;
    const bool filled = Next(entry) == RowState::Found;
    index_.Reset();
    header_.indexed = filled;
}

void VECTORHANDLE::GetSystem(COORDREFSYS& system) const {
    const KnownSystem* known = nullptr;
    system = {};
    if (header_.srsId > 0 && FindReferenceSystem(*database_, header_.srsId, known).Good())
        system = known->system;
}

bool VECTORHANDLE::Any() {
    Statement first;
    return database_->Prepare(fmt::format("SELECT 1 FROM {} LIMIT 1", Quoted(header_.table)), first)
               .Good() &&
           first.Step() == RowState::Found;
}

void VECTORHANDLE::Select(const VectorBox& box) {
    byIndex_ = header_.indexed;
    if (!byIndex_) return rows_.Reset();
    index_.Reset();
    index_.Bind(1, box.minX);
    index_.Bind(2, box.maxX);
    index_.Bind(3, box.minY);
    index_.Bind(4, box.maxY);
}

void VECTORHANDLE::SelectAll() {
    constexpr double kAll = std::numeric_limits<double>::infinity();
    Select({-kAll, -kAll, kAll, kAll});
}

RowState VECTORHANDLE::Next(VectorEntry& entry) {
    Statement& source = byIndex_ ? index_ : rows_;
    const RowState state = source.Step();
    if (state != RowState::Found) {
        source.Reset();
        return state;
    }
    entry.id = source.Integer(0);
    entry.box.reset();
    if (byIndex_) entry.box = {source.Real(1), source.Real(3), source.Real(2), source.Real(4)};
    return state;
}

void VECTORHANDLE::Finish() {
    if (header_.indexed) index_.Reset();  // else there may be none
    rows_.Reset();
    geometry_.Reset();
}

void VECTORHANDLE::ReadGeometry(std::int64_t id, VectorGeometry& geometry) {
    geometry = {};
    geometry_.Reset();
    geometry_.Bind(1, id);
    const RowState state = geometry_.Step();
    if (state == RowState::End || (state == RowState::Found && geometry_.IsNull(0))) return;
    geometry.damaged = state == RowState::Failed || !geometry_.IsBlob(0) ||
                       !PartGeometry(geometry_.Blob(0), geometry);
}

}  // namespace tarnvale::ZPF
