// A file of its own: where a compiler sees both ends of a replaced operator it warns of a mismatch.

#include "terrain/testallocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<int> allocations = 0;

}  // namespace

// All forms, so that no pair is half the library's own. NOLINTBEGIN
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++allocations;
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new(std::size_t size) {
    if (void* memory = operator new(size, std::nothrow)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return operator new(size, std::nothrow);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
// NOLINTEND

namespace tarnvale::testing {

int Allocations() noexcept {
    return allocations;
}

}  // namespace tarnvale::testing
