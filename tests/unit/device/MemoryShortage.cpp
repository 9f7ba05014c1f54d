#include "unit/device/MemoryShortage.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {
thread_local bool nextAllocationFails = false;
}

namespace mova {
void failNextAllocation() { nextAllocationFails = true; }
}  // namespace mova

void* operator new(std::size_t size) {
    if (!std::exchange(nextAllocationFails, false)) {
        if (void* const memory = std::malloc(size > 0 ? size : 1)) return memory;
    }
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return std::malloc(size > 0 ? size : 1); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
