// Pieces of a manual page in the man macros, made of what the parser knows.
#pragma once
#include <string>

namespace CLI {
class App;
}

namespace mova {

std::string roff(const std::string& text);                           // text that stands for itself
std::string verbatim(const std::string& text);                       // its lines stay lines
std::string entry(const std::string& tag, const std::string& text);  // a term and what explains it

std::string optionEntries(const CLI::App& app, bool positional);       // of its options, or of its arguments
std::string synopsisOf(const CLI::App& app, const std::string& name);  // the name and the arguments

}  // namespace mova
