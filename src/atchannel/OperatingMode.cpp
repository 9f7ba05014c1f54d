#include "atchannel/OperatingMode.h"

#include <array>

#include "mova/Options.h"

namespace mova {

namespace {

struct Row {
    Mode option;
    bool synchronous;
    bool unsolicited;
    const char* terminator;
};

// clang-format off
constexpr std::array kModes{
    Row{Mode::Events, false, true, ""},       // confirmations as events
    Row{Mode::Background, false, false, ""},  // confirmations into the queue
    Row{Mode::SynchronousOk, true, false, "OK"},
    Row{Mode::SynchronousOk4, true, false, "OK"},
    Row{Mode::BackgroundOk, false, false, "OK"},
};
// clang-format on
constexpr Row kOther{Mode::Synchronous, true, false, ""};

}  // namespace

void setOperatingMode(Session& session, std::uint32_t option) {
    const Row* mode = &kOther;
    for (const Row& row : kModes) {
        if (number(row.option) == option) mode = &row;
    }
    session.synchronous = mode->synchronous;
    session.unsolicited = mode->unsolicited;
    session.answerTerminator = mode->terminator;
}

}  // namespace mova
