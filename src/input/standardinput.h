#pragma once

#include <memory>

#include "input/inputsystem.h"

namespace tarnvale {

/// The keyboard through ordinary window messages: fixed keys, no joystick, no mouse. The last event
/// of a field wins: both keys of a pair write the same field, and letting go of either clears it.
/// Look directions are one value, so a look key ends the one held before.
class StandardInput final : public InputSystem, public KeySink {
public:
    StandardInput();
    ~StandardInput() override;

    void Close() override;
    void Reconfigure() override {}
    /// @return the keys bound to `action`, joined with ", "; empty if there are none
    [[nodiscard]] QNSTRING GetKeyboardLabel(Action action) const override;
    void ReadRaw(FlightInput& record) override { record = record_; }
    [[nodiscard]] std::unique_ptr<InputSystem> CreateInstance() const override;

    bool KeyDown(Key key, bool repeat) override;
    bool KeyUp(Key key) override;
    void AllKeysUp() override;

protected:
    Status OpenDevices() override;

private:
    bool OnKey(Key key, bool down);

    KeySource* hooked_ = nullptr;  // the window that calls this sink, until Close
    FlightInput record_;
};

}  // namespace tarnvale
