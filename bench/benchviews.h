#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "graphics/offscreen/offscreenwindow.h"
#include "landscape/simfile.h"
#include "simulator/simulatr.h"

// What the measurements of views share.
namespace tarnvale::bench {

inline constexpr double kCircle = 6.283185307179586;

/// Seconds of a clock that never goes back.
inline double Now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

inline double Median(std::vector<double> values) {
    if (values.empty()) return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

/// @return 1, the program's exit code, after one line about what is wrong
inline int Fail(const char* program, const std::string& what) {
    (void)std::fprintf(stderr, "%s: %s\n", program, what.c_str());
    return 1;
}

/// A simulator whose views are pictures in memory; each waits until its frame is finished.
template <typename Window = OffscreenWindow>
class Views {
public:
    struct OpenView {
        OpenView(int width, int height, std::unique_ptr<GraphicsSystem> graphics)
            : window(width, height), system(std::move(graphics)) {
            system->SetFinishFrames(true);
        }
        Window window;
        std::unique_ptr<GraphicsSystem> system;
    };

    Views(int width, int height) : width_(width), height_(height) {}
    ~Views() {
        simulator_.Unload();
        for (int view = 0; view < View::kCount; ++view)
            (void)simulator_.AttachGraphicsSystem(nullptr, view);
    }
    Views(const Views&) = delete;
    Views& operator=(const Views&) = delete;

    /// Opens a landscape in the main view.
    Status Open(const FILEPATH& landscape, std::unique_ptr<GraphicsSystem> system) {
        SimulatorFile file;
        Status status = file.Read(landscape);
        if (status.Good()) status = simulator_.Initialize(nullptr);
        if (status.Good()) status = Attach(View::kMain, std::move(system));
        return status.Good() ? simulator_.BuildScene(file) : status;
    }
    Status Attach(int view, std::unique_ptr<GraphicsSystem> system) {
        auto& place = views_[static_cast<std::size_t>(view)];
        place = std::make_unique<OpenView>(width_, height_, std::move(system));
        const Status opened = place->system->Open(&place->window);
        return opened.Good() ? simulator_.AttachGraphicsSystem(place->system.get(), view) : opened;
    }

protected:
    /// A place over the landscape. @param share   radius, of the shorter side
    ///                             @param height  share of the highest ground
    [[nodiscard]] Vec3f OnCircle(double angle, double share, double height) const {
        const Box& box = simulator_.GetScene()->WholeBox();
        const double radius = std::min(box.xMax - box.xMin, box.yMax - box.yMin) * share;
        return {static_cast<float>(box.CentreX() + std::cos(angle) * radius),
                static_cast<float>(box.CentreY() + std::sin(angle) * radius),
                static_cast<float>(box.zMax * height)};
    }

    int width_, height_;
    std::array<std::unique_ptr<OpenView>, View::kCount> views_;
    Simulator simulator_;
};

}  // namespace tarnvale::bench
