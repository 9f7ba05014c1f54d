// Everything the handset sends arrives here: drains the port, cuts lines at "\r\n", waits for a terminator line, builds
// one record from the lines before it, traces it and hands it to the sink. Its only memory is the pending text, which
// is bounded; that older text had to go is traced.
// Run by the reader thread or by a caller that waits for an answer; whoever runs it holds the port's lock.
#pragma once
#include <array>
#include <cstdint>
#include <string_view>

#include "device/HandsetPort.h"
#include "logging/Trace.h"
#include "platform/Platform.h"
#include "transport/MovaRetCmdTag.h"
#include "transport/PendingText.h"

namespace mova {

class RecordSink {
public:
    virtual ~RecordSink() = default;
    virtual void deliver(MovaRetCmdTag record) MOVA_REQUIRES(portLockRole) = 0;
};

class ReceiveEngine {
public:
    static constexpr std::uint32_t kReadSize = 2048;
    static constexpr std::uint32_t kIdlePause = 1;  // milliseconds between two looks at the line, at most
    static constexpr std::uint32_t pauseFor(std::int32_t deviceType) {
        return deviceType == HandsetPort::kSlowDevice ? HandsetPort::kSlowDevicePause : kIdlePause;
    }

    ReceiveEngine(Platform& platform, HandsetPort& port, Trace& trace, RecordSink& sink)
        : platform_(platform), port_(port), trace_(trace), sink_(sink) {}

    // terminators: accepted lines, separated by "|"; empty: a single pass that makes a record of whatever complete
    // lines are at hand. Success: a record was completed (or the single pass was made). NoAnswer: the time passed, or
    // the stop event was seen, before a terminator. Stopped: the stop event was seen in a single pass.
    Code run(std::uint32_t milliseconds, std::string_view terminators) MOVA_REQUIRES(portLockRole);

    PendingText& pending() MOVA_REQUIRES(portLockRole) { return pending_; }

private:
    std::uint32_t readInto(std::uint32_t waiting) MOVA_REQUIRES(portLockRole);
    bool process(std::string_view terminators) MOVA_REQUIRES(portLockRole);
    void finish(std::string_view response, std::string_view terminator, std::size_t consumed)
        MOVA_REQUIRES(portLockRole);

    Platform& platform_;
    HandsetPort& port_;
    Trace& trace_;
    RecordSink& sink_;
    PendingText pending_ MOVA_GUARDED_BY(portLockRole);
    std::array<char, kReadSize> buffer_ MOVA_GUARDED_BY(portLockRole){};
};

}  // namespace mova
