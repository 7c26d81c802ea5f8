#pragma once

#include <string_view>

namespace tarnvale {

/// Progress of long work, shown by a status bar or a terminal. Called from the working thread only.
class Progress {
public:
    virtual ~Progress() = default;
    /// @param text      shown to the user, UTF-8
    /// @param endValue  value at which the work is complete, > 0
    /// @param step      what each Pulse adds
    virtual void Begin(std::string_view text, double endValue, double step) = 0;
    virtual void Pulse() = 0;
    virtual void End() = 0;
    /// @return true once the user wants the work to stop; the worker then answers Cancelled
    [[nodiscard]] virtual bool Cancelled() const { return false; }
};

}  // namespace tarnvale
