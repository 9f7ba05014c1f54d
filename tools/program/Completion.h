// What a shell offers when somebody asks it to complete a command line.
#pragma once
#include <string>

namespace CLI {
class App;
}

namespace mova {

// A script for bash: the commands, options and choices that the parser knows; files where a file is meant, the links and
// devices of serial ports where a port is, file names anywhere else.
std::string bashCompletion(const CLI::App& app);

}  // namespace mova
