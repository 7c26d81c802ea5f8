#include "base/allocations_for_test.h"

#include <cstdlib>
#include <new>

namespace {
// Of this thread alone: others allocate as they like.
thread_local std::size_t allocations = 0;
}  // namespace

std::size_t tarnvale::Allocations() {
    return allocations;
}

// Replacing the global operators is the only way to see every allocation, and only the C library is
// left to take memory from. In a file of its own, where the compiler can't look through one of a
// pair; all forms, so that no pair is half the library's own.
// NOLINTBEGIN(cppcoreguidelines-no-malloc)
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
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
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return operator new(size, std::nothrow);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
// NOLINTEND(cppcoreguidelines-no-malloc)
