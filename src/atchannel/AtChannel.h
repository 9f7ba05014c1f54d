// Plain AT commands to the handset and its answers. Callers hold the port's lock.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "device/HandsetPort.h"
#include "logging/MyDebugMsg.h"
#include "logging/Trace.h"
#include "platform/Platform.h"
#include "transport/AnswerChannel.h"
#include "transport/Session.h"

namespace mova {

class AtChannel {
public:
    static constexpr std::size_t kLongestCommand = 4094;
    static constexpr std::string_view kFinalResults = "OK|ERROR";

    AtChannel(Platform& platform, HandsetPort& port, AnswerChannel& answers, Session& session, MyDebugMsg& debug,
              Trace& trace)
        : platform_(platform), port_(port), answers_(answers), session_(session), debug_(debug), trace_(trace) {}

    enum class Traced : bool { No, Yes };
    // Sends the command and one carriage return. In the synchronous mode port and queue are emptied first. Empty or
    // longer than 4094 characters: BadAtCommand.
    std::uint32_t send(std::string_view command, Traced traced);

    // Sends, waits for a final result and takes the answer. A failing send or wait ends it; its code is in code.
    struct Answer {
        std::uint32_t code = 0;
        std::string text;    // information lines
        std::string result;  // "OK" or "ERROR"
    };
    Answer ask(std::string_view command, std::uint32_t milliseconds);

    std::uint32_t SendNormalAtCmd(std::string_view command);

    struct Collected {
        std::uint32_t code = 0;
        std::string text;  // on one line, line ends as "~"
    };
    Collected GetNormalAtResult(std::int32_t lOption);

    AnswerChannel& answers() { return answers_; }

private:
    std::string joinAnswer(std::int32_t option, const MovaRetCmdTag& record);

    Platform& platform_;
    HandsetPort& port_;
    AnswerChannel& answers_;
    Session& session_;
    MyDebugMsg& debug_;
    Trace& trace_;
};

}  // namespace mova
