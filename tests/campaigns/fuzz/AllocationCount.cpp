#include "campaigns/fuzz/AllocationCount.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

std::atomic<std::size_t> calls{0};
std::atomic<std::size_t> bytes{0};
std::atomic<std::size_t> inUse{0};
std::atomic<std::size_t> most{0};

void* take(std::size_t size) {
    void* const memory = std::malloc(size > 0 ? size : 1);
    if (!memory) return nullptr;
    ++calls;
    bytes += size;
    const std::size_t now = inUse += malloc_usable_size(memory);
    std::size_t highest = most;
    while (highest < now && !most.compare_exchange_weak(highest, now)) {
    }
    return memory;
}

void give(void* memory) {
    if (memory) inUse -= malloc_usable_size(memory);
    std::free(memory);
}

}  // namespace

namespace mova::fuzz {

Allocations allocations() { return {calls, bytes}; }
std::size_t allocatedNow() { return inUse; }
std::size_t mostAllocated() { return most.exchange(inUse); }

}  // namespace mova::fuzz

void* operator new(std::size_t size) {
    if (void* const memory = take(size)) return memory;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return take(size); }
void operator delete(void* memory) noexcept { give(memory); }
void operator delete(void* memory, std::size_t) noexcept { give(memory); }
