// Parses a command line and runs it: the program's own, a shell's or a script's. Tells what went wrong, once.
#pragma once
#include <memory>
#include <string>
#include <vector>

#include "cli/Context.h"

namespace CLI {
class App;
}

namespace mova::cli {

// The whole command line, with the global options, or the commands of a session alone.
enum class Scope { Program, Session };
std::unique_ptr<CLI::App> makeParser(Context& context, Scope scope);

// failure, when given, tells why it did not end with Done.
ExitStatus execute(Context& context, Scope scope, const std::vector<std::string>& words, Failure* failure = nullptr);

}  // namespace mova::cli
