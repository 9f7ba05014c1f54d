// What the component's codes are called, what they mean, and what the person at the bench can do about them.
#pragma once
#include <cstdint>
#include <string>

#include "cli/ExitStatus.h"

namespace mova::cli {

struct CodeText {
    std::string name;
    std::string meaning;
    std::string hint;  // may be empty
    ExitStatus status = ExitStatus::LineTrouble;
};

// A code that is not in the table is called "Unknown".
CodeText describeCode(std::uint32_t code);

std::string hexCode(std::uint32_t code);  // "0x4004"

// The number of a code given by name or number; 0 when there is none of that name.
std::uint32_t codeByName(const std::string& text);

bool isE2pStatus(std::uint32_t code);  // one that the handset gave for an E2P object

}  // namespace mova::cli
