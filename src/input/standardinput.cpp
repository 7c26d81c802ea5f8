#include "input/standardinput.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

#include "base/textres.h"

namespace tarnvale {

namespace {

constexpr Key Letter(char letter) {
    return static_cast<Key>(letter);
}

struct Binding {
    Key key;
    Action action;
    std::int8_t value;  // on key down; key up is 0
};

// Within an action, in the order in which its label names the keys.
constexpr std::array kBindings{
    Binding{Key::A, Action::AltitudeUp, 1},        Binding{Key::NumericPlus, Action::AltitudeUp, 1},
    Binding{Key::Z, Action::AltitudeDown, -1},     Binding{Key::Enter, Action::AltitudeDown, -1},
    Binding{Letter('F'), Action::SlideRight, 1},   Binding{Key::Numeric3, Action::SlideRight, 1},
    Binding{Letter('S'), Action::SlideLeft, -1},   Binding{Key::Numeric1, Action::SlideLeft, -1},
    Binding{Key::Numeric5, Action::Forward, 1},    Binding{Key::Numeric0, Action::Backward, -1},
    Binding{Letter('E'), Action::ThrottleUp, 1},   Binding{Letter('C'), Action::ThrottleDown, -1},
    Binding{Letter('D'), Action::ThrottleZero, 1}, Binding{Letter('T'), Action::SlideUp, 1},
    Binding{Letter('V'), Action::SlideDown, -1},   Binding{Key::Down, Action::PitchUp, 1},
    Binding{Key::Numeric2, Action::PitchUp, 1},    Binding{Key::Up, Action::PitchDown, -1},
    Binding{Key::Numeric8, Action::PitchDown, -1}, Binding{Letter('R'), Action::RollRight, 1},
    Binding{Key::Numeric9, Action::RollRight, 1},  Binding{Letter('W'), Action::RollLeft, -1},
    Binding{Key::Numeric7, Action::RollLeft, -1},  Binding{Key::Digit3, Action::RollZero, 1},
    Binding{Key::Left, Action::TurnLeft, 1},       Binding{Key::Numeric4, Action::TurnLeft, 1},
    Binding{Key::Right, Action::TurnRight, -1},    Binding{Key::Numeric6, Action::TurnRight, -1},
    Binding{Letter('J'), Action::LookRight, 1},    Binding{Letter('G'), Action::LookLeft, 1},
    Binding{Letter('Y'), Action::LookUp, 1},       Binding{Letter('B'), Action::LookDown, 1},
    Binding{Letter('H'), Action::LookRear, 1},     Binding{Letter('N'), Action::LookVertical, 1},
    Binding{Letter('L'), Action::AltitudeLock, 1},
};

// Each key is bound once.
constexpr bool EachKeyOnce() {
    for (std::size_t i = 0; i < kBindings.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (kBindings[i].key == kBindings[j].key) return false;
        }
    }
    return true;
}
static_assert(EachKeyOnce());

// Does what a control with the present value `value` asks for.
void Apply(Action action, int value, FlightInput& record) {
    const auto amount = static_cast<float>(value);
    const auto look = [&record, value](std::int16_t flag) {
        record.lookFlags = static_cast<std::int16_t>(value * flag);
    };
    switch (action) {
        case Action::AltitudeUp:
        case Action::AltitudeDown:
            record.altitude = amount;
            break;
        case Action::SlideRight:
        case Action::SlideLeft:
            record.slide = amount;
            break;
        case Action::Forward:
        case Action::Backward:
            record.forward = amount;
            break;
        case Action::ThrottleUp:
        case Action::ThrottleDown:
            record.throttle = amount;
            break;
        case Action::ThrottleZero:
            record.throttleZero = value != 0;
            break;
        case Action::SlideUp:
        case Action::SlideDown:
            record.verticalSlide = amount;
            break;
        case Action::PitchUp:
        case Action::PitchDown:
            record.pitch = amount;
            break;
        case Action::RollRight:
        case Action::RollLeft:
            record.roll = amount;
            break;
        case Action::RollZero:
            record.rollZero = value != 0;
            break;
        case Action::TurnLeft:
        case Action::TurnRight:
            record.turn = amount;
            break;
        case Action::LookRight:
            look(LookFlag::kRight);
            break;
        case Action::LookLeft:
            look(LookFlag::kLeft);
            break;
        case Action::LookUp:
            look(LookFlag::kUp);
            break;
        case Action::LookDown:
            look(LookFlag::kDown);
            break;
        case Action::LookRear:
            look(LookFlag::kRear);
            break;
        case Action::LookVertical:
            look(LookFlag::kVertical);
            break;
        case Action::AltitudeLock:
            if (value != 0) record.altitudeLock = !record.altitudeLock;
            break;
        default:
            break;  // axes, hats and the screen shot have no key
    }
}

std::string KeyLabel(Key key) {
    switch (key) {
        case Key::Enter:
            return TEXTRES::Text("enter");
        case Key::Left:
            return TEXTRES::Text("left");
        case Key::Right:
            return TEXTRES::Text("right");
        case Key::Up:
            return TEXTRES::Text("up");
        case Key::Down:
            return TEXTRES::Text("down");
        case Key::NumericPlus:
            return TEXTRES::Text("num") + " +";
        default:
            break;
    }
    if (key >= Key::Numeric0 && key <= Key::Numeric9) {
        const int digit = static_cast<int>(key) - static_cast<int>(Key::Numeric0);
        return TEXTRES::Text("num") + ' ' + std::to_string(digit);
    }
    return {static_cast<char>(key)};
}

}  // namespace

StandardInput::StandardInput() : InputSystem("standard", "") {}

StandardInput::~StandardInput() {
    StandardInput::Close();
}

Status StandardInput::OpenDevices() {
    Close();
    hooked_ = window_;
    hooked_->SetKeySink(this);
    return StatusCode::Ok;
}

void StandardInput::Close() {
    if (hooked_ != nullptr) hooked_->SetKeySink(nullptr);
    hooked_ = nullptr;
    record_ = {};
}

bool StandardInput::OnKey(Key key, bool down) {
    const auto* found = std::ranges::find(kBindings, key, &Binding::key);
    if (found == kBindings.end()) return false;
    Apply(found->action, down ? found->value : 0, record_);
    return true;
}

bool StandardInput::KeyDown(Key key, bool /*repeat*/) {
    return OnKey(key, true);
}

bool StandardInput::KeyUp(Key key) {
    return OnKey(key, false);
}

void StandardInput::AllKeysUp() {
    for (const Binding& binding : kBindings) Apply(binding.action, 0, record_);
}

QNSTRING StandardInput::GetKeyboardLabel(Action action) const {
    std::string label;
    for (const Binding& binding : kBindings) {
        if (binding.action != action) continue;
        if (!label.empty()) label += ", ";
        label += KeyLabel(binding.key);
    }
    return label;
}

std::unique_ptr<InputSystem> StandardInput::CreateInstance() const {
    return std::make_unique<StandardInput>();
}

}  // namespace tarnvale
