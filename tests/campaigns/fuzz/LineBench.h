// The receiving side on the scripted platform: an open port on COM7, finished records kept and filed in the queue.
// Nobody listens to the debug channel and no thread starts, so that an input costs microseconds.
#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "support/FilingAnswers.h"
#include "support/RecordingTrace.h"
#include "support/ScriptedPlatform.h"
#include "transport/Answers.h"

namespace mova::fuzz {

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
    FileLog log{platform};
    FilingAnswers answers{platform, port, session, log, debug, trace};
};

}  // namespace mova::fuzz
