#include "input/inputsystem.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <set>
#include <tuple>
#include <vector>

#include "base/settings.h"
#include "base/textres.h"
#include "input/keylatch.h"
#include "input/standardinput.h"

namespace tarnvale {
namespace {

class Window final : public KeySource {
public:
    void SetKeySink(KeySink* sink) override { sink_ = sink; }
    bool Down(Key key, bool repeat = false) {
        return sink_ != nullptr && sink_->KeyDown(key, repeat);
    }
    bool Up(Key key) { return sink_ != nullptr && sink_->KeyUp(key); }
    void LoseFocus() { sink_->AllKeysUp(); }
    [[nodiscard]] bool Hooked() const { return sink_ != nullptr; }

private:
    KeySink* sink_ = nullptr;
};

constexpr Key Letter(char letter) {
    return static_cast<Key>(letter);
}

class Keyboard : public testing::Test {
protected:
    Keyboard() {
        ::setenv("TARNVALE_RESOURCES", TARNVALE_SOURCE_DIR "/resources", 1);
        ::setenv("LC_ALL", "C", 1);
        TEXTRES::Terminate();
        EXPECT_TRUE(input_.Open(&window_).Good());
        settings::UpDownSpeed = settings::LeftRightSpeed = settings::ForwardBackwardSpeed = 500;
    }
    FlightInput Raw() {
        FlightInput record;
        input_.ReadRaw(record);
        return record;
    }
    FlightInput Frame(float rate, int wheel = 0) {
        FlightInput record;
        result_ = input_.ReadFlightInput(record, rate, wheel);
        return record;
    }

    Window window_;
    StandardInput input_;
    int result_ = 0;
};

TEST_F(Keyboard, EachKeyFillsItsFieldAndClearsItAgain) {
    const auto field = [](float FlightInput::*member) {
        return [member](const FlightInput& record) { return record.*member; };
    };
    const auto flag = [](bool FlightInput::*member) {
        return [member](const FlightInput& record) { return record.*member ? 1.0F : 0.0F; };
    };
    const auto look = [](const FlightInput& record) {
        return static_cast<float>(record.lookFlags);
    };
    const std::tuple<std::vector<Key>, std::function<float(const FlightInput&)>, float> cases[] = {
        {{Key::A, Key::NumericPlus}, field(&FlightInput::altitude), 1},
        {{Key::Z, Key::Enter}, field(&FlightInput::altitude), -1},
        {{Letter('F'), Key::Numeric3}, field(&FlightInput::slide), 1},
        {{Letter('S'), Key::Numeric1}, field(&FlightInput::slide), -1},
        {{Key::Numeric5}, field(&FlightInput::forward), 1},
        {{Key::Numeric0}, field(&FlightInput::forward), -1},
        {{Letter('E')}, field(&FlightInput::throttle), 1},
        {{Letter('C')}, field(&FlightInput::throttle), -1},
        {{Letter('D')}, flag(&FlightInput::throttleZero), 1},
        {{Letter('T')}, field(&FlightInput::verticalSlide), 1},
        {{Letter('V')}, field(&FlightInput::verticalSlide), -1},
        {{Key::Down, Key::Numeric2}, field(&FlightInput::pitch), 1},
        {{Key::Up, Key::Numeric8}, field(&FlightInput::pitch), -1},
        {{Letter('R'), Key::Numeric9}, field(&FlightInput::roll), 1},
        {{Letter('W'), Key::Numeric7}, field(&FlightInput::roll), -1},
        {{Key::Digit3}, flag(&FlightInput::rollZero), 1},
        {{Key::Left, Key::Numeric4}, field(&FlightInput::turn), 1},
        {{Key::Right, Key::Numeric6}, field(&FlightInput::turn), -1},
        {{Letter('J')}, look, 2},
        {{Letter('G')}, look, 8},
        {{Letter('Y')}, look, 16},
        {{Letter('B')}, look, 1},
        {{Letter('H')}, look, 4},
        {{Letter('N')}, look, 32},
    };
    std::set<Key> bound{Letter('L')};
    for (const auto& [keys, value, expected] : cases) {
        for (const Key key : keys) {
            EXPECT_TRUE(bound.insert(key).second);
            EXPECT_TRUE(window_.Down(key)) << static_cast<int>(key);
            EXPECT_EQ(value(Raw()), expected) << static_cast<int>(key);
            EXPECT_TRUE(window_.Up(key));
            EXPECT_EQ(value(Raw()), 0.0F) << static_cast<int>(key);
        }
    }
    for (int code = 0; code <= static_cast<int>(Key::Numeric9) + 1; ++code) {
        if (bound.contains(static_cast<Key>(code))) continue;
        EXPECT_FALSE(window_.Down(static_cast<Key>(code))) << "goes on to the window: " << code;
    }
}

TEST_F(Keyboard, TheLastEventOfAFieldWins) {
    window_.Down(Key::Numeric5);
    window_.Down(Key::Numeric0);
    EXPECT_EQ(Raw().forward, -1.0F);
    window_.Up(Key::Numeric5);
    EXPECT_EQ(Raw().forward, 0.0F) << "though the other key is still held";
    window_.Down(Letter('G'));
    window_.Down(Letter('H'));
    EXPECT_EQ(Raw().lookFlags, LookFlag::kRear) << "a value, not a set";
    window_.Up(Letter('G'));
    EXPECT_EQ(Raw().lookFlags, 0);
}

TEST_F(Keyboard, AltitudeLockFlipsAtEveryRepeat) {
    const Key lock = Letter('L');
    EXPECT_TRUE(window_.Down(lock));
    EXPECT_TRUE(Raw().altitudeLock);
    EXPECT_TRUE(window_.Up(lock));
    EXPECT_TRUE(Raw().altitudeLock);
    window_.Down(lock, true);
    EXPECT_FALSE(Raw().altitudeLock);
    window_.Down(lock, true);
    window_.Down(Letter('T'));
    window_.LoseFocus();
    EXPECT_TRUE(Raw().altitudeLock) << "a switch isn't held";
    EXPECT_EQ(Raw().verticalSlide, 0.0F);
}

TEST_F(Keyboard, ATapBetweenTwoFramesIsRead) {
    Window window;
    KeyLatch latch;
    latch.SetSink(&input_);
    window.SetKeySink(&latch);
    EXPECT_TRUE(window.Down(Key::Left) && window.Up(Key::Left));
    EXPECT_EQ(Raw().turn, 1.0F) << "held for the one frame";
    latch.FrameRead();
    EXPECT_EQ(Raw().turn, 0.0F);

    window.Down(Key::Left);
    latch.FrameRead();
    EXPECT_EQ(Raw().turn, 1.0F) << "held";
    window.Down(Key::Left, true);
    EXPECT_TRUE(window.Up(Key::Left));
    EXPECT_EQ(Raw().turn, 0.0F) << "a frame has read it: nothing to wait for";

    window.Down(Key::Left);
    window.Up(Key::Left);
    window.Down(Key::Right);
    latch.FrameRead();
    EXPECT_EQ(Raw().turn, -1.0F) << "the earlier tap doesn't end the later key";
    window.Up(Key::Right);

    window.Down(Key::A);
    window.Up(Key::A);
    window.Down(Key::A);
    latch.FrameRead();
    EXPECT_EQ(Raw().altitude, 1.0F) << "pressed again, and held";
    window.Up(Key::A);
    window.Down(Key::A);
    window.Up(Key::A);
    window.LoseFocus();
    EXPECT_EQ(Raw().altitude, 0.0F);

    EXPECT_FALSE(window.Down(static_cast<Key>('Q')) || window.Up(static_cast<Key>('Q')));
    window.Down(Key::A);
    window.Up(Key::A);
    latch.SetSink(nullptr);
    EXPECT_FALSE(window.Down(Key::A) || window.Up(Key::A));
    latch.FrameRead();
}

TEST_F(Keyboard, FramesGetDistancesAndAngles) {
    settings::UpDownSpeed = 100;
    settings::LeftRightSpeed = 200;
    settings::ForwardBackwardSpeed = 400;
    settings::PitchSpeed.SetUnsaved(10);
    settings::RollSpeed.SetUnsaved(20);
    settings::TurnSpeed.SetUnsaved(30);
    settings::MinimumHeight.SetUnsaved(12.5F);
    settings::UseMinimumHeight.SetUnsaved(true);
    for (const Key key :
         {Key::A, Letter('F'), Key::Numeric5, Letter('T'), Key::Down, Letter('R'), Key::Left}) {
        window_.Down(key);
    }
    const FlightInput record = Frame(20);
    EXPECT_FLOAT_EQ(record.altitude, 5);
    EXPECT_FLOAT_EQ(record.slide, 10);
    EXPECT_FLOAT_EQ(record.forward, 20);
    EXPECT_FLOAT_EQ(record.verticalSlide, 5);
    EXPECT_FLOAT_EQ(record.pitch, 0.5);
    EXPECT_FLOAT_EQ(record.roll, 1);
    EXPECT_FLOAT_EQ(record.turn, 1.5);
    EXPECT_FLOAT_EQ(record.speed, 1);
    EXPECT_FLOAT_EQ(record.minimumHeight, 12.5);
    EXPECT_TRUE(record.useMinimumHeight);
    EXPECT_FALSE(record.useMaximumHeight);
    EXPECT_FLOAT_EQ(Frame(0).forward, 400) << "no rate yet: a second's way";
    EXPECT_FLOAT_EQ(Frame(-3).forward, 400);
}

TEST_F(Keyboard, AWheelNotchClimbsAtOnceWhateverTheRate) {
    EXPECT_FLOAT_EQ(Frame(1000, 240).altitude, 1000);
    EXPECT_EQ(result_, 1);
    EXPECT_FLOAT_EQ(Frame(10, -120).altitude, -500);
    EXPECT_EQ(Frame(10).altitude, 0);
    EXPECT_EQ(result_, 0);
    window_.Down(Key::Left);
    EXPECT_NE(Frame(10).turn, 0);
    EXPECT_EQ(result_, 0) << "a turn alone doesn't count";
}

TEST_F(Keyboard, ThrottleGathersUpToItsLimits) {
    settings::ForwardBackwardSpeed = 500.5F;
    window_.Down(Letter('E'));
    EXPECT_FLOAT_EQ(Frame(50).speed, 250.25F);
    EXPECT_FLOAT_EQ(Frame(50).speed, 500.5F);
    EXPECT_FLOAT_EQ(Frame(50).speed, 500.5F);
    window_.Up(Letter('E'));
    EXPECT_FLOAT_EQ(Frame(50).forward, 10.01F) << "kept without a key";
    window_.Down(Letter('C'));
    for (int i = 0; i < 10; ++i) Frame(50);
    EXPECT_FLOAT_EQ(input_.ThrottleSpeed(), -500);
    window_.Down(Letter('D'));
    EXPECT_EQ(Frame(50).forward, 0) << "zero wins over a held key";
}

TEST(InputSystem, TheWindowIsGivenBack) {
    const InputSystemRegistry registry;
    InputSystem* const chosen = registry.Choose();
    ASSERT_NE(chosen, nullptr);
    EXPECT_EQ(chosen->Name(), "standard");
    EXPECT_EQ(chosen->Open(nullptr).Code(), StatusCode::BadState);
    Window first, second;
    {
        const auto input = chosen->CreateInstance();
        ASSERT_TRUE(input->Open(&first).Good());
        first.Down(Key::A);
        ASSERT_TRUE(input->Open(&second).Good());
        EXPECT_FALSE(first.Hooked());
        FlightInput record;
        input->ReadRaw(record);
        EXPECT_EQ(record.altitude, 0) << "opening starts afresh";
        EXPECT_TRUE(second.Down(Key::A));
    }
    EXPECT_FALSE(second.Hooked());
}

}  // namespace
}  // namespace tarnvale
