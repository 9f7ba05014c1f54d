// Why a command could not do what it was asked: thrown by commands, told once by the interpreter.
#pragma once
#include <cstdint>
#include <string>
#include <utility>

#include "mova/Codes.h"
#include "program/ExitStatus.h"

namespace mova::cli {

struct Failure {
    ExitStatus status = ExitStatus::Refused;
    std::string message;        // what was not done
    std::string hint;           // what to do about it; may be empty
    Code code = Code::Success;  // the component's, 0 when it is not one of those
};

// A failure of the component's code: status and hint come from the table of codes.
Failure failureOf(Code code, std::string message);

// Throws failureOf unless the code is a success.
inline void check(Code code, std::string message) {
    if (code != Code::Success) throw failureOf(code, std::move(message));
}

[[noreturn]] inline void failUsage(std::string message, std::string hint = {}) {
    throw Failure{ExitStatus::Usage, std::move(message), std::move(hint)};
}

[[noreturn]] inline void failFile(std::string message, std::string hint = {}) {
    throw Failure{ExitStatus::FileTrouble, std::move(message), std::move(hint)};
}

}  // namespace mova::cli
