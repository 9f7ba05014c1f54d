// What a program tells of itself: its help's footer, its manual page and its version.
#pragma once
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "program/ExitStatus.h"

namespace CLI {
class App;
}

namespace mova {

struct Explained {
    const char* term;
    const char* text;
};

struct ProgramText {
    const char* name;       // as it is called
    const char* purpose;    // in a line, for the manual page
    const char* arguments;  // what follows the name in its synopsis
    const char* description;
    std::span<const ExitMeaning> exits;
    std::span<const Explained> variables;  // of the environment
    std::span<const Explained> examples;
};

// A section of the manual page, in the man macros.
struct ManSection {
    const char* title;
    std::string text;
};

std::string_view productVersion();  // as "1.8.4": of all that is shipped together

std::string helpFooter(const ProgramText& program);

// more: behind the description's own text. sections: between the options and the exit codes.
std::string manPage(const CLI::App& app, const ProgramText& program, const std::string& more = {},
                    const std::vector<ManSection>& sections = {});

}  // namespace mova
