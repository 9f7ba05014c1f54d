// How a program ended, as the shell sees it: the same numbers for all of them.
#pragma once
#include <array>

namespace mova {

enum class ExitStatus : int {
    Done = 0,
    Refused = 1,
    Usage = 2,
    PortNotOpened = 3,
    NoAnswer = 4,
    Interrupted = 5,
    LineTrouble = 6,
    FileTrouble = 7,
};

// What a status of this program means.
struct ExitMeaning {
    ExitStatus status;
    const char* meaning;
};

}  // namespace mova
