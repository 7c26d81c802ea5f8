#include "base/places.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <system_error>

namespace tarnvale {

FILEPATH HomeFolder() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return home;
    struct passwd entry {};
    struct passwd* found = nullptr;
    std::array<char, 4096> buffer;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0) return {};
    return found != nullptr && found->pw_dir != nullptr ? FILEPATH(found->pw_dir) : FILEPATH();
}

FILEPATH ProgramFolder() {
    std::error_code failed;
    const FILEPATH program = std::filesystem::read_symlink("/proc/self/exe", failed);
    return failed ? FILEPATH() : program.parent_path();
}

}  // namespace tarnvale
