#include "atchannel/OperatingMode.h"

#include <array>

namespace mova {

namespace {

struct Mode {
    std::uint32_t option;
    bool synchronous;
    bool unsolicited;
    const char* terminator;
};

constexpr std::array kModes{
    Mode{1, false, true, ""},    // confirmations as events
    Mode{2, false, false, ""},   // confirmations into the queue
    Mode{3, true, false, "OK"},
    Mode{4, true, false, "OK"},
    Mode{5, false, false, "OK"},
};
constexpr Mode kOther{0, true, false, ""};

}  // namespace

void setOperatingMode(Session& session, std::uint32_t option) {
    const Mode* mode = &kOther;
    for (const Mode& row : kModes) {
        if (row.option == option) mode = &row;
    }
    session.synchronous = mode->synchronous;
    session.unsolicited = mode->unsolicited;
    session.answerTerminator = mode->terminator;
}

}  // namespace mova
