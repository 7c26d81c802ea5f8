#include "simulator/frameclock.h"

namespace tarnvale {

void FrameClock::Restart() noexcept {
    started_ = skipping_ = false;
    frameRate_ = 0;
    averageFrameRate_ = 0;
    velocity_ = 0;
}

void FrameClock::Tick(float now, const Vec3f& viewer) {
    if (!started_ || now < now_) {
        *this = FrameClock{};
        started_ = true;
        now_ = previous_ = lastAverage_ = lastDrag_ = lastReadouts_ = now;
        averagePosition_ = viewer;
        return;
    }
    now_ = now;
    if (skipping_) {
        skipping_ = false;
        previous_ = lastAverage_ = now;
        averagePosition_ = viewer;
        frames_ = 0;
    } else {
        ++frames_;
    }
    if (now > previous_) frameRate_ = 1.0F / (now - previous_);
    previous_ = now;
    if (const float elapsed = now - lastAverage_; elapsed > kAverageInterval) {
        averageFrameRate_ = static_cast<float>(frames_) / elapsed;
        velocity_ = Length(viewer - averagePosition_) / elapsed;
        averagePosition_ = viewer;
        frames_ = 0;
        lastAverage_ = now;
    }
    dragDue_ = now - lastDrag_ > kDragInterval;
    if (dragDue_) lastDrag_ = now;
    readoutsDue_ = now - lastReadouts_ > kReadoutInterval;
    if (readoutsDue_) lastReadouts_ = now;
}

}  // namespace tarnvale
