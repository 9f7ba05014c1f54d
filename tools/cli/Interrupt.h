// Ctrl-C and the wish to end: the first is noted, so that a command can leave things in order; the second ends the
// program at once.
#pragma once

namespace mova::cli {

void watchForInterrupt();
bool interrupted();
void forgetInterrupt();  // before the next command of a session

}  // namespace mova::cli
