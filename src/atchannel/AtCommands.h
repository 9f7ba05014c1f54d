// Plain AT commands to the handset and its answers. Callers hold the port's lock.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "device/HandsetPort.h"
#include "logging/FileLog.h"
#include "logging/MyDebugMsg.h"
#include "logging/Trace.h"
#include "transport/Answers.h"
#include "transport/Session.h"

namespace mova {

class AtCommands {
public:
    static constexpr std::size_t kLongestCommand = 4094;
    static constexpr std::string_view kFinalResults = "OK|ERROR";

    AtCommands(HandsetPort& port, Answers& answers, const Session& session, FileLog& log, MyDebugMsg& debug,
               Trace& trace)
        : port_(port), answers_(answers), session_(session), log_(log), debug_(debug), trace_(trace) {}

    enum class Traced : bool { No, Yes };
    // Sends the command and one carriage return. In the synchronous mode port and queue are emptied first. Empty or
    // longer than 4094 characters: BadAtCommand.
    Code send(std::string_view command, Traced traced) MOVA_REQUIRES(portLockRole);

    // Sends, waits for a final result and takes the answer. A failing send or wait ends it; its code is in code.
    struct Answer {
        Code code = Code::Success;
        std::string text;    // information lines
        std::string result;  // "OK" or "ERROR"
    };
    Answer ask(std::string_view command, std::uint32_t milliseconds) MOVA_REQUIRES(portLockRole);

    // The same for a caller's own command, with its lines in the log file.
    Code sendPassThrough(std::string_view command) MOVA_REQUIRES(portLockRole);

    struct Collected {
        Code code = Code::Success;
        std::string text;  // on one line, line ends as "~"
    };
    Collected collect(std::int32_t option) MOVA_REQUIRES(portLockRole);

    Answers& answers() { return answers_; }

private:
    std::string joinAnswer(std::int32_t option, const MovaRetCmdTag& record) MOVA_REQUIRES(portLockRole);

    HandsetPort& port_;
    Answers& answers_;
    const Session& session_;
    FileLog& log_;
    MyDebugMsg& debug_;
    Trace& trace_;
};

}  // namespace mova
