#include "input/inputsystem.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "base/settings.h"
#include "input/standardinput.h"

namespace tarnvale {

namespace {

constexpr std::array<const char*, static_cast<std::size_t>(Action::Count)> kActionNames{
    "altitude_up_down",
    "slide_left_right",
    "forward_backward",
    "slide_up_down",
    "pitch",
    "roll",
    "turn",
    "altitude_up",
    "altitude_down",
    "slide_right",
    "slide_left",
    "forward",
    "backward",
    "throttle_up",
    "throttle_down",
    "throttle_zero",
    "slide_up",
    "slide_down",
    "pitch_up",
    "pitch_down",
    "roll_right",
    "roll_left",
    "roll_zero",
    "turn_left",
    "turn_right",
    "look_right",
    "look_left",
    "look_up",
    "look_down",
    "look_rear",
    "look_vertical",
    "screenshot",
    "altitude_lock",
    "altitude_hat",
    "slide_hat",
    "look_hat"};

constexpr float kAltitudePerWheelCount = 0.008333334F;  // one notch, 120 counts, is 1

}  // namespace

const char* ActionName(Action action) {
    const auto index = static_cast<std::size_t>(action);
    return index < kActionNames.size() ? kActionNames[index] : "";
}

InputSystem::InputSystem(std::string name, std::string libraries)
    : name_(std::move(name)), libraries_(std::move(libraries)) {}

Status InputSystem::Open(KeySource* window) {
    if (window == nullptr) return _SetErrPosn(StatusCode::BadState, "no window to take keys from");
    window_ = window;
    return OpenDevices();
}

int InputSystem::ReadFlightInput(FlightInput& record, float rate, int wheel) {
    ReadRaw(record);
    const float inverse = rate > 0.0F ? 1.0F / rate : 1.0F;
    const float upDown = settings::UpDownSpeed, leftRight = settings::LeftRightSpeed,
                forwardBackward = settings::ForwardBackwardSpeed;
    record.speed = std::trunc(record.forward * 10.0F) * 0.1F;
    record.worldMove[0] *= leftRight * inverse;
    record.worldMove[1] *= forwardBackward * inverse;
    record.altitude *= upDown * inverse;
    record.slide *= leftRight * inverse;
    record.forward *= forwardBackward * inverse;
    record.verticalSlide *= upDown * inverse;

    const float pitchStep = settings::PitchSpeed.Get() * inverse;
    const float rollStep = settings::RollSpeed.Get() * inverse;
    const float turnStep = settings::TurnSpeed.Get() * inverse;
    record.worldTurn[0] *= pitchStep;
    record.worldTurn[1] *= rollStep;
    record.worldTurn[2] *= turnStep;
    record.pitch *= pitchStep;
    record.roll *= rollStep;
    record.turn *= turnStep;

    // A notch moves at once by the same height, however fast the frames come.
    record.altitude += static_cast<float>(wheel) * upDown * kAltitudePerWheelCount;

    if (record.throttleZero) {
        throttleSpeed_ = 0.0F;
    } else {
        throttleSpeed_ += forwardBackward * record.throttle * 0.5F;
        throttleSpeed_ =
            std::max(std::min(throttleSpeed_, forwardBackward), -std::trunc(forwardBackward));
    }
    record.forward += throttleSpeed_ * inverse;
    record.speed += throttleSpeed_;

    record.minimumHeight = settings::MinimumHeight.Get();
    record.useMinimumHeight = settings::UseMinimumHeight.Get();
    record.maximumHeight = settings::MaximumHeight.Get();
    record.useMaximumHeight = settings::UseMaximumHeight.Get();

    const auto moves = {record.worldMove[0], record.worldMove[1], record.altitude,
                        record.slide,        record.forward,      record.verticalSlide,
                        record.worldTurn[0], record.worldTurn[1], record.pitch,
                        record.roll};
    return std::ranges::any_of(moves, [](float move) { return move != 0.0F; }) ? 1 : 0;
}

InputSystemRegistry::InputSystemRegistry() {
    prototypes_[1] = std::make_unique<StandardInput>();
}

InputSystem* InputSystemRegistry::Choose() const {
    for (const auto& prototype : prototypes_) {
        if (prototype != nullptr && prototype->LibraryList().empty()) return prototype.get();
    }
    return nullptr;
}

}  // namespace tarnvale
