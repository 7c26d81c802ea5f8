#include "simulator/allocations_for_test.h"

#include <cstdlib>
#include <new>

namespace {
// Of this thread alone: others allocate as they like.
thread_local std::size_t allocations = 0;
}  // namespace

std::size_t tarnvale::Allocations() {
    return allocations;
}

// Replacing the global operators is the only way to see every allocation. In a file of its own, so
// that the compiler can't look through one of a pair. NOLINTBEGIN
void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
// NOLINTEND
