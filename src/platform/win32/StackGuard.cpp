// The compiler's stack protector and checked copies call upon this file. The compiler's own library would ask the
// system's cryptography for the guard value while the loader's lock is held, which a DLL must not; so it comes from
// what differs from process to process. A smashed stack ends the process at once, in the system's own way: nothing of
// it can be trusted.
#include <cstdint>
#include <initializer_list>

#include "platform/win32/WindowsApi.h"

extern "C" {

std::uintptr_t __stack_chk_guard = 0;  // NOLINT(bugprone-reserved-identifier): the compiler's name

[[noreturn]] void __stack_chk_fail() {  // NOLINT(bugprone-reserved-identifier)
    constexpr unsigned kStackCookieCheckFailure = 2;
    asm volatile("int $0x29" : : "c"(kStackCookieCheckFailure));
    __builtin_unreachable();
}

[[noreturn]] void __chk_fail() { __stack_chk_fail(); }  // NOLINT(bugprone-reserved-identifier)

}  // extern "C"

namespace mova {
namespace {

// This runs before the constructors of static objects. It is itself unguarded: the value changes under it.
__attribute__((constructor(101), no_stack_protector)) void chooseGuard() {
    FILETIME time{};
    GetSystemTimeAsFileTime(&time);
    LARGE_INTEGER counter{};
    QueryPerformanceCounter(&counter);
    std::uint64_t mixed = reinterpret_cast<std::uintptr_t>(&time);
    for (const std::uint64_t part :
         {std::uint64_t{time.dwLowDateTime} << 32U | time.dwHighDateTime, static_cast<std::uint64_t>(counter.QuadPart),
          std::uint64_t{GetCurrentProcessId()} << 32U | GetCurrentThreadId(), std::uint64_t{GetTickCount()},
          std::uint64_t{reinterpret_cast<std::uintptr_t>(&__stack_chk_guard)}}) {
        mixed = (mixed ^ part) * 0x9E3779B97F4A7C15U;  // spreads every bit over the upper half
        mixed ^= mixed >> 32U;
    }
    __stack_chk_guard = static_cast<std::uintptr_t>(mixed) & ~std::uintptr_t{0xFF};  // a zero byte stops text copies
}

}  // namespace
}  // namespace mova
