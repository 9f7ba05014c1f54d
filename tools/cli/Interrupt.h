// Ctrl-C and the wish to end (SIGTERM): the first is noted, so that a command can leave things in order. What stands in
// a system call is woken by it; what has not come to its end after kPatience, or the second, ends the program at once.
#pragma once

namespace mova::cli {

constexpr unsigned kPatience = 5;  // seconds

void watchForInterrupt();
bool interrupted();
// Before the next command of a session. The wish to end is not forgotten: it is meant for the session.
void forgetInterrupt();

}  // namespace mova::cli
