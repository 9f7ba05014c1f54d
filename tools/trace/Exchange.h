// An exchange on the line: a request with its segments, its acknowledgements and its answer, as the records show it.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mova/Codes.h"
#include "trace/TraceRecord.h"

namespace mova::trace {

enum class Family : std::uint8_t { Rf, E2p, Hci, Wifi, At, Port };
constexpr std::size_t kFamilies = 6;
std::string_view nameOf(Family family);  // "E2P"

// What a record is within its exchange.
enum class Role : std::uint8_t {
    Request,
    LaterSegment,
    Acknowledgement,  // "*MOVA=ACK"
    Ok,
    Answer,
    BadAnswer,
    Text,         // echo and lines in between, as they were seen
    Purge,        // thrown away unread
    Unsolicited,  // nobody asked for it
    Note,
};
constexpr std::size_t kRoles = 10;
std::string_view nameOf(Role role);

enum class Outcome : std::uint8_t {
    Good,
    Failed,
    NotCollected,  // an AT command whose answer nobody fetched, or that got none: the trace cannot tell
    Unfinished,    // the trace ends here
};
constexpr std::size_t kOutcomes = 4;
std::string_view nameOf(Outcome outcome);

struct Part {
    std::uint64_t record;  // its number in the trace, from 0
    Role role;
};

struct Exchange {
    Family family = Family::At;
    std::string name;   // what was asked for: "E2P read", "RF", "AT", "Open"
    std::string title;  // the same with its object: "E2P read 0x1234/1"
    Outcome outcome = Outcome::Unfinished;
    Code code = Code::Success;  // the component's number for what the records show; 0: none
    std::string finding;        // what went wrong, in words
    bool retry = false;         // the same request as the one before, which did not succeed
    std::uint64_t line = 0;     // of its first record
    std::int64_t sent = 0;
    std::optional<std::int64_t> acknowledged;  // the last segment's
    std::optional<std::int64_t> answered;
    std::optional<std::int64_t> done;  // the answer and all that has to come with it
    std::uint64_t bytesSent = 0;       // data, without frame and heads
    std::uint64_t bytesReceived = 0;
    std::vector<Part> parts;

    std::optional<std::int64_t> latency() const { return done ? std::optional(*done - sent) : std::nullopt; }
};

// What stands outside every exchange, or on a record of one: a damaged frame, an answer that nobody waited for.
struct Stray {
    std::uint64_t record;
    std::uint64_t line;
    std::int64_t time;
    Role role;
    bool error;
    std::string text;
};

// An exchange that is under way.
struct Open {
    Exchange exchange;
    std::string key;  // the request's text
    std::uint32_t segments = 1;
    std::uint32_t segment = 1;
    bool segmentAcknowledged = false;
    bool segmentOk = false;
    bool outOfStep = false;      // a segment came that does not follow
    bool answerAfterOk = false;  // too late: the component looks for it when it has the OK
    bool saidError = false;      // the handset answered the frame with ERROR
    std::uint32_t command = 0;   // or service, or option
    std::uint32_t object = 0;    // or index
    std::uint32_t record = 0;
    std::string data;  // of requests whose echo is compared
    std::optional<Decoded> answer;
    std::string answerData;
};

// What a request's first record, or an AT command's, asks for.
Open openRequest(const Record& record, const Decoded& decoded);

}  // namespace mova::trace
