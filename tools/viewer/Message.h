// One message of the debug channel: when it came, who sent it, what it says.
#pragma once
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace mova::viewer {

using Time = std::chrono::system_clock::time_point;

struct Message {
    Time time;
    std::string prefix;  // "MovaCmdSvr:(COM7) ", "MovaCmdSvr: ", or empty for texts of others
    std::string object;  // "COM7"; empty: sent before a port was chosen, or by others
    std::string text;    // behind the prefix, without line ends at its end

    std::vector<std::string_view> lines() const;  // at least one
};

Message parseMessage(std::string_view bytes, Time time);

// "2026-11-21 12:34:56.789 MovaCmdSvr:(COM7) text", one line for each of the text, with "| " before each but the first;
// local time.
std::string asText(const Message& message);

// {"time":"2026-11-21T11:34:56.789Z","object":"COM7","prefix":"MovaCmdSvr:(COM7) ","text":"..."} in one line, universal
// time.
std::string asJson(const Message& message);

}  // namespace mova::viewer
