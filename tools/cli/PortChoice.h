// The port for a command that was told none.
#pragma once
#include <string>
#include <vector>

#include "cli/PortList.h"

namespace mova::cli {

struct PortChoice {
    std::string port;  // as --port takes it
    std::string told;  // which one it is, and why
};

// The only port there is. The board's own ports without a number (ttyS0: often the console) do not count: they are
// taken only where they are named. Throws Failure: there is none, or there are several.
PortChoice choosePort(const std::vector<ListedPort>& ports);

}  // namespace mova::cli
