// What an exchange came to: the checks that the component itself makes on a reply, and what is missing.
#pragma once
#include "mova/Codes.h"
#include "trace/Exchanges.h"

namespace mova::trace {

// Sets outcome, code and finding. traceEnds: what is missing may only have been cut off.
void judge(Open& open, bool traceEnds);

// What a finding's number means; empty for a number without a meaning here.
std::string meaningOf(Code code);

}  // namespace mova::trace
