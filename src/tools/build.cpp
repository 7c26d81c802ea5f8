#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <new>
#include <system_error>

#include "landscape/atlas.h"
#include "tools/builddem.h"
#include "tools/buildfill.h"
#include "tools/buildgrid.h"
#include "tools/buildimage.h"
#include "tools/buildinput.h"
#include "tools/buildnames.h"
#include "tools/buildoptions.h"
#include "tools/buildpaint.h"
#include "tools/buildprogress.h"
#include "tools/buildpyramid.h"
#include "tools/buildsky.h"
#include "tools/demo.h"
#include "tools/skymodel.h"
#include "zpf/zpfwriter.h"

namespace tarnvale {

namespace {

constexpr int kStandardColumns = 2048, kStandardRows = 1024;
constexpr int kDemoSystem = 32632;                   // a made-up place on a real grid
constexpr double kDemoX = 500000, kDemoY = 5200000;  // north-western sample

/// Tiles of the demo's texture.
class DemoTiles final : public TileSource {
public:
    explicit DemoTiles(const DemoLandscape& demo) : demo_(demo) {}

    Status NewReader(std::unique_ptr<TileReader>& reader) const override {
        reader = std::make_unique<Reader>(demo_);
        return StatusCode::Ok;
    }

private:
    class Reader final : public TileReader {
    public:
        explicit Reader(const DemoLandscape& demo) : demo_(demo) {}
        Status Read(int x, int y, int width, int height, RawTile& tile) override {
            const std::size_t line = static_cast<std::size_t>(width) * 3;
            rgb_.resize(line * static_cast<std::size_t>(height));
            demo_.RenderTextureTile(x, y, width, height, rgb_);
            for (std::size_t row = 0; row < static_cast<std::size_t>(height); ++row) {
                std::memcpy(&tile.cells[row * ZPF::kTileSide * 3], &rgb_[row * line], line);
            }
            tile.coverage = Coverage::Full;
            return StatusCode::Ok;
        }

    private:
        const DemoLandscape& demo_;
        std::vector<std::uint8_t> rgb_;
    };

    const DemoLandscape& demo_;
};

/// One run of the program: from options to a file.
class Builder {
public:
    explicit Builder(const BuildOptions& options) : options_(options), progress_(options.quiet) {}

    Status Run() {
        if (const Status ready = PrepareOutput(); !ready.Good()) return ready;
        if (const Status built = Build(); !built.Good()) return built;
        if (Interrupt::Signal() != 0) return _SetErrPosn(StatusCode::Cancelled, "interrupted");
        const Status committed = writer_.Commit();
        if (committed.Good()) {
            Interrupt::RemoveWhenKilled({});
            std::error_code failed;
            const auto bytes =
                static_cast<double>(std::filesystem::file_size(options_.output, failed));
            progress_.Say(fmt::format("{}: {:.1f} MB", options_.output.string(), bytes / 1e6));
        }
        return committed.Good() && options_.atlas ? WriteAtlas() : committed;
    }

private:
    Status Build() {
        if (options_.standardSkies) return BuildStandardSkies();
        if (options_.makesSkyFile) return BuildSkyFile();
        // Skies are few and small, and whatever is wrong with one is told before the work.
        std::vector<SkyImage> skies(options_.skies.size());
        for (std::size_t i = 0; i < skies.size(); ++i) {
            if (const Status read = ReadSkyImage(options_.skies[i], kWidestSkyInside, skies[i]);
                !read.Good()) {
                return read;
            }
        }
        if (const Status built = options_.demo ? BuildDemo() : BuildFromFiles(); !built.Good())
            return built;
        if (skies.empty()) return StatusCode::Ok;
        int folder = kNoObject;
        if (const Status added = writer_.AddFolder(kRootObject, "SKY", folder); !added.Good())
            return added;
        NameMaker names;
        for (SkyImage& sky : skies) {
            if (const Status written = StoreSky(folder, names, sky); !written.Good())
                return written;
        }
        return StatusCode::Ok;
    }

    Status BuildSkyFile() {
        for (const std::string& path : options_.skies) {
            if (const Status good = CheckSkyImage(path); !good.Good()) return good;
        }
        if (const Status created = CreateFile(); !created.Good()) return created;
        NameMaker names;
        for (const std::string& path : options_.skies) {
            SkyImage sky;
            if (const Status read = ReadSkyImage(path, kWidestSky, sky); !read.Good()) return read;
            if (const Status written = StoreSky(kRootObject, names, sky); !written.Good())
                return written;
        }
        return StatusCode::Ok;
    }

    Status BuildStandardSkies() {
        if (const Status created = CreateFile(); !created.Good()) return created;
        NameMaker names;
        for (const StandardSkyText& text : kStandardSkies) {
            if (progress_.Cancelled()) return _SetErrPosn(StatusCode::Cancelled, "interrupted");
            SkyImage sky{text.name, text.description, kStandardColumns, kStandardRows, {}, {}};
            sky.rgb = PaintSky(text.sky, sky.columns, sky.rows);
            if (const Status written = StoreSky(kRootObject, names, sky); !written.Good())
                return written;
        }
        return StatusCode::Ok;
    }

    Status StoreSky(int folder, NameMaker& names, SkyImage& sky) {
        progress_.Say(
            fmt::format("Sky {}: {} x {} pixels", sky.description, sky.columns, sky.rows));
        // Whoever looks at the sky must know why it isn't as sharp as the picture was.
        if (!sky.note.empty() && !options_.quiet) {
            progress_.BreakLine();
            Warn(fmt::format("note: {}: {}", sky.description, sky.note));
        }
        sky.name = names.Unique(sky.name);
        sky.description = Cut(sky.description, kDescriptionLength);
        return WriteSky(writer_, folder, sky, options_.skyEncoding, progress_);
    }

    [[nodiscard]] FILEPATH AtlasPath() const {
        return FILEPATH(options_.output).replace_extension(".atl");
    }

    /// The first texture, and beside it the first terrain's heights.
    Status WriteAtlas() {
        Atlas atlas;
        atlas.title = options_.output.stem().string();
        atlas.file = options_.output;
        atlas.object = "/" + firstTexture_;
        atlas.views.resize(2);
        const auto positions = DefaultPositions(atlas.views.size());
        for (std::size_t i = 0; i < atlas.views.size(); ++i) atlas.views[i].position = positions[i];
        atlas.views[1].object = "/" + firstDem_;
        if (options_.overwrite) {
            std::error_code gone;
            std::filesystem::remove(AtlasPath(), gone);  // nothing of an old one may stay
        }
        if (const Status written = atlas.Write(AtlasPath()); !written.Good()) return written;
        progress_.Say(AtlasPath().string());
        return StatusCode::Ok;
    }

    Status PrepareOutput() {
        std::error_code failed;
        if (options_.atlas && std::filesystem::exists(AtlasPath(), failed) && !options_.overwrite) {
            return _SetErrPosn(StatusCode::WriteFailed,
                               AtlasPath().string() + " exists; --overwrite replaces it");
        }
        if (std::filesystem::is_directory(options_.output, failed)) {
            return _SetErrPosn(StatusCode::WriteFailed,
                               options_.output.string() + " is a folder; name a file");
        }
        if (std::filesystem::exists(options_.output, failed) && !options_.overwrite) {
            return _SetErrPosn(StatusCode::WriteFailed,
                               options_.output.string() + " exists; --overwrite replaces it");
        }
        if (!options_.assignedSystem.empty()) {
            OGRSpatialReference system;
            if (const Status made = SystemFromText(options_.assignedSystem, "-a_srs", system);
                !made.Good())
                return made;
            assigned_ = system;
        }
        if (!options_.targetSystem.empty()) {
            OGRSpatialReference system;
            if (const Status made = SystemFromText(options_.targetSystem, "-t_srs", system);
                !made.Good())
                return made;
            system_ = system;
        }
        return StatusCode::Ok;
    }

    /// Makes the temporary file; after the inputs are known to be good, so that wrong ones leave no
    /// trace.
    Status CreateFile() {
        if (created_) return StatusCode::Ok;
        if (const Status created = writer_.Create(options_.output); !created.Good()) return created;
        created_ = true;
        Interrupt::RemoveWhenKilled(writer_.TemporaryPath());
        return StatusCode::Ok;
    }

    [[nodiscard]] const OGRSpatialReference* Assigned() const {
        return assigned_ ? &*assigned_ : nullptr;
    }

    static Status StoreSystem(const OGRSpatialReference& system, COORDREFSYS& out) {
        char* text = nullptr;
        const char* const options[] = {"FORMAT=WKT2_2019", "MULTILINE=NO", nullptr};
        system.exportToWkt(&text, options);
        const std::string wkt = text != nullptr ? text : "";
        CPLFree(text);
        return COORDREFSYS::FromText(wkt, out);
    }

    ZPF::RasterSpec SpecFor(const TargetGrid& grid, const COORDREFSYS& system,
                            const std::string& name, const std::string& description) {
        ZPF::RasterSpec spec;
        spec.name = names_.Unique(name);
        spec.description = Cut(description, kDescriptionLength);
        spec.columns = grid.columns;
        spec.rows = grid.rows;
        spec.georeference = grid.Georeference();
        spec.system = system;
        return spec;
    }

    Status WriteHeights(const TerrainHeights& heights, const COORDREFSYS& system,
                        const std::string& name, const std::string& description) {
        ZPF::RasterSpec spec = SpecFor(heights.grid, system, name, description);
        if (firstDem_.empty()) firstDem_ = spec.name;
        spec.type = ZPF::RasterType::Signed16;
        spec.hasNull = heights.nulls > 0;
        spec.nullValue = kNullHeight;
        int number = kNoObject;
        if (const Status added = writer_.AddRaster(kRootObject, spec, number); !added.Good())
            return added;
        PyramidReport report;
        return WritePyramid(writer_, number, spec, *HeightTiles(heights), "Writing elevations",
                            progress_, report);
    }

    Status WriteTexture(const TargetGrid& grid, const COORDREFSYS& system, const std::string& name,
                        const std::string& description, const TileSource& tiles, bool masked,
                        std::string_view text, PyramidReport& report) {
        ZPF::RasterSpec spec = SpecFor(grid, system, name, description);
        if (firstTexture_.empty()) firstTexture_ = spec.name;
        spec.type = ZPF::RasterType::Composite24B;
        spec.encoding =
            options_.lossless ? ZPF::TileEncoding::Lossless : ZPF::TileEncoding::Automatic;
        spec.jpegQuality = options_.quality;
        spec.hasMask = masked;
        spec.levels = LevelsFor(grid.columns, grid.rows);
        int number = kNoObject;
        if (const Status added = writer_.AddRaster(kRootObject, spec, number); !added.Good())
            return added;
        return WritePyramid(writer_, number, spec, tiles, text, progress_, report);
    }

    Status WritePaintedTexture(const TerrainHeights& heights, const COORDREFSYS& system,
                               const std::string& stem) {
        const int longer = std::max(heights.grid.columns, heights.grid.rows) - 1;
        int wish = options_.textureSize;
        if (wish == 0) wish = std::max(longer, std::min(longer << kPaintedDoublings, kPaintedSide));
        std::string note;
        const TargetGrid grid =
            TextureGrid(heights.grid, ChooseDoublings(heights.grid, 1.0, wish, note));
        if (!note.empty()) progress_.Say("  " + note);
        progress_.Say(
            fmt::format("Texture: painted by height, {} x {} pixels", grid.columns, grid.rows));
        PyramidReport report;
        return WriteTexture(grid, system, Cut(stem, kNameLength - 4) + "_map",
                            "painted by height, with hill shading", *PaintedTiles(heights, grid),
                            false, "Painting", report);
    }

    Status WriteImage(const ImagePlan& plan, const COORDREFSYS& system) {
        const std::filesystem::path path = plan.path;
        std::string bands = fmt::format("{}", fmt::join(plan.bands.bands, ", "));
        progress_.Say(fmt::format("Texture {}: band{} {}{}, {} x {} pixels of {:.4g} m{}{}",
                                  plan.path, plan.bands.bands.size() > 1 ? "s" : "", bands,
                                  plan.bands.palette ? " (palette)" : "", plan.grid.columns,
                                  plan.grid.rows, plan.grid.cellWidth,
                                  plan.copied ? ", copied pixel for pixel" : "",
                                  plan.masked ? ", masked where it has no data" : ""));
        for (const std::string& note : plan.notes) progress_.Say("  " + note);
        PyramidReport report;
        if (const Status written =
                WriteTexture(plan.grid, system, path.stem().string(), path.filename().string(),
                             *ImageTiles(plan, Assigned()), plan.masked, "Writing texture", report);
            !written.Good()) {
            return written;
        }
        if (report.baseTiles == 0) {
            return _SetErrPosn(
                StatusCode::BadState,
                plan.path + " has no pixel over the DEM; check the georeference and CRS of both");
        }
        return StatusCode::Ok;
    }

    /// One --dem with its textures, looked at but not read.
    struct TerrainJob {
        InputRaster dem;
        TerrainPlan plan;
        std::vector<ImagePlan> images;
    };

    Status PlanTerrain(const DemRequest& request, TerrainJob& job) {
        if (const Status opened = job.dem.Open(request.path, Assigned()); !opened.Good()) {
            return opened;
        }
        OGRSpatialReference system;
        const OGRSpatialReference* asked = system_ ? &*system_ : nullptr;
        if (const Status chosen = ChooseSystem(job.dem, asked, options_, system); !chosen.Good()) {
            return chosen;
        }
        // Further terrains lie in the same system.
        system_ = system;
        if (const Status planned = ChooseGrid(job.dem, system, options_, job.plan);
            !planned.Good()) {
            return planned;
        }
        job.images.resize(request.textures.size());
        for (std::size_t i = 0; i < job.images.size(); ++i) {
            if (const Status planned = PlanImage(request.textures[i], job.plan.grid,
                                                 options_.textureSize, Assigned(), job.images[i]);
                !planned.Good()) {
                return planned;
            }
        }
        return StatusCode::Ok;
    }

    Status WriteTerrain(const TerrainJob& job, const COORDREFSYS& system) {
        const InputRaster& dem = job.dem;
        progress_.Say(fmt::format("DEM {}: {} x {}, {}", dem.Path(), dem.Columns(), dem.Rows(),
                                  SystemName(dem.System())));
        if (!SameSystem(*system_, dem.System())) {
            progress_.Say("  brought to " + SystemName(*system_));
        }
        for (const std::string& note : job.plan.notes) progress_.Say("  " + note);
        TerrainHeights heights;
        if (const Status read =
                ReadHeights(dem, job.plan, options_.verticalUnit, Assigned(), progress_, heights);
            !read.Good()) {
            return read;
        }
        if (const Status ready = PrepareHeights(dem.Path(), heights); !ready.Good()) return ready;
        const std::string file = std::filesystem::path(dem.Path()).filename().string();
        if (const Status written = WriteHeights(heights, system, dem.Stem(), file);
            !written.Good()) {
            return written;
        }
        if (job.images.empty()) return WritePaintedTexture(heights, system, dem.Stem());
        heights.heights = {};  // room for the imagery
        for (const ImagePlan& image : job.images) {
            if (const Status written = WriteImage(image, system); !written.Good()) return written;
        }
        return StatusCode::Ok;
    }

    Status PrepareHeights(const std::string& path, TerrainHeights& heights) {
        const auto samples = static_cast<double>(heights.heights.size());
        std::string voids;
        if (heights.nulls > 0) {
            voids = fmt::format(", {:.1f} % without data",
                                100.0 * static_cast<double>(heights.nulls) / samples);
            if (!options_.fillVoids) voids += " (--fill-voids closes holes)";
        }
        progress_.Say(
            fmt::format("  elevations in {}: stored as whole metres in 16 bits, {} to {} m{}",
                        heights.unit, heights.minimum, heights.maximum, voids));
        if (heights.held > 0) {
            progress_.BreakLine();
            Warn(fmt::format(
                "warning: {} samples of {} lie beyond 32767 m and were held there; is its "
                "unit right? (--vertical-unit)",
                heights.held, path));
        }
        return options_.fillVoids ? FillHoles(heights) : Status(StatusCode::Ok);
    }

    Status BuildFromFiles() {
        // Whatever is wrong with the inputs is told before the work, not after it.
        std::vector<TerrainJob> jobs(options_.dems.size());
        for (std::size_t i = 0; i < jobs.size(); ++i) {
            if (const Status planned = PlanTerrain(options_.dems[i], jobs[i]); !planned.Good()) {
                return planned;
            }
        }
        COORDREFSYS system;
        if (const Status made = StoreSystem(*system_, system); !made.Good()) return made;
        if (const Status created = CreateFile(); !created.Good()) return created;
        for (const TerrainJob& job : jobs) {
            if (const Status written = WriteTerrain(job, system); !written.Good()) return written;
        }
        return StatusCode::Ok;
    }

    Status BuildDemo() {
        DemoOptions wish;
        if (options_.size != 0) wish.size = options_.size;
        if (options_.textureSize != 0) wish.textureSize = options_.textureSize;
        wish.seed = options_.seed;
        if (!ExactDoublings(wish.size) || wish.size < 65 || wish.size > 8193) {
            return _SetErrPosn(
                StatusCode::BadState,
                fmt::format("--size {}: a demo has 65, 129, ... 4097 or 8193 samples", wish.size));
        }
        if (options_.textureSize == 0) wish.textureSize = std::max(wish.textureSize, wish.size - 1);
        if (!std::has_single_bit(static_cast<unsigned>(wish.textureSize)) ||
            wish.textureSize < wish.size - 1 || wish.textureSize > 32768) {
            return _SetErrPosn(
                StatusCode::BadState,
                fmt::format("--texture-size {}: a demo of {} samples takes a power of two from {} "
                            "to 32768",
                            wish.textureSize, wish.size, wish.size - 1));
        }
        if (const Status created = CreateFile(); !created.Good()) return created;
        progress_.Say(fmt::format("Demo {}: {} x {} samples, texture of {} x {} pixels", wish.seed,
                                  wish.size, wish.size, wish.textureSize, wish.textureSize));
        const DemoLandscape demo(wish, &progress_);
        if (progress_.Cancelled()) return _SetErrPosn(StatusCode::Cancelled, "interrupted");

        OGRSpatialReference system;
        system.importFromEPSG(kDemoSystem);
        TerrainHeights heights;
        heights.grid.system = system;
        heights.grid.columns = heights.grid.rows = demo.Size();
        heights.grid.cellWidth = heights.grid.cellHeight = demo.CellSize();
        heights.grid.xMin = kDemoX - 0.5 * demo.CellSize();
        heights.grid.yMax = kDemoY + 0.5 * demo.CellSize();
        heights.heights.assign(demo.Heights().begin(), demo.Heights().end());
        Summarise(heights);
        COORDREFSYS stored;
        if (const Status made = StoreSystem(system, stored); !made.Good()) return made;
        if (const Status written =
                WriteHeights(heights, stored, "demo", fmt::format("demo landscape {}", wish.seed));
            !written.Good()) {
            return written;
        }
        const TargetGrid grid = TextureGrid(
            heights.grid,
            std::countr_zero(static_cast<unsigned>(wish.textureSize / (wish.size - 1))));
        heights.heights = {};
        PyramidReport report;
        return WriteTexture(grid, stored, "demo_texture", "rock, grass, forest and snow",
                            DemoTiles(demo), false, "Painting", report);
    }

    const BuildOptions& options_;
    TerminalProgress progress_;
    ZPF::PROJECTWRITER writer_;
    bool created_ = false;
    std::optional<OGRSpatialReference> assigned_, system_;
    NameMaker names_;
    QNSTRING firstDem_, firstTexture_;  // names of the objects
};

/// The whole reason where it is told for the user; else the text for the code.
std::string Reason(Status status) {
    const ErrPosn& last = GetErrPosn();
    return last.code == status.Code() && !last.detail.empty() ? last.detail : GetErrString(status);
}

int Main(int argc, const char* const* argv) {
    BuildOptions options;
    if (const auto over = ParseBuildOptions(argc, argv, options)) return *over;
    Interrupt::Install();
    StartGdal();
    Status status = StatusCode::Ok;
    std::string reason;
    try {
        Builder builder(options);
        status = builder.Run();
        reason = Reason(status);
    } catch (const std::bad_alloc&) {
        status = StatusCode::NoMemory;
        reason = "not enough memory; a smaller --size or --texture-size needs less";
    }
    if (status.Good()) return 0;
    if (Interrupt::Signal() != 0) {
        Warn("interrupted, nothing was written");
        return 128 + Interrupt::Signal();
    }
    Warn(reason);
    return 1;
}

}  // namespace

}  // namespace tarnvale

int main(int argc, char** argv) {
    return tarnvale::Main(argc, argv);
}
