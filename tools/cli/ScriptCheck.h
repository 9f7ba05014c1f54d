// Looks through a whole script before anything of it is sent: every variable has a value when it is used, every number
// is one, every command line is well formed as far as its values are known by then.
#pragma once
#include "cli/Context.h"
#include "cli/Script.h"

namespace mova::cli {

// What a run begins with.
struct RunVariables {
    Variables values;  // of the station, of --set, and those that the run itself tells
    Variables set;     // by the station or --set: "let" leaves them
};

// Throws Failure with the place of the first mistake.
void checkScript(Context& context, const Script& script, const RunVariables& variables);

// Every name that the script uses or gives a value.
std::vector<std::string> variablesIn(const std::vector<ScriptStep>& steps);

}  // namespace mova::cli
