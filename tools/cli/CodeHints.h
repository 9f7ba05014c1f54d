// What the command line tells of a code: its name, its meaning, what the person at the bench can do about it, and how
// the program ends with it.
#pragma once
#include <string>

#include "mova/Codes.h"
#include "program/ExitStatus.h"

namespace mova::cli {

struct CodeDescription {
    std::string name;
    std::string meaning;
    std::string hint;  // may be empty
    ExitStatus status = ExitStatus::LineTrouble;
};

// A number that is no code is called "Unknown".
CodeDescription describeCode(Code code);

// The code given by name or number; 0 when there is none of that name.
Code parseCode(const std::string& text);

}  // namespace mova::cli
