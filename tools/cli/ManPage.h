// The manual page and the notes below the help, from the same tables that the commands themselves are made of.
#pragma once
#include <string>

namespace CLI {
class App;
}

namespace mova::cli {

const char* programDescription();
std::string helpFooter();
std::string manPage(CLI::App& app);  // in the man macros

}  // namespace mova::cli
