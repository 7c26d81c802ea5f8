#pragma once

#include <cstdint>
#include <string>

namespace tarnvale {

/// @return true if the system's loader finds the shared library `name`
[[nodiscard]] bool CanLoadLibrary(const std::string& name);

/// @return bytes of main memory, or 1 GB where the machine doesn't tell
[[nodiscard]] std::uint64_t PhysicalMemory();

}  // namespace tarnvale
