// The handset's answers as callers ask for them: the receive engine and the confirmation queue behind it.
// Callers hold the port's lock.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "device/HandsetPort.h"
#include "logging/MyDebugMsg.h"
#include "logging/Trace.h"
#include "platform/Platform.h"
#include "transport/ConfirmationQueue.h"
#include "transport/ReceiveEngine.h"
#include "transport/Session.h"

namespace mova {

class AnswerChannel {
public:
    AnswerChannel(Platform& platform, HandsetPort& port, Session& session, MyDebugMsg& debug, Trace& trace,
                  RecordSink& sink)
        : platform_(platform),
          port_(port),
          session_(session),
          debug_(debug),
          trace_(trace),
          queue_(platform.threading),
          engine_(platform, port, trace, sink) {}

    ReceiveEngine& engine() { return engine_; }
    ConfirmationQueue& queue() { return queue_; }
    PendingText& pending() { return engine_.pending(); }

    // Waits for one of the terminators; the codes are the engine's.
    std::uint32_t wait(std::uint32_t milliseconds, std::string_view terminators) {
        return engine_.run(milliseconds, terminators);
    }

    enum class Purge : bool { No, Yes };  // Yes: the pending text goes with the records
    void clearQueue(Purge purge);

    // When the port is open: takes in what is waiting, then empties both port queues and the pending text.
    void discardInput();
    // Before a request: discardInput, then the queue with its pending text.
    void startAfresh();

    void ClearQueue();

    // Waits in ten slices for a general confirmation. Deliberate: one that does not match is accepted as well.
    std::uint32_t waitForConfirmation(std::uint32_t milliseconds);

    struct Item {
        std::uint32_t remained = 0;
        std::uint32_t length = 0;
        std::string data;
    };
    Item fetchBytes();  // the first general confirmation; length in bytes
    Item fetchText();   // the same as hexadecimal text, also logged; length in characters

private:
    Platform& platform_;
    HandsetPort& port_;
    Session& session_;
    MyDebugMsg& debug_;
    Trace& trace_;
    ConfirmationQueue queue_;
    ReceiveEngine engine_;
};

}  // namespace mova
