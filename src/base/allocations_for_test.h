#pragma once

#include <cstddef>

namespace tarnvale {

/// Allocations of this thread since it began; counted in programs that link
/// allocations_for_test.cpp.
[[nodiscard]] std::size_t Allocations();

}  // namespace tarnvale
