#include "base/clock.h"

#include <chrono>
#include <thread>

namespace tarnvale {

namespace {
// Fine enough for frames far shorter than a millisecond; the 32-bit count wraps after five days.
constexpr std::uint32_t kTicksPerSecond = 10'000;
using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, kTicksPerSecond>>;

std::chrono::steady_clock::time_point Start() {
    static const auto start = std::chrono::steady_clock::now();
    return start;
}
// Before main, so that the count runs from the start of the process and not from its first reader.
[[maybe_unused]] const auto startedEarly = Start();
}  // namespace

std::uint32_t QNSYSTEM::GetTickCount() const {
    const auto elapsed = std::chrono::steady_clock::now() - Start();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<Ticks>(elapsed).count());
}

std::uint32_t QNSYSTEM::GetTicksPerSecond() const {
    return kTicksPerSecond;
}

void QNSYSTEM::Sleep(std::uint32_t milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace tarnvale
