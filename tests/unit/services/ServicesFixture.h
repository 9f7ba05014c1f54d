// The request services on the scripted platform: a port on COM7, answers into the queue, the trace recorded.
#pragma once
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <utility>

#include "services/E2pRequests.h"
#include "services/HciWifiActions.h"
#include "services/RequestSender.h"
#include "services/RfRequests.h"
#include "support/FilingAnswers.h"
#include "support/RecordingTrace.h"
#include "support/ScriptedPlatform.h"

namespace mova {

class ServicesTest : public ::testing::Test {
protected:
    ServicesTest() {
        platform.withDebugViewer();
        port.setPortNumber(7);
        port.markInitialised();
        EXPECT_EQ(port.open(), 0u);
        comm.clearWritten();
        trace.clear();
    }
    ~ServicesTest() override {
        port.close();
        comm.forgetConversation();
    }

    // The handset's answer to one text-family request: acknowledgement, confirmation lines, "OK".
    static std::string answer(const std::string& confirmation) { return "*MOVA=ACK\r\n" + confirmation + "\r\nOK\r\n"; }
    void expectRequest(const std::string& request, const std::string& confirmation) {
        comm.expect(request + "\r").reply(answer(confirmation), 5ms);
    }

    ScriptedPlatform platform;
    ScriptedPort& comm = platform.withPort(7, "USB Serial Port (COM7)");
    RecordingTrace trace;
    MyDebugMsg debug{platform};
    Session session;
    HandsetPort port{platform, debug, trace};
    FileLog log{platform};
    FilingAnswers answers{platform, port, session, log, debug, trace};
    RequestSender sender{port, answers, session, log, debug, trace};
};

}  // namespace mova
