// Two graphics systems over one landscape, picture by picture: both draw each place of a flight
// with every tile present, one after the other, so that what else the machine does falls on both.
// usage: graphics_bench LANDSCAPE [WIDTHxHEIGHT [FRAMES [KEY=VALUE...]]]
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/settings.h"
#include "benchviews.h"
#include "graphics/opengl/openglgraphics.h"
#include "graphics/opengl3/opengl3graphics.h"

namespace tarnvale {
namespace {

using bench::kCircle, bench::Median, bench::Now;

/// One system, and a simulator of its own that it draws for.
class Side : public bench::Views<> {
public:
    using Views::Views;

    /// Draws the place until it is complete.
    void Settle(double angle) {
        do {
            Draw(angle);
        } while (!simulator_.Settled());
    }
    /// @return seconds of one picture: of the clock, and of all processors together, which other
    /// programs disturb less
    std::array<double, 2> Draw(double angle) {
        const double before = Now();
        const std::clock_t busy = std::clock();
        (void)simulator_.PlaceByLookAt(OnCircle(angle, 0.3, 1.1), OnCircle(angle + 0.8, 0.3, 0.5),
                                       true);
        return {Now() - before, static_cast<double>(std::clock() - busy) / CLOCKS_PER_SEC};
    }
    const std::vector<std::byte>& Picture() {
        (void)Main().window.ReadPicture(picture_);
        return picture_;
    }
    [[nodiscard]] DrawCounters Counters() const { return Main().system->Counters(); }
    [[nodiscard]] const std::string& Name() const { return Main().system->Name(); }
    [[nodiscard]] std::string Renderer() { return Main().window.RendererName(); }

    std::vector<double> taken;
    std::uint32_t mostCalls = 0;
    std::uint64_t mostTriangles = 0;

private:
    [[nodiscard]] OpenView& Main() const { return *views_[View::kMain]; }

    std::vector<std::byte> picture_;
};

/// How far apart the pictures are.
struct Difference {
    std::size_t channels = 0, apart = 0;
    double sum = 0;
    static constexpr int kNear = 10;  // of 255: 5 bits a channel against 8
    void Add(const std::vector<std::byte>& a, const std::vector<std::byte>& b) {
        for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
            if (i % 4 == 3) continue;
            const int by = std::abs(static_cast<int>(a[i]) - static_cast<int>(b[i]));
            ++channels;
            apart += by > kNear ? 1 : 0;
            sum += by;
        }
    }
};

int Run(int argc, char** argv) {
    int width = 1280, height = 720;
    const int frames = argc > 3 ? std::max(1, std::atoi(argv[3])) : 120;
    if (argc < 2 || (argc > 2 && std::sscanf(argv[2], "%dx%d", &width, &height) != 2)) {
        (void)std::fprintf(
            stderr, "usage: graphics_bench LANDSCAPE [WIDTHxHEIGHT [FRAMES [KEY=VALUE...]]]\n");
        return 1;
    }
    for (int i = 4; i < argc; ++i) {
        const std::string pair = argv[i];
        const std::size_t at = pair.find('=');
        if (at == std::string::npos ||
            !settings::SetFromText(pair.substr(0, at), pair.substr(at + 1))) {
            return bench::Fail("graphics_bench", "no such preference: " + pair);
        }
    }
    TerrainModel::SetQuality(settings::TerrainQuality.Get(), false);
    std::array<std::unique_ptr<GraphicsSystem>, 2> systems{
        std::make_unique<OpenGLGraphicsSystem>(), std::make_unique<OpenGL3GraphicsSystem>()};
    std::array<std::unique_ptr<Side>, 2> sides;
    for (std::size_t i = 0; i < 2; ++i) {
        sides[i] = std::make_unique<Side>(width, height);
        const Status opened = sides[i]->Open(argv[1], std::move(systems[i]));
        if (!opened.Good()) return bench::Fail("graphics_bench", GetErrString(opened));
    }
    std::array<std::vector<double>, 2> ratios;
    Difference difference;
    for (int frame = 0; frame < frames; ++frame) {
        const double angle = kCircle * frame / frames;
        for (const auto& side : sides) side->Settle(angle);
        std::array<std::array<double, 2>, 2> seconds{};
        for (std::size_t turn = 0; turn < 2; ++turn) {  // each is first in every other frame
            const std::size_t i = (turn + static_cast<std::size_t>(frame)) % 2;
            seconds[i] = sides[i]->Draw(angle);
            sides[i]->taken.push_back(seconds[i][0]);
            const DrawCounters counters = sides[i]->Counters();
            sides[i]->mostCalls = std::max(sides[i]->mostCalls, counters.drawCalls);
            sides[i]->mostTriangles = std::max(sides[i]->mostTriangles, counters.triangles);
        }
        for (std::size_t k = 0; k < 2; ++k) ratios[k].push_back(seconds[1][k] / seconds[0][k]);
        difference.Add(sides[0]->Picture(), sides[1]->Picture());
    }
    std::printf("%dx%d, %d pictures, %s\n", width, height, frames, sides[0]->Renderer().c_str());
    for (const auto& side : sides) {
        std::printf("%-8s median %.2f ms, worst %.2f ms, at most %u calls, %llu triangles\n",
                    side->Name().c_str(), Median(side->taken) * 1000,
                    *std::ranges::max_element(side->taken) * 1000, side->mostCalls,
                    static_cast<unsigned long long>(side->mostTriangles));
    }
    std::printf("%s / %s, picture by picture, median: clock %.3f, processors %.3f\n",
                sides[1]->Name().c_str(), sides[0]->Name().c_str(), Median(ratios[0]),
                Median(ratios[1]));
    std::printf(
        "pictures: channels differ by %.2f of 255 in the mean, %.3f %% by more than %d\n",
        difference.sum / static_cast<double>(difference.channels),
        100.0 * static_cast<double>(difference.apart) / static_cast<double>(difference.channels),
        Difference::kNear);
    return 0;
}

}  // namespace
}  // namespace tarnvale

int main(int argc, char** argv) {
    return tarnvale::Run(argc, argv);
}
