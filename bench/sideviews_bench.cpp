// What open side views add to a frame: 1, 4, 8 and 17 views of one size over a landscape, each with
// a context and textures of its own.
// usage: sideviews_bench LANDSCAPE [WIDTHxHEIGHT [FRAMES]]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

#include "benchviews.h"
#include "graphics/opengl/openglgraphics.h"

namespace tarnvale {
namespace {

using bench::Fail, bench::kCircle, bench::Median, bench::Now;

/// A picture in memory that notes when it was finished.
class TimedWindow final : public RenderWindow {
public:
    TimedWindow(int width, int height) : picture_(width, height) {}
    [[nodiscard]] int PixelWidth() const override { return picture_.PixelWidth(); }
    [[nodiscard]] int PixelHeight() const override { return picture_.PixelHeight(); }
    [[nodiscard]] double PixelPitch() const override { return picture_.PixelPitch(); }
    [[nodiscard]] bool CreateContext(const char*& why) override {
        return picture_.CreateContext(why);
    }
    void DestroyContext() override { picture_.DestroyContext(); }
    bool MakeCurrent() override { return picture_.MakeCurrent(); }
    void DoneCurrent() override { picture_.DoneCurrent(); }
    bool SwapBuffers() override {
        const bool shown = picture_.SwapBuffers();
        finished = Now();
        return shown;
    }
    double finished = 0;        // seconds
    std::vector<double> costs;  // of each measured frame

private:
    OffscreenWindow picture_;
};

class Flight : public bench::Views<TimedWindow> {
public:
    Flight(int width, int height, int frames) : Views(width, height), frames_(frames) {}

    /// Flies a circle over the middle, every tile present. @return median seconds of a frame
    double Measure() {
        std::vector<double> taken;
        for (const auto& view : views_) {
            if (view != nullptr) view->window.costs.clear();
        }
        for (int frame = 0; frame < frames_; ++frame) {
            Fly(frame);
            while (!simulator_.Settled()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
                Fly(frame);
            }
            const double before = Now();
            Fly(frame);
            taken.push_back(Now() - before);
            double last = before;
            for (const auto& view : views_) {
                if (view == nullptr) continue;
                view->window.costs.push_back(view->window.finished - last);
                last = view->window.finished;
            }
        }
        return Median(taken);
    }
    /// Median seconds of a view in the frames measured last.
    [[nodiscard]] double Cost(int view) const {
        return Median(views_[static_cast<std::size_t>(view)]->window.costs);
    }
    /// A point of interest as high as what the main view looks at, so that both see alike.
    void Target(int view) {
        simulator_.SetViewTarget(view, OnCircle(kCircle * (view - View::kFirstPoi) / 8, 0.2, 0.7));
    }

private:
    void Fly(int frame) {
        const double angle = kCircle * frame / frames_;
        (void)simulator_.PlaceByLookAt(OnCircle(angle, 0.2, 1.1), OnCircle(angle + 0.8, 0.2, 0.7),
                                       true);
    }

    int frames_;
};

int Run(int argc, char** argv) {
    int width = 480, height = 360;
    const int frames = argc > 3 ? std::max(1, std::atoi(argv[3])) : 60;
    if (argc < 2 || (argc > 2 && std::sscanf(argv[2], "%dx%d", &width, &height) != 2)) {
        (void)std::fprintf(stderr, "usage: sideviews_bench LANDSCAPE [WIDTHxHEIGHT [FRAMES]]\n");
        return 1;
    }
    Flight flight(width, height, frames);
    Status status = flight.Open(argv[1], std::make_unique<OpenGLGraphicsSystem>());
    if (!status.Good()) return Fail("sideviews_bench", GetErrString(status));
    std::printf("%dx%d, %d frames, medians in milliseconds\n", width, height, frames);
    std::printf("views   frame   main view   side view (mean)   side / main\n");
    const double alone = flight.Measure();
    std::printf("%5d %7.2f %11.2f\n", 1, alone * 1000, flight.Cost(View::kMain) * 1000);
    for (int view = 0; view < View::kMain && status.Good(); ++view) {
        if (View::IsPoi(view)) flight.Target(view);
        status = flight.Attach(view, std::make_unique<OpenGLGraphicsSystem>());
        const int count = view + 2;
        if (!status.Good() || (count != 4 && count != 8 && count != 17)) continue;
        const double taken = flight.Measure();
        double sides = 0;
        for (int side = 0; side <= view; ++side) sides += flight.Cost(side) / (view + 1);
        const double main = flight.Cost(View::kMain);
        std::printf("%5d %7.2f %11.2f %18.2f %13.2f\n", count, taken * 1000, main * 1000,
                    sides * 1000, sides / main);
        (void)std::fflush(stdout);
    }
    if (!status.Good()) return Fail("sideviews_bench", GetErrString(status));
    std::printf("each of them, view by view:");
    for (int view = 0; view < View::kCount; ++view)
        std::printf(" %d: %.2f", view, flight.Cost(view) * 1000);
    std::printf("\n");
    return 0;
}

}  // namespace
}  // namespace tarnvale

int main(int argc, char** argv) {
    return tarnvale::Run(argc, argv);
}
