// The handset's answers as callers ask for them: the receive engine and the confirmation queue behind it, in which
// finished records are filed. Callers hold the port's lock.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "device/HandsetPort.h"
#include "logging/FileLog.h"
#include "logging/MyDebugMsg.h"
#include "logging/Trace.h"
#include "platform/Platform.h"
#include "transport/ConfirmationQueue.h"
#include "transport/ReceiveEngine.h"
#include "transport/RecordEvents.h"
#include "transport/Session.h"

namespace mova {

class Answers : private RecordSink {
public:
    // events is told of finished records in the unsolicited mode.
    Answers(Platform& platform, HandsetPort& port, const Session& session, FileLog& log, MyDebugMsg& debug,
            Trace& trace, RecordEvents& events)
        : platform_(platform),
          port_(port),
          session_(session),
          log_(log),
          debug_(debug),
          trace_(trace),
          events_(events),
          queue_(platform.threading),
          engine_(platform, port, trace, *this) {}

    ReceiveEngine& engine() { return engine_; }
    ConfirmationQueue& queue() { return queue_; }
    PendingText& pending() MOVA_REQUIRES(portLockRole) { return engine_.pending(); }

    // Waits for one of the terminators; the codes are the engine's.
    Code wait(std::uint32_t milliseconds, std::string_view terminators) MOVA_REQUIRES(portLockRole);

    enum class Purge : bool { No, Yes };  // Yes: the pending text goes with the records
    void dropRecords(Purge purge) MOVA_REQUIRES(portLockRole);

    // When the port is open: takes in what is waiting, then empties both port queues and the pending text.
    void discardInput() MOVA_REQUIRES(portLockRole);
    // Before a request: discardInput, then the records with the pending text.
    void startAfresh() MOVA_REQUIRES(portLockRole);
    // One receive pass, then startAfresh.
    void takeInAndStartAfresh() MOVA_REQUIRES(portLockRole);

    // Waits in ten slices for a general confirmation. Deliberate: one that does not match is accepted as well.
    Code waitForConfirmation(std::uint32_t milliseconds) MOVA_REQUIRES(portLockRole);

    struct Item {
        std::uint32_t remained = 0;
        std::uint32_t length = 0;
        std::string data;
    };
    // The first general confirmation; length in bytes. Deliberate: a half byte at the end is in the data and does not
    // count.
    Item fetchBytes() MOVA_REQUIRES(portLockRole);
    Item fetchText() MOVA_REQUIRES(portLockRole);  // the same as hexadecimal text, also logged; length in characters

private:
    void deliver(MovaRetCmdTag record) MOVA_REQUIRES(portLockRole) override;

    Platform& platform_;
    HandsetPort& port_;
    const Session& session_;
    FileLog& log_;
    MyDebugMsg& debug_;
    Trace& trace_;
    RecordEvents& events_;
    ConfirmationQueue queue_;
    ReceiveEngine engine_;
};

}  // namespace mova
