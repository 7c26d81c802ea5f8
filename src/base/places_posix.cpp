#include "base/places.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string_view>
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

FILEPATH FindProgram(const std::string& name) {
    if (name.empty() || name.find('/') != std::string::npos || name.starts_with('.')) return {};
    const auto usable = [](const FILEPATH& file) {
        std::error_code failed;
        return std::filesystem::is_regular_file(file, failed) && ::access(file.c_str(), X_OK) == 0;
    };
    if (const FILEPATH own = ProgramFolder(); !own.empty() && usable(own / name)) {
        return own / name;
    }
    const char* const path = std::getenv("PATH");
    std::string_view rest = path != nullptr ? path : "";
    while (!rest.empty()) {
        const auto end = rest.find(':');
        const FILEPATH folder = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        // A relative folder would depend on where the user happens to be.
        if (folder.is_absolute() && usable(folder / name)) return folder / name;
    }
    return {};
}

}  // namespace tarnvale
