// The receiving side on the scripted platform: an open port on COM7, finished records kept and filed in the queue.
// Nobody listens to the debug channel and no thread starts, so that an input costs microseconds.
#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "support/RecordingTrace.h"
#include "support/ScriptedPlatform.h"
#include "transport/AnswerChannel.h"

namespace mova::fuzz {

struct KeepingSink : RecordSink {
    ConfirmationQueue* queue = nullptr;
    std::vector<MovaRetCmdTag> records;

    void deliver(MovaRetCmdTag record) override {
        records.push_back(record);
        queue->append(record);
    }
};

// COM7 on a USB adapter, on a platform that keeps no journal and gives no threads.
ScriptedPort& quietPort(ScriptedPlatform& platform);

class LineBench {
public:
    LineBench();
    ~LineBench();
    LineBench(const LineBench&) = delete;
    LineBench& operator=(const LineBench&) = delete;

    ReceiveEngine& engine() { return answers.engine(); }
    std::string pending() { return std::string(answers.pending().text()); }

    ScriptedPlatform platform;
    ScriptedPort& comm;
    RecordingTrace trace;
    MyDebugMsg debug{platform};
    Session session;
    HandsetPort port{platform, debug, trace};
    KeepingSink sink;
    AnswerChannel answers{platform, port, session, debug, trace, sink};
};

}  // namespace mova::fuzz
