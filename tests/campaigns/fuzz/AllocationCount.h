// What a program asks of the heap: linked into it, an operator new that counts.
#pragma once
#include <cstddef>

namespace mova::fuzz {

struct Allocations {
    std::size_t calls = 0;
    std::size_t bytes = 0;
};

Allocations allocations();    // so far
std::size_t allocatedNow();   // bytes in use
std::size_t mostAllocated();  // bytes in use at their highest since the last call of this

}  // namespace mova::fuzz
