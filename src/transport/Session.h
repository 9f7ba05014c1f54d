// What the exchanges of one object share: how it operates, its time-outs and its log file. Guarded by the port's lock.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace mova {

struct Session {
    // Names of the time-outs by their option numbers; 2 and 6 are kept for callers that set them.
    enum class Timeout : std::size_t { Write = 1, RfAcknowledgement = 3, Acknowledgement = 4, AtWrite = 5 };
    static constexpr std::size_t kTimeouts = 6;

    bool synchronous = true;   // no reader thread: every wait runs the engine on the caller's thread
    bool unsolicited = false;  // finished records become events instead of queue entries
    std::string answerTerminator;  // empty or "OK"; every receive pass without a list of its own uses it
    std::array<std::uint32_t, kTimeouts> timeouts{1000, 1000, 1000, 4000, 1500, 10000};  // milliseconds
    std::string logFilePath;  // empty: no file log

    std::uint32_t timeout(Timeout which) const { return timeouts[static_cast<std::size_t>(which) - 1]; }

    // Options 1 to 6; a value below 1 or above 200000 becomes 500; other options are ignored.
    void setTimeout(std::int32_t option, std::int32_t milliseconds) {
        if (option < 1 || option > static_cast<std::int32_t>(kTimeouts)) return;
        constexpr std::int32_t kLongest = 200000;
        constexpr std::uint32_t kInstead = 500;
        timeouts[static_cast<std::size_t>(option) - 1] =
            milliseconds < 1 || milliseconds > kLongest ? kInstead : static_cast<std::uint32_t>(milliseconds);
    }
};

}  // namespace mova
