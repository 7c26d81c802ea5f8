#include "tools/buildprogress.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace tarnvale {

namespace Interrupt {
namespace {

volatile std::sig_atomic_t signalSeen = 0;
// Plain characters, because a signal handler may touch nothing that allocates.
std::array<char, 4096> fileToRemove{};
std::array<char, 4096> journalToRemove{};

void OnSignal(int number) {
    if (signalSeen != 0) {
        if (fileToRemove[0] != 0) {
            unlink(fileToRemove.data());
            unlink(journalToRemove.data());
        }
        _exit(128 + number);
    }
    signalSeen = number;
}

void CopyPath(const std::string& path, std::array<char, 4096>& to) {
    if (path.size() >= to.size()) return;
    std::memcpy(to.data(), path.c_str(), path.size() + 1);
}

}  // namespace

void Install() {
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction inherited {};
        sigaction(number, nullptr, &inherited);
        // nohup and shells without job control mean it when they ignore a signal.
        if (inherited.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    }
    // A full disc or a size limit is told by the write that fails, not by the end of the process.
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    for (const int number : {SIGXFSZ, SIGPIPE}) sigaction(number, &ignore, nullptr);
}

void RemoveWhenKilled(const FILEPATH& path) {
    fileToRemove[0] = 0;
    if (path.empty()) return;
    CopyPath(path.string() + "-journal", journalToRemove);
    CopyPath(path.string(), fileToRemove);
}

int Signal() {
    return signalSeen;
}

}  // namespace Interrupt

void TerminalProgress::Begin(std::string_view text, double endValue, double step) {
    value_ = 0;
    step_ = step;
    endValue_ = endValue;
    shown_ = -1;
    if (quiet_) return;
    BreakLine();
    if (!text.empty()) std::fprintf(stdout, "%.*s: ", static_cast<int>(text.size()), text.data());
    lineOpen_ = true;
    ShowUpTo(0);
}

void TerminalProgress::Pulse() {
    value_ = std::min(value_ + step_, endValue_);
    // The last tick waits for End: work is done when it is whole.
    ShowUpTo(std::min(static_cast<int>(value_ / endValue_ * kTicks), kTicks - 1));
}

void TerminalProgress::End() {
    ShowUpTo(kTicks);
    if (!lineOpen_) return;
    std::fputs(" - done.\n", stdout);
    std::fflush(stdout);
    lineOpen_ = false;
}

void TerminalProgress::Say(const std::string& line) {
    if (quiet_) return;
    BreakLine();
    std::fprintf(stdout, "%s\n", line.c_str());
    std::fflush(stdout);
}

void TerminalProgress::BreakLine() {
    if (!lineOpen_) return;
    std::fputc('\n', stdout);
    std::fflush(stdout);
    lineOpen_ = false;
}

void TerminalProgress::ShowUpTo(int tick) {
    if (quiet_ || tick <= shown_) return;
    while (shown_ < tick) {
        ++shown_;
        if (shown_ % 4 == 0) {
            std::fprintf(stdout, "%d", shown_ / 4 * 10);
        } else {
            std::fputc('.', stdout);
        }
    }
    std::fflush(stdout);
}

void Warn(const std::string& text) {
    std::fflush(stdout);
    std::string line = text;
    std::ranges::replace(line, '\n', ' ');
    std::fprintf(stderr, "tarnvale-build: %s\n", line.c_str());
}

}  // namespace tarnvale
