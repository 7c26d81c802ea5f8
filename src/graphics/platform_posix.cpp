#include "graphics/platform.h"

#include <dlfcn.h>
#include <unistd.h>

namespace tarnvale {

bool CanLoadLibrary(const std::string& name) {
    void* library = dlopen(name.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (library == nullptr) return false;
    dlclose(library);
    return true;
}

std::uint64_t PhysicalMemory() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) return std::uint64_t{1} << 30;
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

}  // namespace tarnvale
