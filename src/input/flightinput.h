#pragma once

#include <array>
#include <cstdint>

namespace tarnvale {

/// What all controls together ask of the viewer in one frame: distances in scene units and angles
/// in degrees per frame, once scaled by InputSystem::ReadFlightInput; raw values -1 to 1 before.
struct FlightInput {
    bool controlActivate = false;  ///< for one frame
    bool screenShot = false;       ///< for one frame
    std::array<float, 2> worldMove{};
    float altitude = 0, slide = 0, forward = 0, verticalSlide = 0;
    std::array<float, 3> worldTurn{};
    float pitch = 0, roll = 0, turn = 0;
    std::array<float, 9> anchored{};  ///< look turn, orbit turn, look move: no input fills them
    float minimumHeight = 0;
    bool useMinimumHeight = false;
    float maximumHeight = 0;
    bool useMaximumHeight = false;
    std::int16_t lookFlags = 0;  ///< a LookFlag value
    float throttle = 0;
    bool throttleZero = false, rollZero = false, altitudeLock = false;
    std::array<bool, 3> spare{};
    float speed = 0;  ///< for the readout

    /// Adds another device's record: floats add, flags combine.
    FlightInput& operator+=(const FlightInput& other);
};

/// Values of FlightInput::lookFlags.
namespace LookFlag {
inline constexpr std::int16_t kDown = 1, kRight = 2, kRear = 4, kLeft = 8, kUp = 16, kVertical = 32;
}

}  // namespace tarnvale
