// A conversation on the line as text, one event a line: what the handset's log writes, and what it replays.
//
//     # comment
//          0.000 <- AT+CGMR                                   what the handset got, without its line end
//          1.250 -> \r\n4.2\r\n\r\nOK\r\n                     what it answered, echo and line ends included
//         12.000 -- asleep                                    a note; not replayed
//
// The time is in milliseconds and may be left out (0). \r, \n, \\ and \x1A stand for bytes that are not printable.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mova::handset {

enum class LogKind { Received, Sent, Note };

std::string conversationLine(std::uint64_t microseconds, LogKind kind, std::string_view text);

class Conversation {
public:
    struct Reply {
        std::uint64_t delayMicroseconds;  // after the request, or after the start for an opening reply
        std::string bytes;
    };
    struct Turn {
        std::string request;
        std::vector<Reply> replies;
    };

    // Errors are told with their line, else empty.
    static std::optional<Conversation> fromText(const std::string& text, std::string& error);

    const std::vector<Reply>& opening() const { return opening_; }  // said before any request
    // The next turn with this request, counted from the one given before, round and round; null when there is none.
    const Turn* next(std::string_view request);

private:
    std::vector<Reply> opening_;
    std::vector<Turn> turns_;
    std::size_t position_ = 0;
};

}  // namespace mova::handset
