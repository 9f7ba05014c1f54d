#include "cli/AnswerCheck.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

#include "base/HexText.h"
#include "base/Text.h"

namespace mova::cli {

namespace {

constexpr std::string_view kRequest = "AT*MOVA=";
constexpr std::string_view kConfirmation = "*MOVA=";
constexpr std::string_view kAcknowledgement = "*MOVA=ACK";

constexpr const char* kLookAtTheLine =
    "try again; if it stays, check cable and baud rate, and look at a trace (--trace FILE)";
constexpr const char* kTakeTheAcknowledgement =
    "if this request has no confirmation, --no-confirmation takes the acknowledgement alone";

std::uint8_t byteAt(std::string_view bytes, std::size_t position) {
    return position < bytes.size() ? static_cast<std::uint8_t>(bytes[position]) : std::uint8_t{0};
}

std::size_t wordAt(std::string_view bytes, std::size_t position) {
    return byteAt(bytes, position) + std::size_t{256} * byteAt(bytes, position + 1);
}

Finding damaged(std::string reason) {
    return {ExitStatus::LineTrouble, Code::ChecksumMismatch, std::move(reason), kLookAtTheLine};
}
Finding cutShort(std::string reason) {
    return {ExitStatus::LineTrouble, Code::WrongDataLength, std::move(reason), kLookAtTheLine};
}
Finding ofAnother(std::string reason) {
    return {ExitStatus::LineTrouble, Code::WrongCommandEcho, std::move(reason), kLookAtTheLine};
}
Finding missing(std::string reason, const char* hint = kLookAtTheLine) {
    return {ExitStatus::NoAnswer, Code::NoAnswer, std::move(reason), hint};
}

Finding noConfirmation() { return missing("acknowledged, but no confirmation arrived", kTakeTheAcknowledgement); }

// --- frames

struct Frame {
    Finding finding;
    std::string payload;  // bytes, of a whole one
};

// text: what stands behind the prefix.
Frame readFrame(std::string_view text) {
    constexpr std::size_t kLength = 2, kChecksum = 1;
    const bool digits = std::all_of(text.begin(), text.end(), isHexDigit);
    if (!digits) return {damaged("the confirmation is damaged: it is not hexadecimal"), {}};
    const std::string bytes = decodeHex(text);
    if (text.size() % 2 != 0 || bytes.size() < kLength + kChecksum)
        return {cutShort("the confirmation is cut short"), {}};
    const std::size_t told = wordAt(bytes, 0) + kLength;
    if (told > bytes.size()) {
        return {
            cutShort(format("the confirmation is cut short: %zu of %s", bytes.size(), counted(told, "byte").c_str())),
            {}};
    }
    if (told < bytes.size())
        return {damaged(format("the confirmation is damaged: %s, it says %zu", counted(bytes.size(), "byte").c_str(),
                               told)),
                {}};
    if (hexChecksum(text) != 0) return {damaged("the confirmation is damaged: its checksum is wrong"), {}};
    return {{}, bytes.substr(kLength, bytes.size() - kLength - kChecksum)};
}

// --- what came in answer to one written frame

struct Arrived {
    bool anything = false;
    bool acknowledged = false;
    bool ok = false;
    bool error = false;
    std::vector<Frame> confirmations;
};

struct ReceivedLine {
    std::string_view text;
    bool ended;
};

std::vector<ReceivedLine> receivedLines(std::string_view text) {
    std::vector<ReceivedLine> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
        if (end > 0) lines.push_back({trim(text.substr(0, end)), end < text.size()});
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

bool isConfirmation(std::string_view line) {
    return line.starts_with(kConfirmation) && !line.starts_with(kAcknowledgement);
}

enum class BehindOk { Ignored, Taken };

// The OK of an answer stands behind its acknowledgement; an earlier one is late, of another command.
Arrived arrived(std::string_view received, BehindOk behindOk) {
    Arrived found;
    for (const auto& [line, ended] : receivedLines(received)) {
        if (found.ok && (behindOk == BehindOk::Ignored || !ended)) break;
        found.anything = true;
        if (isConfirmation(line)) {
            found.confirmations.push_back(readFrame(line.substr(kConfirmation.size())));
        } else if (line.starts_with(kAcknowledgement)) {
            found.acknowledged = true;
        } else if (line == "OK") {
            found.ok = found.acknowledged;
        } else if (line == "ERROR") {
            found.error = true;
        }
    }
    return found;
}

// Damage comes first: what is missing besides may be in the damaged part.
Finding acknowledgementOf(const Arrived& found) {
    for (const Frame& frame : found.confirmations) {
        if (frame.finding) return frame.finding;
    }
    if (!found.anything) return missing("nothing arrived", "");
    if (found.error) return missing("the handset answered ERROR");
    if (!found.acknowledged) return missing("no acknowledgement (*MOVA=ACK) arrived");
    if (!found.ok) return missing("no OK arrived behind the acknowledgement");
    return {};
}

// --- requests

enum class Family : std::uint8_t { E2p = 0x80, Hci = 0xA0, Wifi = 0xB0 };

bool isTextFamily(std::uint8_t first) {
    constexpr std::array kFamilies{Family::E2p, Family::Hci, Family::Wifi};
    return std::any_of(kFamilies.begin(), kFamilies.end(),
                       [&](Family f) { return first == static_cast<std::uint8_t>(f); });
}

// One frame of a request. The first payload byte is the family, or the service of an RF request.
struct Segment {
    std::uint8_t first = 0;
    std::uint8_t number = 1;
    std::uint8_t count = 1;
    std::string_view message;  // of a text family

    bool isLast() const { return number >= count; }
};

std::optional<Segment> readRequest(std::string_view sent, std::string& payload) {
    const std::string_view line = trim(sent);
    if (line.size() < kRequest.size() || !equalIgnoringCase(line.substr(0, kRequest.size()), kRequest)) return {};
    const Frame frame = readFrame(line.substr(kRequest.size()));
    if (frame.finding || frame.payload.empty()) return {};
    payload = frame.payload;
    const std::string_view bytes = payload;
    const std::uint8_t first = byteAt(bytes, 0);
    if (isTextFamily(first)) {
        constexpr std::size_t kHead = 3;
        return Segment{first, byteAt(bytes, 2), byteAt(bytes, 1), bytes.substr(std::min(kHead, bytes.size()))};
    }
    return Segment{first, byteAt(bytes, 6), byteAt(bytes, 7), {}};
}

// The reply of a text family, joined from its confirmations. A segment may come twice, and counts once.
Finding joinReply(const Segment& request, const Arrived& found, std::string& reply) {
    constexpr std::size_t kHead = 3;
    std::uint8_t last = 0;
    std::string before;
    bool any = false;
    for (const Frame& frame : found.confirmations) {
        if (byteAt(frame.payload, 0) != request.first) continue;  // of another family: nobody asked
        any = true;
        if (frame.payload.size() < kHead) return cutShort("the confirmation is cut short");
        const std::uint8_t number = byteAt(frame.payload, 2);
        if (number == last && frame.payload == before) continue;
        if (number != last + 1) {
            return cutShort(format("part %d of the confirmation is missing, part %d came", last + 1, number));
        }
        reply += frame.payload.substr(kHead);
        last = number;
        before = frame.payload;
    }
    if (any) return {};
    if (!found.confirmations.empty()) return ofAnother("only confirmations of other requests arrived");
    return noConfirmation();
}

struct Layout {
    std::size_t head;         // bytes before the data
    std::size_t length;       // where the length stands
    std::size_t notCounted;   // bytes of the reply that it does not count
    std::size_t command;      // where the reply names the command or option
    std::size_t sentCommand;  // where the request's message does
    const char* name;
};

Layout layoutOf(std::uint8_t first) {
    switch (static_cast<Family>(first)) {
        case Family::E2p: return {8, 0, 2, 2, 2, "command"};
        case Family::Hci: return {3, 0, 3, 2, 2, "option"};
        case Family::Wifi: break;
    }
    return {4, 2, 4, 0, 0, "command"};
}

Finding checkReply(const Segment& request, std::string_view message, std::string_view reply) {
    const Layout layout = layoutOf(request.first);
    if (reply.size() < layout.head)
        return cutShort(format("the answer is cut short: %s, its head has %zu", counted(reply.size(), "byte").c_str(),
                               layout.head));
    const std::size_t told = wordAt(reply, layout.length) + layout.notCounted;
    if (told > reply.size())
        return cutShort(
            format("the answer is cut short: %zu of %s arrived", reply.size(), counted(told, "byte").c_str()));
    if (told < reply.size())
        return cutShort(
            format("the answer is longer than it says: %s, not %zu", counted(reply.size(), "byte").c_str(), told));
    const std::uint8_t named = byteAt(reply, layout.command), asked = byteAt(message, layout.sentCommand);
    if (named != asked) return ofAnother(format("the answer names %s 0x%02X, not 0x%02X", layout.name, named, asked));
    if (static_cast<Family>(request.first) != Family::E2p) return {};
    constexpr std::size_t kObject = 4, kRecord = 6;
    const std::size_t object = wordAt(reply, kObject), record = wordAt(reply, kRecord);
    if (object == wordAt(message, kObject) && record == wordAt(message, kRecord)) return {};
    return {ExitStatus::LineTrouble, object == wordAt(message, kObject) ? Code::WrongRecord : Code::WrongObject,
            format("the answer names object 0x%04zX record %zu", object, record), kLookAtTheLine};
}

Finding textConfirmation(const Segment& request, std::string_view message, const Arrived& found, Wanted wanted,
                         std::vector<std::string>& data) {
    std::string reply;
    const bool anyOwn = std::any_of(found.confirmations.begin(), found.confirmations.end(),
                                    [&](const Frame& f) { return byteAt(f.payload, 0) == request.first; });
    if (!anyOwn && wanted == Wanted::AcknowledgementAlone) return {};
    if (Finding finding = joinReply(request, found, reply)) return finding;
    if (Finding finding = checkReply(request, message, reply)) return finding;
    data.push_back(encodeHex(std::string_view(reply).substr(layoutOf(request.first).head)));
    return {};
}

Finding rfConfirmation(const Segment& request, const Arrived& found, Wanted wanted, std::vector<std::string>& data) {
    for (const Frame& frame : found.confirmations) {
        if (byteAt(frame.payload, 0) == request.first) data.push_back(encodeHex(frame.payload));
    }
    if (!data.empty() || wanted == Wanted::AcknowledgementAlone) return {};
    if (found.confirmations.empty()) return noConfirmation();
    return ofAnother(format("a confirmation of service 0x%02X arrived, none of 0x%02X",
                            byteAt(found.confirmations.front().payload, 0), request.first));
}

}  // namespace

CheckedAnswer checkAnswer(const LineTalk& talk, Wanted wanted) {
    CheckedAnswer answer;
    std::string message;  // of the text request under way
    for (const LineTurn& turn : talk) {
        std::string payload;
        const auto request = turn.sent.empty() ? std::nullopt : readRequest(turn.sent, payload);
        // The confirmation of an RF request may come behind its OK.
        const bool rf = !request || !isTextFamily(request->first);
        const Arrived found = arrived(turn.received, rf ? BehindOk::Taken : BehindOk::Ignored);
        if (!request) {
            // What came before the first write is older than the call.
            const bool asked = !turn.sent.empty();
            const auto bad = std::find_if(found.confirmations.begin(), found.confirmations.end(),
                                          [](const Frame& f) { return static_cast<bool>(f.finding); });
            if (asked && bad != found.confirmations.end()) return {bad->finding, {}};
            continue;
        }
        if (request->number <= 1) message.clear();
        message += request->message;
        answer.data.clear();
        answer.finding = acknowledgementOf(found);
        if (!answer.finding && request->isLast()) {
            answer.finding = isTextFamily(request->first)
                                 ? textConfirmation(*request, message, found, wanted, answer.data)
                                 : rfConfirmation(*request, found, wanted, answer.data);
        }
        if (answer.finding) break;
    }
    return answer;
}

Finding portFailed() {
    return {ExitStatus::LineTrouble, Code::ReadFailed, "the port went down",
            "is the handset still plugged in? \"mova ports\" shows what is there"};
}

void requireDelivered(CheckedAnswer& answer, Code code, std::optional<std::string_view> delivered) {
    if (answer.finding || answer.data.empty()) return;
    // The component says of no reply that it names another command.
    const bool lost = code == Code::WrongCommandEcho;
    const bool other = code == Code::Success && delivered && !equalIgnoringCase(answer.data.front(), *delivered);
    if (!lost && !other) return;
    answer.finding = ofAnother("another confirmation came before the answer, which was not taken in");
}

Damage damageIn(std::string_view received) {
    Damage damage;
    for (const auto& [line, ended] : receivedLines(received)) {
        if (!isConfirmation(line)) continue;
        Finding finding = readFrame(line.substr(kConfirmation.size())).finding;
        if (finding && damage.count++ == 0) damage.first = std::move(finding);
    }
    return damage;
}

Failure failureOf(Code code, const Finding& finding, const std::string& message) {
    const std::string whole = finding ? message + ": " + finding.reason : message;
    // Stopped: the wait was ended because the port went away.
    const bool nothingCame = code == Code::NoAnswer || code == Code::Stopped;
    const bool damage = nothingCame && finding.status == ExitStatus::LineTrouble;
    const bool lineTells = code == Code::Success || damage;
    Failure failure = failureOf(lineTells ? finding.code : code, whole);
    if (lineTells) failure.status = finding.status;
    if (!finding.hint.empty()) failure.hint = finding.hint;
    return failure;
}

void check(Code code, const Finding& finding, const std::string& message) {
    if (code != Code::Success || finding) throw failureOf(code, finding, message);
}

}  // namespace mova::cli
