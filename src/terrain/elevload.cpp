#include <algorithm>
#include <atomic>
#include <bitset>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "base/textres.h"
#include "terrain/elevgrid.h"
#include "terrain/nullset.h"
#include "terrain/workers.h"
#include "zpf/zpfraster.h"

namespace tarnvale {
namespace {

constexpr int kValues = 1 << 16;  // of a sample

/// A handle of its own on the raster, for one thread at a time.
struct Reader {
    ZPF::FILEHANDLE file;
    ZPF::RASTERHANDLE raster;
    std::vector<std::int16_t> line;
    std::vector<std::byte> raw;
    std::bitset<kValues> used;  // final values met, nulls left out

    Status Open(const ZPFObjectItem& dem) {
        if (const Status opened = file.Open(dem.file, ZPF::OpenMode::Read); !opened.Good()) {
            return opened;
        }
        return raster.Open(file, dem.header.number);
    }
};

template <typename T>
void FindNulls(std::span<const std::byte> raw, double nullValue, std::vector<std::uint8_t>& null) {
    for (std::size_t i = 0; i < null.size(); ++i) {
        T value;
        std::memcpy(&value, raw.data() + i * sizeof(T), sizeof(T));
        bool isNull = false;
        if constexpr (std::is_same_v<T, float>) {
            isNull = value == static_cast<float>(nullValue) || std::isnan(value);
        } else if constexpr (std::is_same_v<T, double>) {
            isNull = value == nullValue || std::isnan(value);
        } else {
            isNull = static_cast<double>(value) == nullValue;
        }
        null[i] = isNull ? 1 : 0;
    }
}

/// Marks in `null` which cells of a line in raw form hold the null value.
void FindNulls(ZPF::RasterType type, std::span<const std::byte> raw, double nullValue,
               std::vector<std::uint8_t>& null) {
    switch (type) {
        case ZPF::RasterType::Unsigned1:
        case ZPF::RasterType::Unsigned4:
        case ZPF::RasterType::Unsigned8:
            return FindNulls<std::uint8_t>(raw, nullValue, null);
        case ZPF::RasterType::Signed8:
            return FindNulls<std::int8_t>(raw, nullValue, null);
        case ZPF::RasterType::Unsigned16:
            return FindNulls<std::uint16_t>(raw, nullValue, null);
        case ZPF::RasterType::Signed16:
            return FindNulls<std::int16_t>(raw, nullValue, null);
        case ZPF::RasterType::Unsigned32:
            return FindNulls<std::uint32_t>(raw, nullValue, null);
        case ZPF::RasterType::Signed32:
            return FindNulls<std::int32_t>(raw, nullValue, null);
        case ZPF::RasterType::Unsigned64:
            return FindNulls<std::uint64_t>(raw, nullValue, null);
        case ZPF::RasterType::Signed64:
            return FindNulls<std::int64_t>(raw, nullValue, null);
        case ZPF::RasterType::Float32:
            return FindNulls<float>(raw, nullValue, null);
        case ZPF::RasterType::Float64:
            return FindNulls<double>(raw, nullValue, null);
        default:
            std::ranges::fill(null, std::uint8_t{0});  // colours aren't elevations
    }
}

/// Raster value to whole final units.
std::int16_t ToFinal(std::int16_t value, float scale, float offset) {
    const double exact = static_cast<double>(value) * static_cast<double>(scale) +
                         static_cast<double>(offset) + 1e-10;
    return static_cast<std::int16_t>(
        std::clamp(std::round(exact), static_cast<double>(std::numeric_limits<std::int16_t>::min()),
                   static_cast<double>(std::numeric_limits<std::int16_t>::max())));
}

}  // namespace

/// What a load in progress needs. Readers come and go between the threads.
struct ElevationGrid::Loading {
    const ZPFObjectItem* dem = nullptr;
    ZPF::RasterHeader header;
    float scale = 1, offset = 0;
    std::unique_ptr<NullSet> nulls;

    std::mutex mutex;  // guards all below
    std::vector<std::unique_ptr<Reader>> idle;
    Status failure = StatusCode::Ok;
    std::string detail;

    Status TakeReader(std::unique_ptr<Reader>& reader) {
        {
            const std::scoped_lock lock(mutex);
            if (!idle.empty()) {
                reader = std::move(idle.back());
                idle.pop_back();
                return StatusCode::Ok;
            }
        }
        reader = std::make_unique<Reader>();
        return reader->Open(*dem);
    }
    void GiveBack(std::unique_ptr<Reader> reader) {
        const std::scoped_lock lock(mutex);
        idle.push_back(std::move(reader));
    }
    void Fail(Status status) {
        const std::scoped_lock lock(mutex);
        if (!failure.Good()) return;
        failure = status;
        if (status == StatusCode::NoMemory || GetErrPosn().code != status.Code()) return;
        try {
            detail = GetErrPosn().detail;
        } catch (const std::bad_alloc&) {
            detail.clear();
        }
    }
};

Status ElevationGrid::Load(const ZPFObjectItem& dem, Progress* progress) try {
    *this = ElevationGrid();
    Loading loading;
    loading.dem = &dem;
    Status loaded = LoadHeader(loading);
    if (loaded.Good()) loaded = LoadRows(loading, progress);
    if (!loaded.Good()) *this = ElevationGrid();
    return loaded;
} catch (const std::bad_alloc&) {
    *this = ElevationGrid();
    return _SetErrPosn(StatusCode::NoMemory, "no memory for the elevations");
}

Status ElevationGrid::LoadHeader(Loading& loading) {
    auto reader = std::make_unique<Reader>();
    const std::string name = "elevation raster '" + loading.dem->header.name + "'";
    if (const Status opened = reader->Open(*loading.dem); !opened.Good()) {
        return _SetErrPosn(StatusCode::BadState,
                           name + " can't be opened: " + GetErrString(opened));
    }
    const ZPF::RASTERHANDLE& raster = reader->raster;
    GeoTransform georeference;
    COORDREFSYS system;
    if (raster.GetGeoreference(georeference, system).Good()) SetPlace(georeference, system);
    double width = 0;
    double height = 0;
    if (const Status read = raster.GetCellSize(width, height); !read.Good()) return read;
    cellWidth_ = static_cast<float>(width);
    cellHeight_ = static_cast<float>(height);
    loading.header = raster.Header();
    loading.scale = static_cast<float>(loading.header.scale);
    loading.offset = static_cast<float>(loading.header.offset);
    ZPF::RasterStatistics statistics;
    if (const Status read = raster.GetStatistics(statistics); !read.Good()) return read;
    maximum_ = loading.scale * static_cast<float>(statistics.maximum) + loading.offset;
    minimum_ = loading.scale * static_cast<float>(statistics.minimum) + loading.offset;
    const bool sensible = std::isfinite(cellWidth_) && cellWidth_ > 0 &&
                          std::isfinite(cellHeight_) && cellHeight_ > 0 &&
                          std::isfinite(loading.scale) && std::isfinite(loading.offset) &&
                          std::isfinite(minimum_) && std::isfinite(maximum_);
    if (!sensible) {
        return _SetErrPosn(StatusCode::FileDamaged,
                           name + " has no sensible cell size, scale or range, build it anew");
    }
    loading.idle.push_back(std::move(reader));
    return StatusCode::Ok;
}

Status ElevationGrid::LoadRows(Loading& loading, Progress* progress) {
    const ZPF::RasterHeader& header = loading.header;
    if (const Status allocated = Allocate(header.columns, header.rows); !allocated.Good()) {
        return allocated;
    }
    // What is no number is no elevation, whether a null value is declared or not.
    const bool mayBeNaN =
        header.type == ZPF::RasterType::Float32 || header.type == ZPF::RasterType::Float64;
    const double nullValue =
        header.hasNull ? header.nullValue : std::numeric_limits<double>::quiet_NaN();
    if (header.hasNull || mayBeNaN) loading.nulls = std::make_unique<NullSet>(columns_, rows_);
    const bool identity = loading.scale == 1.0F && loading.offset == 0.0F;

    std::atomic<int> rowsDone = 0;
    const auto readBand = [&](int band) {
        std::unique_ptr<Reader> reader;
        try {
            if (const Status taken = loading.TakeReader(reader); !taken.Good()) {
                return loading.Fail(taken);
            }
            std::vector<std::uint8_t> null;
            reader->line.resize(static_cast<std::size_t>(columns_));
            const std::span<std::byte> line = std::as_writable_bytes(std::span(reader->line));
            const int last = std::min(rows_, (band + 1) * ZPF::kTileSide);
            for (int y = band * ZPF::kTileSide; y < last; ++y) {
                Status read =
                    reader->raster.ReadLine(y, 0, columns_, line, ZPF::LineForm::Signed16);
                if (read.Good() && loading.nulls != nullptr) {
                    null.resize(reader->line.size());
                    std::span<std::byte> raw = line;
                    if (header.type != ZPF::RasterType::Signed16) {
                        // The conversion may have moved other values onto the null value.
                        reader->raw.resize(null.size() *
                                           static_cast<std::size_t>(ZPF::BytesOf(header.type)));
                        raw = reader->raw;
                        read = reader->raster.ReadLine(y, 0, columns_, raw, ZPF::LineForm::Raw);
                    }
                    FindNulls(header.type, raw, nullValue, null);
                }
                if (!read.Good()) return loading.Fail(read);
                std::int16_t* row = Row(y);
                for (int x = 0; x < columns_; ++x) {
                    const auto i = static_cast<std::size_t>(x);
                    if (!null.empty() && null[i] != 0) {
                        loading.nulls->Set(x, y);
                        row[x] = 0;
                        continue;
                    }
                    row[x] = identity ? reader->line[i]
                                      : ToFinal(reader->line[i], loading.scale, loading.offset);
                    if (!null.empty()) reader->used.set(static_cast<std::uint16_t>(row[x]));
                }
                rowsDone.fetch_add(1, std::memory_order_relaxed);
            }
            loading.GiveBack(std::move(reader));
        } catch (const std::bad_alloc&) {
            loading.Fail(
                StatusCode::NoMemory);  // its words need memory: they are added by the caller
        }
    };

    int rowsShown = 0;
    const auto tick = [&] {
        if (progress != nullptr) {
            for (const int done = rowsDone.load(); rowsShown < done; ++rowsShown) progress->Pulse();
            if (progress->Cancelled()) return false;
        }
        const std::scoped_lock lock(loading.mutex);
        return loading.failure.Good();
    };
    if (progress != nullptr) progress->Begin(TEXTRES::Text("loading_dem"), rows_, 1.0);
    const int bands = (rows_ + ZPF::kTileSide - 1) / ZPF::kTileSide;
    const bool whole = RunOnAllCores(bands, readBand, tick);
    tick();
    if (progress != nullptr) progress->End();
    if (loading.failure == StatusCode::NoMemory) loading.detail = "no memory for the elevations";
    if (!loading.failure.Good()) return _SetErrPosn(loading.failure.Code(), loading.detail);
    if (!whole) return _SetErrPosn(StatusCode::Cancelled);

    if (loading.nulls != nullptr) MarkNulls(loading);
    Complete();
    return StatusCode::Ok;
}

void ElevationGrid::MarkNulls(const Loading& loading) {
    std::bitset<kValues> used;
    for (const auto& reader : loading.idle) used |= reader->used;
    int mark = 0;
    while (mark < kValues && used.test(static_cast<std::size_t>((mark + kValues / 2) % kValues))) {
        ++mark;
    }
    constexpr auto lowest = std::numeric_limits<std::int16_t>::min();
    nullMark_ = static_cast<std::int16_t>(lowest + mark % kValues);
    const bool raiseLowest = mark == kValues;  // every value is taken: two of them have to share
    for (int y = 0; y < rows_; ++y) {
        std::int16_t* row = Row(y);
        for (int x = 0; x < columns_; ++x) {
            if (loading.nulls->Has(x, y)) {
                row[x] = nullMark_;
                hasNull_ = true;
            } else if (raiseLowest && row[x] == lowest) {
                row[x] = lowest + 1;
            }
        }
    }
}

}  // namespace tarnvale
