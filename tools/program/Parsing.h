// The command line of a program without commands: one form of help, version, manual page and errors.
#pragma once
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "program/ProgramText.h"

namespace mova {

// Ends the program with this status and this text on the error output.
struct ProgramFailure : std::runtime_error {
    ProgramFailure(ExitStatus endsWith, const std::string& text) : std::runtime_error(text), status(endsWith) {}
    ExitStatus status;
};

// What every program prints on demand instead of going on.
struct Printout {
    std::string text;
};

// The options by which a parser throws the printouts that programs and packages are made of.
void addPrintouts(CLI::App& app, std::function<std::string()> manual);

// Gives the parser its name, description and form, and the options that every program has. Both must outlive it.
void describeProgram(CLI::App& app, const ProgramText& program);

// Nothing: go on. Else all is told, and the program ends with this.
std::optional<ExitStatus> parse(CLI::App& app, const ProgramText& program, int argc, const char* const* argv);

// On the error output, as "NAME: text", nothing in it that a terminal would obey.
void tellTrouble(const ProgramText& program, const std::string& text);

// The names of the options, as they are written.
std::vector<std::string> optionNames(const CLI::App& app);

}  // namespace mova
