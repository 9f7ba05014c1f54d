// Codes beside the numbers that tests expect: expectations are literals, worked out apart from the names.
#pragma once
#include <cstdint>
#include <cstdio>
#include <ostream>

#include "mova/Codes.h"

namespace mova {

constexpr bool operator==(Code code, std::uint32_t expected) { return number(code) == expected; }
constexpr bool operator==(Code code, int expected) { return number(code) == static_cast<std::uint32_t>(expected); }

inline void PrintTo(Code code, std::ostream* out) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%04X", number(code));
    *out << text;
}

}  // namespace mova
