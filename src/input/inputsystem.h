#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/optionpanel.h"
#include "base/status.h"
#include "base/types.h"
#include "input/flightinput.h"

namespace tarnvale {

/// Every control is bound to one of these; the number is the row of the table.
enum class Action : std::int32_t {
    AltitudeUpDown,
    SlideLeftRight,
    ForwardBackward,
    SlideUpDown,
    Pitch,
    Roll,
    Turn,
    AltitudeUp,
    AltitudeDown,
    SlideRight,
    SlideLeft,
    Forward,
    Backward,
    ThrottleUp,
    ThrottleDown,
    ThrottleZero,
    SlideUp,
    SlideDown,
    PitchUp,
    PitchDown,
    RollRight,
    RollLeft,
    RollZero,
    TurnLeft,
    TurnRight,
    LookRight,
    LookLeft,
    LookUp,
    LookDown,
    LookRear,
    LookVertical,
    ScreenShot,
    AltitudeLock,
    AltitudeHat,
    SlideHat,
    LookHat,
    Count,
};
/// @return the action's name: identifier and text key, such as "altitude_up_down"
[[nodiscard]] const char* ActionName(Action action);

/// Keys as the `standard` system knows them, whatever window system sends them. Letters and digits
/// are their upper-case ASCII codes; Numeric0 to Numeric9 follow each other.
enum class Key : std::int32_t {
    None = 0,
    Enter = 13,
    Digit3 = '3',
    A = 'A',
    Z = 'Z',
    Left = 0x100,
    Right,
    Up,
    Down,
    NumericPlus,
    Numeric0,
    Numeric1,
    Numeric2,
    Numeric3,
    Numeric4,
    Numeric5,
    Numeric6,
    Numeric7,
    Numeric8,
    Numeric9,
};

/// A window that keys come from. The window calls the sink; the sink says whether it took the key.
class KeySink {
public:
    virtual ~KeySink() = default;
    /// @param repeat  true for auto-repeat. @return true if the key is bound and needs no more
    /// handling
    virtual bool KeyDown(Key key, bool repeat) = 0;
    virtual bool KeyUp(Key key) = 0;
    /// The window lost the focus: every held key counts as released, since its release goes
    /// elsewhere.
    virtual void AllKeysUp() = 0;
};
/// Implemented by the main view's window.
class KeySource {
public:
    virtual ~KeySource() = default;
    virtual void SetKeySink(KeySink* sink) = 0;  ///< on loan; null takes it away
};

/// Fills the FlightInput record of each frame. Thread: the frame cycle's.
class InputSystem {
public:
    virtual ~InputSystem() = default;
    InputSystem(const InputSystem&) = delete;
    InputSystem& operator=(const InputSystem&) = delete;

    /// @return BadState for null. @param window  on loan until Close
    Status Open(KeySource* window);
    virtual void Close() = 0;
    virtual void Reconfigure() = 0;
    [[nodiscard]] virtual QNSTRING GetKeyboardLabel(Action action) const = 0;
    [[nodiscard]] virtual QNSTRING GetJoystickLabel(Action) const { return {}; }
    [[nodiscard]] virtual QNSTRING GetMouseLabel(Action) const { return {}; }
    /// Controls of its own on the controls page of the options: adds and shows them; takes over
    /// what they show.
    virtual void AddOptionControls(OptionPanel&) {}
    virtual void ShowOptionControls(OptionPanel&, bool) {}
    virtual void ApplyOptionControls(const OptionPanel&) {}
    virtual void ReadRaw(FlightInput& record) = 0;
    [[nodiscard]] virtual std::unique_ptr<InputSystem> CreateInstance() const = 0;
    [[nodiscard]] const std::string& Name() const noexcept { return name_; }
    [[nodiscard]] const std::string& LibraryList() const noexcept { return libraries_; }

    /// Reads, scales to distance and degrees per frame, adds wheel and throttle, copies height
    /// limits.
    /// @param rate   frames a second of the last frame; 0 or below scales by 1
    /// @param wheel  signed counts, 120 a notch
    /// @return 1 when any of the tested fields isn't 0
    int ReadFlightInput(FlightInput& record, float rate, int wheel);
    [[nodiscard]] float ThrottleSpeed() const noexcept { return throttleSpeed_; }

protected:
    InputSystem(std::string name, std::string libraries);
    virtual Status OpenDevices() = 0;
    KeySource* window_ = nullptr;

private:
    std::string name_, libraries_;
    float throttleSpeed_ = 0;  // scene units a second; lives across frames
};

/// The input systems a program offers, in order of preference; entry 1 is `standard`.
class InputSystemRegistry {
public:
    InputSystemRegistry();
    /// First available system, or null: the program then flies without controls.
    [[nodiscard]] InputSystem* Choose() const;

private:
    std::array<std::unique_ptr<InputSystem>, 2> prototypes_;
};

}  // namespace tarnvale
