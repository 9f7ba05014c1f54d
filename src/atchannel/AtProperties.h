// The handset's AT-level switches by number: ids 1 to 14 send and pause, ids 101 to 114 send and wait for the answer.
#pragma once
#include <cstdint>

#include "atchannel/AtCommands.h"

namespace mova {

class AtProperties {
public:
    AtProperties(Platform& platform, HandsetPort& port, AtCommands& commands, const Session& session, Trace& trace)
        : platform_(platform), port_(port), commands_(commands), session_(session), trace_(trace) {}

    // Unknown ids: UnknownProperty, nothing sent.
    Code set(std::uint32_t id, std::uint32_t parameter) MOVA_REQUIRES(portLockRole);

private:
    Code sendWakeFrame() MOVA_REQUIRES(portLockRole);
    Code wake() MOVA_REQUIRES(portLockRole);
    bool attemptWake(Code& result) MOVA_REQUIRES(portLockRole);

    Platform& platform_;
    HandsetPort& port_;
    AtCommands& commands_;
    const Session& session_;
    Trace& trace_;
};

}  // namespace mova
