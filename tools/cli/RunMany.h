// A script on several stations side by side: a session and a thread each.
#pragma once
#include "cli/Context.h"
#include "cli/RunOptions.h"
#include "cli/ScriptCheck.h"

namespace mova::cli {

// The values that --set gives. Throws Failure: a text is no name=value, or the script has no such variable.
Variables variablesSet(const RunOptions& options, const Script& script);
// With what a run begins on a station, or on a port without one.
RunVariables runVariables(const std::string& station, const std::string& port, const Variables& ofStation,
                          const Variables& set);

// Throws Failure with the worst ending of all.
void runOnStations(Context& context, const RunOptions& options, const Script& script);

}  // namespace mova::cli
