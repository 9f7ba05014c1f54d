// How a command ended, as the shell sees it.
#pragma once
#include <array>

namespace mova::cli {

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

struct ExitMeaning {
    ExitStatus status;
    const char* meaning;
};

inline constexpr std::array kExitMeanings{
    ExitMeaning{ExitStatus::Done, "done"},
    ExitMeaning{ExitStatus::Refused, "the handset said no, something differs, or an expectation was not met"},
    ExitMeaning{ExitStatus::Usage, "the command line or the script is wrong, or the file of stations"},
    ExitMeaning{ExitStatus::PortNotOpened, "the port could not be opened"},
    ExitMeaning{ExitStatus::NoAnswer, "the handset did not answer in time"},
    ExitMeaning{ExitStatus::Interrupted, "interrupted (Ctrl-C)"},
    ExitMeaning{ExitStatus::LineTrouble, "an answer arrived damaged, or the port failed"},
    ExitMeaning{ExitStatus::FileTrouble, "a file could not be read or written, or the output not be written"},
};

}  // namespace mova::cli
