#pragma once

namespace tarnvale::testing {

/// How often the whole test program has taken memory from the heap so far.
[[nodiscard]] int Allocations() noexcept;

}  // namespace tarnvale::testing
