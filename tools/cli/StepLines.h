// What people read of a step that has ended.
#pragma once
#include <vector>

#include "cli/Output.h"
#include "cli/RunReport.h"

namespace mova::cli {

// None of a step that is not run. The output is shown of a step that failed, and of all where verbose.
std::vector<StyledText> linesOf(const StepOutcome& outcome, bool verbose);

StyledText verdictOf(bool passed);
std::string textWithoutPort(double seconds);
std::string sumOf(const RunReport& report);  // "6 steps: 5 passed, ..."

}  // namespace mova::cli
