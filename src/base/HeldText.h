// How much of what the line sends is held at once, wherever it waits: for its terminator, for a caller to fetch it, for a
// listener to take it.
#pragma once
#include <cstddef>

namespace mova {

// The longest answer of the request protocol has 60 KB: 255 segments of 240 characters. This is 270 times that, or 24
// minutes of a line at 115200 baud, and any machine that runs a host has it to spare for each port.
constexpr std::size_t kMostHeldText = std::size_t{16} << 20U;  // characters

}  // namespace mova
