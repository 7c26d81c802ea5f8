// What instruments, sky and marks add to a frame. Each place of a flight is drawn with and without
// them, one after the other, in the main view alone and then with the map open beside it.
// usage: overlays_bench LANDSCAPE [WIDTHxHEIGHT [FRAMES [KEY...]]]
// KEY: settings to switch; Compass and Sky if there is none. The markers of eight points of
// interest go with them.
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/settings.h"
#include "benchviews.h"
#include "graphics/opengl/openglgraphics.h"
#include "overlays/maplocator.h"
#include "tools/renderpath.h"

namespace tarnvale {
namespace {

using bench::Fail, bench::Median, bench::Now;

constexpr int kRounds = 4;  // of each place, the order of with and without swapped

/// Processor time of all threads, the software renderer's too: other programs lengthen a frame by
/// the clock, but hardly by this.
double ProcessorTime() {
    timespec time{};
    (void)clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Frames without and with what is measured.
class Comparison {
public:
    void Add(const std::array<double, 2>& seconds) {
        without_.push_back(seconds[0]);
        with_.push_back(seconds[1]);
        added_.push_back(seconds[1] - seconds[0]);
    }
    void Print(const char* what, const char* time) const {
        const double without = Median(without_), more = Median(added_);
        std::printf("%-14s %-10s %8.3f %8.3f %8.3f %7.1f %%\n", what, time, without * 1000,
                    Median(with_) * 1000, more * 1000, more / without * 100);
    }

private:
    std::vector<double> without_, with_, added_;
};

class Flight : public bench::Views<> {
public:
    Flight(int width, int height, std::vector<std::string> keys)
        : Views(width, height), keys_(std::move(keys)) {}

    Status Open(const FILEPATH& landscape, int frames) {
        const Status opened = Views::Open(landscape, std::make_unique<OpenGLGraphicsSystem>());
        if (!opened.Good()) return opened;
        for (const CameraPose& pose : MakeCameraPath(simulator_, frames)) {
            Place place;
            if (simulator_.MapToScene(pose.eye, place.eye).Good() &&
                simulator_.MapToScene(pose.lookAt, place.look).Good()) {
                path_.push_back(place);
            }
        }
        if (path_.empty()) return _SetErrPosn(StatusCode::BadState, "no path leads over it");
        return MakePoints();
    }
    /// @return false if a key is none of a switch
    [[nodiscard]] bool Switch(bool on) {
        for (int view = 0; view < View::kCount; ++view) simulator_.Pois().ShowMarkers(view, on);
        return std::ranges::all_of(keys_, [&](const std::string& key) {
            return settings::SetFromText(key, on ? "true" : "false");
        });
    }
    void Measure(const char* what) {
        Comparison clock, processor;
        for (const Place& place : path_) {
            do {
                (void)simulator_.PlaceByLookAt(place.eye, place.look, true);
                if (!simulator_.Settled())
                    std::this_thread::sleep_for(std::chrono::milliseconds(2));
            } while (!simulator_.Settled());
            for (int round = 0; round < kRounds; ++round) {
                std::array<double, 2> pair{}, work{};
                for (const bool on : {round % 2 == 0, round % 2 != 0}) {
                    (void)Switch(on);
                    const double before = Now(), workBefore = ProcessorTime();
                    (void)simulator_.PlaceByLookAt(place.eye, place.look, true);
                    pair[on ? 1 : 0] = Now() - before;
                    work[on ? 1 : 0] = ProcessorTime() - workBefore;
                }
                clock.Add(pair);
                processor.Add(work);
            }
        }
        clock.Print(what, "clock");
        processor.Print("", "processor");
    }
    /// The map's marks can't be switched off: they are drawn by themselves, over an empty picture.
    void MeasureLocator() {
        GraphicsSystem& map = *views_[View::kMap]->system;
        const ViewPicture& picture = simulator_.Picture(View::kMap);
        RenderCamera camera;
        camera.eye = picture.eye;
        camera.lookAt = picture.lookAt;
        camera.up = picture.up;
        camera.fieldOfView = picture.fieldOfView;
        camera.nearPlane = 10;
        camera.farPlane = picture.eye.z * 8;
        MapLocator locator;
        std::vector<double> added, looked;
        for (const Place& place : path_) {
            (void)simulator_.PlaceByLookAt(place.eye, place.look, true);
            const double before = Now();
            const auto ground = simulator_.PickGround(View::kMain, width_ / 2, height_ / 2);
            looked.push_back(Now() - before);
            LocatorScene scene;
            scene.viewer = place.eye;
            scene.lookAt = place.look;
            if (ground.has_value()) scene.centre = ground->scene;
            scene.unit = picture.eye.z * 0.8F * MapLocator::kPixels / static_cast<float>(height_);
            for (int round = 0; round < kRounds; ++round) {
                std::array<double, 2> pair{};
                for (const bool on : {round % 2 == 0, round % 2 != 0}) {
                    int width = 0, height = 0;
                    const double begun = Now();
                    map.BeginView(camera, width, height, FramePass::Full);
                    if (on) locator.Draw(map, camera, scene);
                    (void)map.EndFrame();
                    pair[on ? 1 : 0] = Now() - begun;
                }
                added.push_back(pair[1] - pair[0]);
            }
        }
        std::printf("the map's marks add %.3f ms, finding the ground ahead %.3f ms\n",
                    Median(added) * 1000, Median(looked) * 1000);
    }

private:
    struct Place {
        Vec3f eye, look;
    };

    /// Points all over the landscape.
    Status MakePoints() {
        constexpr int kAcross = 4;
        const Box& box = simulator_.GetScene()->WholeBox();
        for (int view = View::kFirstPoi; view < View::kMain; ++view) {
            const int i = view - View::kFirstPoi;
            const double across = (i % kAcross + 0.5) / kAcross;
            const double up =
                (static_cast<double>(i / kAcross) + 0.5) * kAcross / SIMPOISET::kSlots;
            const Vec3f place{static_cast<float>(std::lerp(box.xMin, box.xMax, across)),
                              static_cast<float>(std::lerp(box.yMin, box.yMax, up)), 0};
            Vec3d map;
            Status status = simulator_.SceneToMap(place, map);
            if (status.Good()) status = simulator_.Pois().CreatePOIView(view, 1 + view % 5);
            if (status.Good()) status = simulator_.Pois().SetPOIPosition(view, map.x, map.y);
            if (!status.Good()) return status;
        }
        return StatusCode::Ok;
    }

    std::vector<std::string> keys_;
    std::vector<Place> path_;
};

int Run(int argc, char** argv) {
    int width = 1280, height = 720;
    const int frames = argc > 3 ? std::max(1, std::atoi(argv[3])) : 200;
    if (argc < 2 || (argc > 2 && std::sscanf(argv[2], "%dx%d", &width, &height) != 2)) {
        (void)std::fprintf(stderr,
                           "usage: overlays_bench LANDSCAPE [WIDTHxHEIGHT [FRAMES [KEY...]]]\n");
        return 1;
    }
    std::vector<std::string> keys(argv + std::min(argc, 4), argv + argc);
    if (keys.empty()) keys = {"Compass", "Sky"};
    std::string names;
    for (const std::string& key : keys) names += " " + key;
    Flight flight(width, height, keys);
    if (!flight.Switch(false)) {
        return Fail("overlays_bench", "not all of these are switches:" + names);
    }
    Status status = flight.Open(argv[1], frames);
    if (status.Good()) {
        std::printf("%dx%d, %d places, medians in milliseconds, with and without%s and markers\n",
                    width, height, frames, names.c_str());
        std::printf("%-14s %-10s %8s %8s %8s %9s\n", "views", "time", "without", "with", "added",
                    "added");
        flight.Measure("main");
        status = flight.Attach(View::kMap, std::make_unique<OpenGLGraphicsSystem>());
    }
    if (status.Good()) {
        flight.Measure("main and map");
        flight.MeasureLocator();
    }
    return status.Good() ? 0 : Fail("overlays_bench", GetErrString(status));
}

}  // namespace
}  // namespace tarnvale

int main(int argc, char** argv) {
    return tarnvale::Run(argc, argv);
}
