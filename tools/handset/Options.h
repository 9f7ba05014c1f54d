// What the handset program was asked for, and the line it serves the handset on.
#pragma once
#include <cstdint>
#include <functional>
#include <string>

#include "handset/Handset.h"

namespace mova::handset {

struct Options {
    Profile profile;
    std::string link;       // Linux: kept as a symbolic link to the pseudo-terminal
    std::string port;       // Windows: the COM port to open
    std::string readyFile;  // made once the line is up
    std::function<void(Handset&, std::uint64_t nowMicroseconds)> prepare;  // before the first byte
    std::function<void(Handset&)> finish;                                  // after the last one
};

// Serves until the program is told to end. The exit code; errors are told on the standard error output.
int serveLine(const Options& options);

void makeReadyFile(const std::string& path);

}  // namespace mova::handset
