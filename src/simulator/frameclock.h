#pragma once

#include <cstdint>

#include "base/vec3f.h"

namespace tarnvale {

/// Frame rate, averages and what is due, from one time value a frame. 32-bit float seconds.
class FrameClock {
public:
    static constexpr float kAverageInterval = 1.0F;
    static constexpr float kDragInterval = 0.0625F;
    static constexpr float kReadoutInterval = 0.125F;

    /// Forgets the past, as after opening a landscape: the next frame has no rate yet.
    void Restart() noexcept;
    /// Counts a frame. A clock that stands still keeps the last rate; one that went back restarts.
    void Tick(float now, const Vec3f& viewer);
    /// Leaves out the time up to the next Tick, in which no frames were drawn: that Tick keeps the
    /// rates, and counts from its own time on.
    void Skip() noexcept { skipping_ = true; }

    [[nodiscard]] float Now() const noexcept { return now_; }
    /// Frames a second of the last frame; 0 in the first frame.
    [[nodiscard]] float FrameRate() const noexcept { return frameRate_; }
    [[nodiscard]] float AverageFrameRate() const noexcept { return averageFrameRate_; }
    [[nodiscard]] float Velocity() const noexcept { return velocity_; }  ///< scene units a second
    /// True in a frame in which the map's drag step may run: at most 16 times a second.
    [[nodiscard]] bool DragDue() const noexcept { return dragDue_; }
    [[nodiscard]] bool ReadoutsDue() const noexcept { return readoutsDue_; }

private:
    bool started_ = false, skipping_ = false;
    float now_ = 0, previous_ = 0, lastAverage_ = 0, lastDrag_ = 0, lastReadouts_ = 0;
    float frameRate_ = 0, averageFrameRate_ = 0, velocity_ = 0;
    std::uint32_t frames_ = 0;
    Vec3f averagePosition_;
    bool dragDue_ = false, readoutsDue_ = false;
};

}  // namespace tarnvale
