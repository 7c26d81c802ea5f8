#include "tools/builddem.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <new>
#include <string_view>
#include <thread>

namespace tarnvale {

namespace {

constexpr double kFoot = 0.3048;
constexpr double kUsSurveyFoot = 1200.0 / 3937.0;
constexpr int kMostHeight = 32767;
/// Side of the squares that are resampled at once.
constexpr int kBlock = 256;

struct Unit {
    double metres = 1;
    std::string name = "metres";
};

/// A unit by what a band or a vertical CRS calls it, if it is known.
std::optional<Unit> UnitCalled(std::string name) {
    std::ranges::transform(name, name.begin(), [](unsigned char c) {
        return c == '_' || c == '-' ? ' ' : static_cast<char>(std::tolower(c));
    });
    const auto isOneOf = [&](std::initializer_list<std::string_view> names) {
        return std::ranges::find(names, name) != names.end();
    };
    if (isOneOf({"m", "metre", "metres", "meter", "meters"})) return Unit{1.0, "metres"};
    if (isOneOf({"ft", "feet", "foot", "international foot", "international feet", "'"})) {
        return Unit{kFoot, "feet"};
    }
    if (isOneOf({"us survey foot", "us survey feet", "us ft", "ftus", "ft us", "sft", "foot us",
                 "foot us survey", "usft", "survey foot", "survey feet", "us foot", "us feet"})) {
        return Unit{kUsSurveyFoot, "US survey feet"};
    }
    if (isOneOf({"cm", "centimetre", "centimeter", "centimetres", "centimeters"}))
        return Unit{0.01, "centimetres"};
    if (isOneOf({"dm", "decimetre", "decimeter", "decimetres", "decimeters"}))
        return Unit{0.1, "decimetres"};
    if (isOneOf({"km", "kilometre", "kilometer", "kilometres", "kilometers"}))
        return Unit{1000.0, "kilometres"};
    return std::nullopt;
}

Unit UnitOf(const InputRaster& dem, VerticalUnit asked) {
    switch (asked) {
        case VerticalUnit::Metre:
            return {1.0, "metres, as --vertical-unit says"};
        case VerticalUnit::Foot:
            return {kFoot, "feet, as --vertical-unit says"};
        case VerticalUnit::UsSurveyFoot:
            return {kUsSurveyFoot, "US survey feet, as --vertical-unit says"};
        case VerticalUnit::Declared:
            break;
    }
    if (const char* declared = dem.Dataset().GetRasterBand(1)->GetUnitType();
        declared != nullptr && *declared != '\0') {
        if (const auto unit = UnitCalled(declared)) return *unit;
        return {1.0, fmt::format("\"{}\", taken for metres", declared)};
    }
    if (dem.DeclaredSystem().IsCompound()) {
        const char* name = nullptr;
        const double metres = dem.DeclaredSystem().GetTargetLinearUnits("VERT_CS", &name);
        if (metres > 0 && std::abs(metres - 1.0) > 1e-9)
            return {metres, name != nullptr ? name : "its own unit"};
    }
    return {1.0, "metres"};
}

BandPlan PlanFor(const InputRaster& dem, double metres) {
    BandPlan plan;
    plan.bands = {1};
    GDALRasterBand* band = dem.Dataset().GetRasterBand(1);
    const double scale = band->GetScale(nullptr), offset = band->GetOffset(nullptr);
    plan.gain.fill(scale * metres);
    plan.bias.fill(offset * metres);
    PlanMasks(dem.Dataset(), plan);
    return plan;
}

/// Resamples squares of the grid on all cores while the calling thread shows progress.
class HeightJob {
public:
    HeightJob(const InputRaster& dem, const TerrainPlan& plan, double metres,
              const OGRSpatialReference* assigned, TerrainHeights& out)
        : dem_(dem), plan_(plan), metres_(metres), assigned_(assigned), out_(out) {
        across_ = (plan.grid.columns + kBlock - 1) / kBlock;
        blocks_ = across_ * ((plan.grid.rows + kBlock - 1) / kBlock);
    }

    Status Run(Progress& progress) {
        progress.Begin("Reading elevations", blocks_, 1.0);
        // Strips are decoded by each thread anew, which small rasters aren't worth.
        working_ = std::clamp(blocks_ / 4, 1, WorkerCount());
        std::vector<std::thread> threads;
        const int wanted = working_;
        try {
            for (int i = 0; i < wanted; ++i) threads.emplace_back([this] { Work(); });
        } catch (const std::exception&) {
            const std::scoped_lock lock(lock_);
            working_ -= wanted - static_cast<int>(threads.size());
            failure_ = StatusCode::NoMemory;
            stop_ = true;
        }
        for (int shown = 0;;) {
            std::unique_lock lock(lock_);
            changed_.wait_for(lock, std::chrono::milliseconds(100));
            for (; shown < done_; ++shown) progress.Pulse();
            if (progress.Cancelled() && !stop_) {
                failure_ = StatusCode::Cancelled;
                stop_ = true;
            }
            if (working_ == 0) break;
        }
        for (std::thread& thread : threads) thread.join();
        if (!failure_.Good()) return _SetErrPosn(failure_.Code(), detail_);
        out_.held = held_;
        progress.End();
        return StatusCode::Ok;
    }

private:
    void Work() {
        Status done = StatusCode::Ok;
        try {
            done = WorkBlocks();
        } catch (const std::bad_alloc&) {
            done = _SetErrPosn(StatusCode::NoMemory, "not enough memory for the elevations");
        }
        const std::scoped_lock lock(lock_);
        if (!done.Good() && failure_.Good()) {
            failure_ = done;
            detail_ = GetErrPosn().detail;
            stop_ = true;
        }
        --working_;
        changed_.notify_all();
    }

    Status WorkBlocks() {
        InputRaster dem;
        if (const Status opened = dem.Open(dem_.Path(), assigned_); !opened.Good()) return opened;
        std::unique_ptr<ResampledRaster> source;
        if (const Status made = ResampledRaster::Create(plan_.grid, dem, PlanFor(dem, metres_),
                                                        Beyond::Void, Overshoot::Held, source);
            !made.Good()) {
            return made;
        }
        std::vector<Pixel4> pixels(static_cast<std::size_t>(kBlock) * kBlock);
        for (int block = next_++; block < blocks_ && !stop_; block = next_++) {
            const int x = block % across_ * kBlock, y = block / across_ * kBlock;
            const int width = std::min(kBlock, plan_.grid.columns - x);
            const int height = std::min(kBlock, plan_.grid.rows - y);
            Coverage coverage{};
            if (const Status read = source->Read(x, y, width, height, pixels, coverage);
                !read.Good())
                return read;
            Round(x, y, width, height, pixels);
            const std::scoped_lock lock(lock_);
            ++done_;
            changed_.notify_all();
        }
        return StatusCode::Ok;
    }

    void Round(int x, int y, int width, int height, std::span<const Pixel4> pixels) {
        long long held = 0;
        for (int row = 0; row < height; ++row) {
            for (int column = 0; column < width; ++column) {
                const Pixel4& pixel =
                    pixels[static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                           static_cast<std::size_t>(column)];
                std::int16_t& to = out_.heights[static_cast<std::size_t>(y + row) *
                                                    static_cast<std::size_t>(plan_.grid.columns) +
                                                static_cast<std::size_t>(x + column)];
                if (pixel.c[3] <= 0) {
                    to = kNullHeight;
                    continue;
                }
                const float metres = std::floor(pixel.c[0] + 0.5F);
                if (std::abs(metres) > static_cast<float>(kMostHeight)) ++held;
                to = static_cast<std::int16_t>(std::clamp(metres, -static_cast<float>(kMostHeight),
                                                          static_cast<float>(kMostHeight)));
            }
        }
        held_ += held;
    }

    const InputRaster& dem_;
    const TerrainPlan& plan_;
    double metres_;
    const OGRSpatialReference* assigned_;
    TerrainHeights& out_;
    int across_ = 0, blocks_ = 0;
    std::atomic<int> next_{0};
    std::atomic<bool> stop_{false};
    std::atomic<long long> held_{0};
    std::mutex lock_;  // guards all below
    std::condition_variable changed_;
    int working_ = 0, done_ = 0;
    Status failure_ = StatusCode::Ok;
    std::string detail_;
};

class HeightReader final : public TileReader {
public:
    explicit HeightReader(const TerrainHeights& heights) : heights_(heights) {}

    Status Read(int x, int y, int width, int height, RawTile& tile) override {
        constexpr std::size_t kCell = sizeof(std::int16_t);
        std::vector<std::int16_t> padding(static_cast<std::size_t>(ZPF::kTileSide),
                                          heights_.nulls > 0 ? kNullHeight : std::int16_t{0});
        for (int row = 0; row < ZPF::kTileSide; ++row) {
            std::byte* line = &tile.cells[static_cast<std::size_t>(row) * ZPF::kTileSide * kCell];
            std::memcpy(line, padding.data(), padding.size() * kCell);
            if (row >= height) continue;
            const std::size_t from = static_cast<std::size_t>(y + row) *
                                         static_cast<std::size_t>(heights_.grid.columns) +
                                     static_cast<std::size_t>(x);
            std::memcpy(line, &heights_.heights[from], static_cast<std::size_t>(width) * kCell);
        }
        tile.coverage = Coverage::Full;
        return StatusCode::Ok;
    }

private:
    const TerrainHeights& heights_;
};

class HeightSource final : public TileSource {
public:
    explicit HeightSource(const TerrainHeights& heights) : heights_(heights) {}
    Status NewReader(std::unique_ptr<TileReader>& reader) const override {
        reader = std::make_unique<HeightReader>(heights_);
        return StatusCode::Ok;
    }

private:
    const TerrainHeights& heights_;
};

}  // namespace

Status ReadHeights(const InputRaster& dem, const TerrainPlan& plan, VerticalUnit unit,
                   const OGRSpatialReference* assigned, Progress& progress,
                   TerrainHeights& heights) {
    if (GDALDataTypeIsComplex(dem.Dataset().GetRasterBand(1)->GetRasterDataType()) != 0) {
        return _SetErrPosn(StatusCode::BadState,
                           dem.Path() + " holds complex numbers, not elevations");
    }
    TerrainHeights made;
    made.grid = plan.grid;
    const Unit stored = UnitOf(dem, unit);
    made.unit = stored.name;
    made.heights.resize(static_cast<std::size_t>(plan.grid.columns) *
                        static_cast<std::size_t>(plan.grid.rows));
    HeightJob job(dem, plan, stored.metres, assigned, made);
    if (const Status done = job.Run(progress); !done.Good()) return done;
    Summarise(made);
    if (made.minimum > made.maximum) {
        return _SetErrPosn(
            StatusCode::BadState,
            dem.Path() + " has no elevation in the area; check -te and the DEM's CRS");
    }
    heights = std::move(made);
    return StatusCode::Ok;
}

void Summarise(TerrainHeights& heights) {
    heights.nulls = 0;
    heights.minimum = kMostHeight;
    heights.maximum = -kMostHeight - 1;
    for (const std::int16_t height : heights.heights) {
        if (height == kNullHeight) {
            ++heights.nulls;
            continue;
        }
        heights.minimum = std::min<int>(heights.minimum, height);
        heights.maximum = std::max<int>(heights.maximum, height);
    }
}

std::unique_ptr<TileSource> HeightTiles(const TerrainHeights& heights) {
    return std::make_unique<HeightSource>(heights);
}

}  // namespace tarnvale
