#include "input/flightinput.h"

#include <cstddef>

namespace tarnvale {

namespace {
template <std::size_t n>
void Add(std::array<float, n>& sum, const std::array<float, n>& other) {
    for (std::size_t i = 0; i < n; ++i) sum[i] += other[i];
}
}  // namespace

FlightInput& FlightInput::operator+=(const FlightInput& other) {
    controlActivate |= other.controlActivate;
    screenShot |= other.screenShot;
    Add(worldMove, other.worldMove);
    altitude += other.altitude;
    slide += other.slide;
    forward += other.forward;
    verticalSlide += other.verticalSlide;
    Add(worldTurn, other.worldTurn);
    pitch += other.pitch;
    roll += other.roll;
    turn += other.turn;
    Add(anchored, other.anchored);
    minimumHeight += other.minimumHeight;
    useMinimumHeight |= other.useMinimumHeight;
    maximumHeight += other.maximumHeight;
    useMaximumHeight |= other.useMaximumHeight;
    lookFlags = static_cast<std::int16_t>(lookFlags | other.lookFlags);
    throttle += other.throttle;
    throttleZero |= other.throttleZero;
    rollZero |= other.rollZero;
    altitudeLock |= other.altitudeLock;
    for (std::size_t i = 0; i < spare.size(); ++i) spare[i] |= other.spare[i];
    speed += other.speed;
    return *this;
}

}  // namespace tarnvale
