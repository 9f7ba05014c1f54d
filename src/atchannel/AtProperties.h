// The handset's AT-level switches by number: ids 1 to 14 send and pause, ids 101 to 114 send and wait for the answer.
#pragma once
#include <cstdint>

#include "atchannel/AtChannel.h"

namespace mova {

class AtProperties {
public:
    AtProperties(Platform& platform, HandsetPort& port, AtChannel& channel, Session& session, Trace& trace)
        : platform_(platform), port_(port), channel_(channel), session_(session), trace_(trace) {}

    // Unknown ids: UnknownProperty, nothing sent.
    std::uint32_t set(std::uint32_t id, std::uint32_t parameter);

private:
    std::uint32_t sendWakeFrame();
    std::uint32_t wake();
    bool attemptWake(std::uint32_t& result);

    Platform& platform_;
    HandsetPort& port_;
    AtChannel& channel_;
    Session& session_;
    Trace& trace_;
};

}  // namespace mova
