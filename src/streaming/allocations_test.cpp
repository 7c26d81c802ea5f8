// Counts what a test's code allocates, to show that a steady frame needs nothing.

#include <cstdlib>
#include <new>

#include "streaming/fakegraphics_test.h"

namespace {
thread_local long allocations = 0;
}

long tarnvale::fake::Allocations() {
    return allocations;
}

void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
