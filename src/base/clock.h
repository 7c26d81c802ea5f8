#pragma once

#include <cstdint>

namespace tarnvale {

/// Source of time, so that tests can set it.
class Clock {
public:
    virtual ~Clock() = default;
    [[nodiscard]] virtual std::uint32_t GetTickCount() const = 0;
    [[nodiscard]] virtual std::uint32_t GetTicksPerSecond() const = 0;
    /// Time in 32-bit float seconds; loses precision after some hours of machine time.
    [[nodiscard]] float Seconds() const {
        return static_cast<float>(static_cast<double>(GetTickCount()) / GetTicksPerSecond());
    }
};

/// The machine's monotonic clock, counted from the start of the process so that float seconds stay
/// fine.
class QNSYSTEM final : public Clock {
public:
    [[nodiscard]] std::uint32_t GetTickCount() const override;
    [[nodiscard]] std::uint32_t GetTicksPerSecond() const override;
    static void Sleep(std::uint32_t milliseconds);
};

}  // namespace tarnvale
