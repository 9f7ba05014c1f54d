// The program's operators new, which fail while a shortage is on.
#include <cstdlib>
#include <new>

#include "campaigns/allocation/Shortage.h"

namespace {

using mova::memory::fails;

void* allocate(std::size_t size) {
    if (!fails()) {
        if (void* const memory = std::malloc(size > 0 ? size : 1)) return memory;
    }
    throw std::bad_alloc();
}

void* allocateOrNull(std::size_t size) noexcept { return fails() ? nullptr : std::malloc(size > 0 ? size : 1); }

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocateOrNull(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocateOrNull(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
