// Holds what a command of a script printed, and how it ended, against what the script expects of it.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "cli/Script.h"

namespace mova::cli {

struct CommandOutcome {
    const std::vector<std::string>& output;
    bool failed;
    Code code;
    std::uint32_t milliseconds;
};

// What of the outcome is not as expected; empty when all is. The captures give their variables values, in captured too.
std::string unmetExpectation(const ScriptStep& step, const CommandOutcome& outcome, Variables& values,
                             Variables& captured);

}  // namespace mova::cli
