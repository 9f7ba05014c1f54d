// The receiving side on the scripted platform: an open port on COM7, every finished record kept and filed in the queue,
// the trace recorded. A viewer listens to the debug channel, so that no post costs time.
#pragma once
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mova/Codes.h"
#include "support/FilingAnswers.h"
#include "support/RecordingTrace.h"
#include "support/ScriptedPlatform.h"
#include "transport/Answers.h"

namespace mova {

// Keeps what the engine delivers, and files it in the queue.
class TransportTest : public ::testing::Test {
protected:
    explicit TransportTest(const std::string& friendlyName = "Communications Port (COM7)")
        : comm(platform.withPort(7, friendlyName)) {
        platform.withDebugViewer();
        port.setPortNumber(7);
        port.markInitialised();
        EXPECT_EQ(port.open(), 0u);
        forgetBeginning();
    }
    ~TransportTest() override {
        platform.failures().clear();
        port.close();
    }

    void forgetBeginning() {
        trace.clear();
        platform.journal().clear();
        platform.datagrams().clear();
    }
    ReceiveEngine& engine() { return answers.engine(); }
    std::string pending() { return std::string(answers.pending().text()); }
    ConfirmationQueue& queue() { return answers.queue(); }
    std::int64_t timeOf(const std::function<void()>& action) {  // virtual milliseconds
        const std::int64_t start = platform.elapsed();
        action();
        return platform.elapsed() - start;
    }

    ScriptedPlatform platform;
    ScriptedPort& comm;
    RecordingTrace trace;
    MyDebugMsg debug{platform};
    Session session;
    HandsetPort port{platform, debug, trace};
    FileLog log{platform};
    FilingAnswers answers{platform, port, session, log, debug, trace};
};

inline MovaRetCmdTag makeRecord(LineClass kind, std::string response, std::string terminator = {},
                                std::string hexData = {}) {
    MovaRetCmdTag record;
    record.kind = kind;
    record.responseText = std::move(response);
    record.terminatorText = std::move(terminator);
    record.hexData = std::move(hexData);
    record.valid = 1;
    return record;
}

}  // namespace mova
