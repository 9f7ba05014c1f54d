// Lines and the handsets on them, for the program.
#pragma once
#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>

#include "handset/Handset.h"

namespace mova::handset {

struct LineError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Line {
    Profile profile;
    std::string link;   // Linux: kept as a symbolic link to the pseudo-terminal
    std::string port;   // Windows: the COM port to open
    std::string cable;  // Linux, of the first line: files of this name and an ending move its cable; empty: none
    std::function<void(Handset&, std::uint64_t nowMicroseconds)> prepare;  // before the first byte
    std::function<void(Handset&)> finish;                                  // after the last one
};

// Serves all of them until the program is told to end, on Windows also until each has hung up. Prints where each is
// to be reached, in order, then makes the ready file. Throws LineError for a line that cannot be had.
void serveLines(std::span<const Line> lines, const std::string& readyFile);

void makeReadyFile(const std::string& path);

}  // namespace mova::handset
