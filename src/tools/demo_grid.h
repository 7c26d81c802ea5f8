#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <system_error>
#include <thread>
#include <vector>

#include "tools/demo_noise.h"

namespace tarnvale::demo {

/// A square of values, row-major from the north-west.
template <class T>
class Grid {
public:
    Grid() = default;
    explicit Grid(int side, T value = {})
        : side_(side),
          cells_(static_cast<std::size_t>(side) * static_cast<std::size_t>(side), value) {}

    [[nodiscard]] int Side() const noexcept { return side_; }
    [[nodiscard]] std::size_t Count() const noexcept { return cells_.size(); }
    [[nodiscard]] bool Empty() const noexcept { return cells_.empty(); }
    [[nodiscard]] T& operator[](std::size_t i) noexcept { return cells_[i]; }
    [[nodiscard]] const T& operator[](std::size_t i) const noexcept { return cells_[i]; }
    [[nodiscard]] T& At(int x, int y) noexcept { return Row(y)[x]; }
    [[nodiscard]] const T& At(int x, int y) const noexcept { return Row(y)[x]; }
    [[nodiscard]] T* Row(int y) noexcept { return cells_.data() + Index(0, y); }
    [[nodiscard]] const T* Row(int y) const noexcept { return cells_.data() + Index(0, y); }
    [[nodiscard]] std::size_t Index(int x, int y) const noexcept {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(side_) +
               static_cast<std::size_t>(x);
    }
    /// As At, with the border's value beyond the border.
    [[nodiscard]] const T& Clamped(int x, int y) const noexcept {
        return At(std::clamp(x, 0, side_ - 1), std::clamp(y, 0, side_ - 1));
    }
    [[nodiscard]] const std::vector<T>& Cells() const noexcept { return cells_; }

private:
    int side_ = 0;
    std::vector<T> cells_;
};

/// Runs loops over rows on several threads. Each row writes only what is its own, so the result is
/// the same with any number of threads.
class Workers {
public:
    /// @param threads  0: as many as the machine has
    explicit Workers(int threads)
        : threads_(threads > 0
                       ? threads
                       : std::max(1, static_cast<int>(std::thread::hardware_concurrency()))) {}

    /// Calls work(row) for each row from 0 to rows - 1. `work` must not throw.
    /// @param chunk  rows that a thread takes at once
    template <class F>
    void Rows(int rows, const F& work, int chunk = 8) const {
        std::atomic<int> next{0};
        const auto run = [&] {
            for (int from = next.fetch_add(chunk); from < rows; from = next.fetch_add(chunk)) {
                for (int row = from; row < std::min(rows, from + chunk); ++row) work(row);
            }
        };
        std::vector<std::jthread> helpers;
        const int useful = std::min(threads_, rows / (4 * chunk));  // a thread costs too
        helpers.reserve(static_cast<std::size_t>(std::max(0, useful)));
        for (int i = 1; i < useful; ++i) {
            try {
                helpers.emplace_back(run);
            } catch (const std::system_error&) {
                break;  // no more threads to be had: those that run share the rows
            }
        }
        run();
    }

private:
    int threads_;
};

/// Weights for the four samples around a place `t` (0 to 1) between the middle two, for a curve
/// through the samples.
struct Cubic {
    explicit constexpr Cubic(float t) noexcept
        : w{t * (t * (1.0F - 0.5F * t) - 0.5F), t * t * (1.5F * t - 2.5F) + 1.0F,
            t * (t * (2.0F - 1.5F * t) + 0.5F), t * t * (0.5F * t - 0.5F)} {}
    float w[4];
};

/// As Cubic, for a smoother curve that only comes near the samples (and never overshoots).
struct Spline {
    explicit constexpr Spline(float t) noexcept
        : w{(1.0F - t) * (1.0F - t) * (1.0F - t) / 6.0F, (t * t * (3.0F * t - 6.0F) + 4.0F) / 6.0F,
            (t * (t * (3.0F - 3.0F * t) + 3.0F) + 1.0F) / 6.0F, t * t * t / 6.0F} {}
    float w[4];
};

/// The rise of Spline's curve for a step of one sample.
struct SplineSlope {
    explicit constexpr SplineSlope(float t) noexcept
        : w{-0.5F * (1.0F - t) * (1.0F - t), 0.5F * t * (3.0F * t - 4.0F),
            0.5F * (t * (2.0F - 3.0F * t) + 1.0F), 0.5F * t * t} {}
    float w[4];
};

/// Value at the place (x, y), counted in cells; beyond the border the border goes on.
template <class Curve>
[[nodiscard]] float Sample(const Grid<float>& grid, float x, float y) noexcept {
    const int ix = Floor(x);
    const int iy = Floor(y);
    const Curve cx(x - static_cast<float>(ix));
    const Curve cy(y - static_cast<float>(iy));
    float sum = 0.0F;
    for (int j = 0; j < 4; ++j) {
        const float* row = grid.Row(std::clamp(iy - 1 + j, 0, grid.Side() - 1));
        float line = 0.0F;
        for (int i = 0; i < 4; ++i) {
            line += cx.w[i] * row[std::clamp(ix - 1 + i, 0, grid.Side() - 1)];
        }
        sum += cy.w[j] * line;
    }
    return sum;
}

}  // namespace tarnvale::demo
