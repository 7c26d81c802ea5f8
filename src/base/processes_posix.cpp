#include "base/processes.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <vector>

namespace tarnvale {

namespace {

// What stands between fork and exec: calls that are safe while other threads hold any lock.
[[noreturn]] void BecomeProgram(const char* program, char* const* arguments, int report) {
    const int nothing = ::open("/dev/null", O_RDONLY);
    if (nothing >= 0) ::dup2(nothing, STDIN_FILENO);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::execv(program, arguments);
    const int why = errno;
    const ssize_t told = ::write(report, &why, sizeof why);
    ::_exit(told == sizeof why ? 127 : 126);
}

Status Failed(const FILEPATH& program, int why) {
    return _SetErrPosn(StatusCode::BadState, program.string() + " can't be started: " +
                                                 std::generic_category().message(why));
}

}  // namespace

Status StartDetached(const FILEPATH& program, std::span<const std::string> arguments) {
    std::string name = program.string();
    std::vector<std::string> words(arguments.begin(), arguments.end());
    std::vector<char*> list{name.data()};
    for (std::string& word : words) list.push_back(word.data());
    list.push_back(nullptr);

    // Closed by a successful exec; carries the reason of a failed one.
    int report[2] = {-1, -1};
    if (::pipe2(report, O_CLOEXEC) != 0) return Failed(program, errno);
    const pid_t child = ::fork();
    if (child == 0) {
        // The grandchild belongs to nobody here, so that nobody has to wait for it.
        ::setsid();
        const pid_t grandchild = ::fork();
        if (grandchild == 0) BecomeProgram(list.front(), list.data(), report[1]);
        if (grandchild < 0) {
            const int why = errno;
            const ssize_t told = ::write(report[1], &why, sizeof why);
            ::_exit(told == sizeof why ? 1 : 2);
        }
        ::_exit(0);
    }
    const int forked = errno;
    ::close(report[1]);
    if (child < 0) {
        ::close(report[0]);
        return Failed(program, forked);
    }
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    int why = 0;
    ssize_t read = 0;
    do {
        read = ::read(report[0], &why, sizeof why);
    } while (read < 0 && errno == EINTR);
    ::close(report[0]);
    return read == sizeof why ? Failed(program, why) : Status(StatusCode::Ok);
}

}  // namespace tarnvale
