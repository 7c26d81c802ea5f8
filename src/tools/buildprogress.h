#pragma once

#include <string>
#include <string_view>

#include "base/progress.h"
#include "base/types.h"

namespace tarnvale {

/// The user's wish to stop, by SIGINT, SIGTERM or SIGHUP. The first signal only raises a flag, so
/// that the work ends in order and its temporary file goes; a second one removes that file and ends
/// at once.
namespace Interrupt {
void Install();
/// @param path  the file that a second signal removes, with its journal; empty for none
void RemoveWhenKilled(const FILEPATH& path);
/// @return number of the signal that came, 0 if none did
[[nodiscard]] int Signal();
}  // namespace Interrupt

/// "text: 0...10...20...30...40...50...60...70...80...90...100 - done." on standard output.
/// Thread: one, but Cancelled any.
class TerminalProgress final : public Progress {
public:
    explicit TerminalProgress(bool quiet) : quiet_(quiet) {}
    ~TerminalProgress() override { BreakLine(); }

    void Begin(std::string_view text, double endValue, double step) override;
    void Pulse() override;
    void End() override;
    [[nodiscard]] bool Cancelled() const override { return Interrupt::Signal() != 0; }

    /// One line of explanation, unless quiet.
    void Say(const std::string& line);
    /// Ends a line that stands half-written, so that an error begins on its own.
    void BreakLine();

private:
    void ShowUpTo(int tick);

    static constexpr int kTicks = 40;  // four for each tenth
    bool quiet_;
    bool lineOpen_ = false;
    double value_ = 0, step_ = 1, endValue_ = 1;
    int shown_ = -1;
};

/// A line on standard error that begins with the program's name.
void Warn(const std::string& text);

}  // namespace tarnvale
