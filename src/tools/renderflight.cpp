#include "tools/renderflight.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <thread>

#include "base/settings.h"
#include "graphics/nullgraphics.h"
#include "graphics/offscreen/offscreenwindow.h"
#include "graphics/opengl/openglgraphics.h"
#include "graphics/opengl3/opengl3graphics.h"
#include "landscape/simfile.h"
#include "simulator/picturetexts.h"

namespace tarnvale {

namespace {

constexpr int kPartsEvery = 8;         // every so many frames the parts are timed
constexpr int kFloors = 20;            // static replays in a flight
constexpr int kReplays = 3;            // pictures of one replay
constexpr double kFirstPatience = 60;  // seconds for the first complete picture
constexpr double kFramePatience = 120;
constexpr double kStandstill = 10;  // seconds without a tile: no more will come
constexpr auto kPause = std::chrono::milliseconds(4);

double Now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Only a size, for a graphics system that draws nothing.
class SizedWindow final : public RenderWindow {
public:
    SizedWindow(int width, int height) : width_(width), height_(height) {}
    [[nodiscard]] int PixelWidth() const override { return width_; }
    [[nodiscard]] int PixelHeight() const override { return height_; }
    [[nodiscard]] double PixelPitch() const override { return OffscreenWindow::kUsualPitch; }
    [[nodiscard]] bool CreateContext(const char*&) override { return true; }
    void DestroyContext() override {}
    bool MakeCurrent() override { return true; }
    void DoneCurrent() override {}
    bool SwapBuffers() override { return true; }

private:
    int width_, height_;
};

// The whole reason where it is told for the user; else the text for the code.
std::string Reason(Status status) {
    const ErrPosn& last = GetErrPosn();
    return last.code == status.Code() && !last.detail.empty() ? last.detail : GetErrString(status);
}

}  // namespace

RenderFlight::RenderFlight(const RenderOptions& options) : options_(options) {}

RenderFlight::~RenderFlight() {
    simulator_.Unload();
    (void)simulator_.AttachGraphicsSystem(nullptr, View::kMain);
    if (graphics_ != nullptr) (void)graphics_->Shutdown();
}

bool RenderFlight::Run(std::string& problem) {
    // What can be told to be wrong without drawing comes first.
    if (!options_.camera.empty() && !ReadCameraPath(options_.camera, poses_, problem)) return false;
    if (!ApplySettings(problem) || !ReadLandscape(problem)) return false;
    if (!options_.out.empty()) {
        std::error_code error;
        std::filesystem::create_directories(options_.out, error);
        if (error) {
            problem =
                fmt::format("folder {} can't be made: {}", options_.out.string(), error.message());
            return false;
        }
    }
    if (!options_.trace.empty()) {
        trace_ = std::make_unique<TraceWriter>(simulator_, options_.traceVertices);
        if (!trace_->Open(options_.trace)) {
            problem = fmt::format("trace {} can't be written", options_.trace.string());
            return false;
        }
    }
    const double before = Now();
    if (!OpenGraphics(problem)) return false;
    opened_ += Now() - before;
    if (!BuildScene(problem) || !ChooseSky(problem) || !FindPath(problem)) return false;
    if (!options_.Draws()) return true;
    figures_.clock = MeasureClock();
    if (!Fly(problem)) return false;
    if (trace_ != nullptr && !trace_->Close()) {
        problem = fmt::format("trace {} can't be written whole", options_.trace.string());
        return false;
    }
    return options_.stats.empty() || WriteStats(problem);
}

bool RenderFlight::ApplySettings(std::string& problem) {
    // Pictures and figures are of the landscape; instruments come when they are asked for.
    settings::Compass.SetUnsaved(false);
    for (const auto& [key, value] : options_.settings) {
        if (!settings::SetFromText(key, value)) {
            problem =
                fmt::format("--set {}={}: no such preference, or no value for it", key, value);
            return false;
        }
        if (key == settings::TerrainQuality.Key()) {
            TerrainModel::SetQuality(settings::TerrainQuality.Get(), false);
        }
        if (key == settings::FrameRate.Key())
            TerrainModel::SetFrameRate(settings::FrameRate.Get(), false);
    }
    return true;
}

bool RenderFlight::OpenGraphics(std::string& problem) {
    if (options_.graphics == "null") {
        window_ = std::make_unique<SizedWindow>(options_.width, options_.height);
        graphics_ = std::make_unique<NullGraphicsSystem>();
    } else if (options_.graphics == "opengl") {
        auto window = std::make_unique<OffscreenWindow>(options_.width, options_.height);
        auto system = std::make_unique<OpenGLGraphicsSystem>();
        offscreen_ = window.get();
        opengl_ = system.get();
        window_ = std::move(window);
        graphics_ = std::move(system);
    } else if (options_.graphics == "opengl3") {
        auto window = std::make_unique<OffscreenWindow>(options_.width, options_.height);
        offscreen_ = window.get();
        window_ = std::move(window);
        graphics_ = std::make_unique<OpenGL3GraphicsSystem>();
    } else {
        problem = fmt::format("no graphics system '{}': there are opengl3, opengl and null",
                              options_.graphics);
        return false;
    }
    graphics_->SetFinishFrames(true);
    Status status = graphics_->Open(window_.get());
    if (status.Good()) status = simulator_.Initialize(nullptr);
    if (status.Good()) status = simulator_.AttachGraphicsSystem(graphics_.get(), View::kMain);
    if (!status.Good()) problem = Reason(status);
    return status.Good();
}

bool RenderFlight::ReadLandscape(std::string& problem) {
    opened_ = Now();
    const Status read = file_.Read(options_.landscape);
    if (!read.Good()) problem = Reason(read);
    return read.Good();
}

bool RenderFlight::BuildScene(std::string& problem) {
    // A frame of the home view would leave heights behind that no trace tells of.
    const Status built = simulator_.BuildScene(file_, FirstFrame::Left);
    figures_.open = Now() - opened_;
    if (!built.Good()) {
        problem = Reason(built);
        return false;
    }
    system_ = SystemText(simulator_.GetScene()->Reference().Transform().InputCoordRefSys());
    return true;
}

bool RenderFlight::ChooseSky(std::string& problem) {
    const std::vector<SkyChoice>& skies = simulator_.Skies();
    // The landscape has brought its own choice.
    for (const auto& [key, value] : options_.settings) {
        if (key == settings::Sky.Key()) (void)settings::Sky.SetFromText(value);
    }
    if (options_.sky.empty()) {
        if (!simulator_.SkyProblem().empty())
            (void)std::fprintf(stderr, "tarnvale-render: warning: %s\n",
                               simulator_.SkyProblem().c_str());
        return true;
    }
    auto chosen = std::ranges::find_if(skies, [this](const SkyChoice& sky) {
        return sky.item.header.name == options_.sky || sky.text == options_.sky;
    });
    if (chosen == skies.end()) {
        const char* const end = options_.sky.data() + options_.sky.size();
        std::size_t number = 0;
        const auto read = std::from_chars(options_.sky.data(), end, number);
        if (read.ec == std::errc{} && read.ptr == end && number >= 1 && number <= skies.size())
            chosen = skies.begin() + static_cast<std::ptrdiff_t>(number - 1);
    }
    if (chosen == skies.end()) {
        std::string names;
        for (const SkyChoice& sky : skies)
            names += (names.empty() ? "there are " : ", ") + sky.item.header.name;
        problem = fmt::format("no sky '{}': {}", options_.sky,
                              names.empty() ? "this landscape has none" : names);
        return false;
    }
    if (const Status loaded = simulator_.LoadSky(static_cast<int>(chosen - skies.begin()));
        !loaded.Good()) {
        problem = Reason(loaded);
        return false;
    }
    const bool told = std::ranges::any_of(options_.settings, [](const auto& setting) {
        return setting.first == settings::Sky.Key();
    });
    if (!told) settings::Sky.SetUnsaved(true);
    return true;
}

bool RenderFlight::FindPath(std::string& problem) {
    if (options_.camera.empty()) {
        poses_ = MakeCameraPath(simulator_, options_.fly);
        if (poses_.empty()) {
            problem = "no path can be made over this landscape: give one by --camera";
            return false;
        }
    }
    if (!options_.writeCamera.empty() && !WriteCameraPath(options_.writeCamera, poses_)) {
        problem = fmt::format("camera path {} can't be written", options_.writeCamera.string());
        return false;
    }
    return true;
}

bool RenderFlight::ScenePose(int frame, Vec3f& eye, Vec3f& look) const {
    const CameraPose& pose = poses_[static_cast<std::size_t>(frame)];
    return simulator_.MapToScene(pose.eye, eye).Good() &&
           simulator_.MapToScene(pose.lookAt, look).Good();
}

Status RenderFlight::DrawFrom(const Vec3f& eye, const Vec3f& look) {
    return simulator_.PlaceByLookAt(eye, look, true);
}

bool RenderFlight::Settle(const Vec3f& eye, const Vec3f& look, double patience, Status& drawn) {
    const double begun = Now();
    double lastCame = begun;
    std::uint64_t came = AllTiles().uploadsEver;
    while (true) {
        drawn = DrawFrom(eye, look);
        if (!drawn.Good() || simulator_.Settled()) return true;
        const double now = Now();
        if (const std::uint64_t ever = AllTiles().uploadsEver; ever != came) {
            came = ever;
            lastCame = now;
        }
        if (now - begun > patience || now - lastCame > kStandstill) return false;
        std::this_thread::sleep_for(kPause);
    }
}

bool RenderFlight::Fly(std::string& problem) {
    Vec3f eye, look;
    if (!ScenePose(0, eye, look)) {
        problem = "frame 0 of the camera path can't be brought into the landscape";
        return false;
    }
    Status drawn = DrawFrom(eye, look);
    figures_.firstFrame = Now() - opened_;
    if (drawn.Good() && !options_.stats.empty()) {
        if (Settle(eye, look, kFirstPatience, drawn)) figures_.complete = Now() - opened_;
    }
    if (!drawn.Good()) {
        problem = Reason(drawn);
        return false;
    }
    for (int frame = 0; frame < static_cast<int>(poses_.size()); ++frame) {
        if (!FlyFrame(frame, problem)) return false;
    }
    const TextureFigures tiles = AllTiles();
    figures_.tilesUploaded = tiles.uploadsEver;
    figures_.tilesResident = tiles.resident;
    figures_.damagedTiles = tiles.damagedTiles;
    return true;
}

bool RenderFlight::FlyFrame(int frame, std::string& problem) {
    Vec3f eye, look;
    if (!ScenePose(frame, eye, look)) {
        problem =
            fmt::format("frame {} of the camera path can't be brought into the landscape", frame);
        return false;
    }
    Status drawn = StatusCode::Ok;
    if (options_.complete && !Settle(eye, look, kFramePatience, drawn) && !warned_) {
        warned_ = true;
        (void)std::fprintf(
            stderr, "tarnvale-render: warning: frame %d doesn't get every tile it wants\n", frame);
    }
    if (trace_ != nullptr) {
        trace_->BeginFrame(frame);
        simulator_.SetFrameObserver(trace_.get());
    }
    const bool measured = !options_.stats.empty();
    simulator_.SetPartTiming(measured && frame % kPartsEvery == kPartsEvery - 1);
    const double before = Now();
    if (drawn.Good()) drawn = DrawFrom(eye, look);
    const double seconds = Now() - before;
    if (trace_ != nullptr) {
        simulator_.SetFrameObserver(nullptr);
    }
    if (!drawn.Good()) {
        problem = fmt::format("frame {}: {}", frame, Reason(drawn));
        return false;
    }
    if (measured) Count(frame, seconds);
    if (!options_.out.empty() && frame % options_.every == 0 && !KeepPicture(frame, problem))
        return false;
    const int apart = std::max(1, static_cast<int>(poses_.size()) / kFloors);
    if (measured && opengl_ != nullptr && frame % apart == apart / 2) MeasureFloor(eye, look);
    return true;
}

void RenderFlight::Count(int frame, double seconds) {
    if (frame % kPartsEvery == kPartsEvery - 1) {
        figures_.measuredParts.push_back(simulator_.Times());
    } else {
        figures_.frames.push_back(seconds);
    }
    const DrawCounters counters = graphics_->Counters();
    figures_.triangles.push_back(static_cast<double>(counters.triangles));
    figures_.drawCalls.push_back(counters.drawCalls);
}

void RenderFlight::MeasureFloor(const Vec3f& eye, const Vec3f& look) {
    simulator_.SetPartTiming(false);
    opengl_->CaptureNextFrame();
    if (!DrawFrom(eye, look).Good()) return;
    (void)opengl_->ReplayCaptured(1);  // what is sent for the first time isn't measured
    if (const double floor = opengl_->ReplayCaptured(kReplays); floor > 0)
        figures_.floors.push_back(floor);
}

bool RenderFlight::KeepPicture(int frame, std::string& problem) {
    if (const Status read = offscreen_->ReadPicture(pixels_); !read.Good()) {
        problem = Reason(read);
        return false;
    }
    const CameraPose& pose = poses_[static_cast<std::size_t>(frame)];
    const PictureTexts texts = TextsOfPicture("Tarnvale " TARNVALE_VERSION, options_.landscape,
                                              pose.eye, pose.lookAt, system_);
    const FILEPATH path = options_.out / fmt::format("frame_{:05}.png", frame);
    if (WritePicture(path, {pixels_, options_.width, options_.height}, texts).Good()) return true;
    problem = fmt::format("picture {} can't be written", path.string());
    return false;
}

TextureFigures RenderFlight::AllTiles() const {
    TextureFigures sum;
    for (const auto& layer : simulator_.GetScene()->Layers()) {
        for (const TextureLayer& texture : layer->textures) {
            const auto& model = texture.models[View::kMain];
            if (model == nullptr) continue;
            const TextureFigures figures = model->Figures();
            sum.resident += figures.resident;
            sum.uploadsEver += figures.uploadsEver;
            sum.damagedTiles += figures.damagedTiles;
        }
    }
    return sum;
}

bool RenderFlight::WriteStats(std::string& problem) const {
    nlohmann::ordered_json json = figures_.ToJson();
    json["frames"] = poses_.size();
    json["width"] = options_.width;
    json["height"] = options_.height;
    json["graphics"] = graphics_->Name();
    if (offscreen_ != nullptr) json["renderer"] = offscreen_->RendererName();
    std::ofstream file(options_.stats, std::ios::binary);
    file << json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
    file.close();
    if (!file.fail()) return true;
    problem = fmt::format("figures {} can't be written", options_.stats.string());
    return false;
}

}  // namespace tarnvale
