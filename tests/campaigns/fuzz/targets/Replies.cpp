// E2P, HCI and WiFi replies: any bytes between an acknowledgement and "OK", and any reply in good frames, end in the
// code and data that the layouts give them; the next request is served all the same.
#include <algorithm>
#include <deque>

#include "campaigns/fuzz/Input.h"
#include "campaigns/fuzz/LineBench.h"
#include "oracle/Reference.h"
#include "campaigns/fuzz/Require.h"
#include "handset/Frames.h"
#include "services/E2pRequests.h"
#include "services/HciWifiActions.h"

using namespace mova;
using namespace mova::fuzz;

namespace {

Landmark e2pGood("Replies", "an E2P success");
Landmark e2pStatus("Replies", "an E2P status");
Landmark e2pEcho("Replies", "an E2P echo that differs");
Landmark hciGood("Replies", "an HCI success");
Landmark hciStatus("Replies", "an HCI failure");
Landmark wifiGood("Replies", "a WiFi success");
Landmark wifiStatus("Replies", "a WiFi failure");
Landmark raw("Replies", "raw lines that hold a good reply");
Landmark segmented("Replies", "a reply of several segments");

struct Question {
    unsigned family = kE2p;
    E2pCommand command = E2pCommand::Read;
    std::int32_t object = 0;
    std::int32_t record = 0;
    std::int32_t option = 0;  // HCI option or WiFi command
    std::string sent;
};

struct Outcome {
    std::uint32_t code = 0;
    std::string data;
};

char familyByte(unsigned family) { return static_cast<char>(family == kE2p ? 0x80 : family == kHci ? 0xA0 : 0xB0); }

// Lines, each with its line end, that carry a reply of these bytes.
std::string framed(unsigned family, std::string_view reply, std::size_t segment) {
    std::string lines;
    std::size_t number = 1;
    do {
        std::string payload{familyByte(family), '\0', static_cast<char>(number++)};
        payload += reply.substr(0, segment);
        reply.remove_prefix(std::min(segment, reply.size()));
        lines += handset::confirmationLine(payload) + "\r\n";
    } while (!reply.empty() && number < 256);
    return lines;
}

// --- what the layouts say

std::string lower(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    }
    return text;
}

std::uint32_t statusCode(unsigned status) {
    if (status >= 2 && status <= 12) return status + 0x81FF;
    switch (status) {
        case 13:
            return 0x8313;
        case 14:
            return 0x8314;
        case 15:
            return 0x8310;
        case 16:
            return 0x8311;
        case 17:
            return 0x8312;
        case 18:
            return 0x8315;
        case 19:
            return 0x8316;
        case 20:
            return 0x8317;
        default:
            return 0x820C;
    }
}

Outcome expectedE2p(const Question& question, std::string_view hex) {
    const bool whole = hex.size() >= 16;
    const auto at = [&](std::size_t position) { return whole ? lenientByte(hex, position) : 0; };
    if (at(4) != static_cast<unsigned>(question.command)) return {0x4203, {}};
    if (at(6) != 0) return {statusCode(at(6)), {}};
    if (at(8) + 256 * at(10) != static_cast<std::uint16_t>(question.object)) return {0x4204, {}};
    if (at(12) + 256 * at(14) != static_cast<std::uint16_t>(question.record)) return {0x4205, {}};
    const std::string replied(hex.substr(16));
    const auto command = static_cast<unsigned>(question.command);
    if (command == 0x81 || command == 0x82 || command == 0x84 || command == 0x85) {
        if (replied.size() != question.sent.size()) return {0x4207, {}};
        if (lower(replied) != lower(question.sent)) return {0x4206, {}};
    }
    return {0, replied};
}

Outcome expectedHci(const Question& question, std::string_view hex) {
    const bool whole = hex.size() >= 6;
    if ((whole ? lenientByte(hex, 4) : 0) != static_cast<std::uint8_t>(question.option)) return {0x4203, {}};
    const bool needsStatus = question.option == 1 || question.option == 2;
    if (needsStatus && (hex.size() < 8 || hex.substr(6, 2) != "00")) return {0xD303, {}};
    return {0, std::string(whole ? hex.substr(6) : "")};
}

Outcome expectedWifi(const Question& question, std::string_view hex) {
    const bool whole = hex.size() >= 8;
    if ((whole ? lenientByte(hex, 0) : 0) != static_cast<std::uint8_t>(question.option)) return {0x4203, {}};
    const unsigned status = whole ? lenientByte(hex, 2) : 0;
    if (status == 1 || status == 2) return {0xD380 + status - 1, {}};
    return {0, std::string(whole ? hex.substr(8) : "")};
}

// The records that the answer makes, in the order of their terminators.
Outcome expectedOf(const Question& question, const std::string& answer) {
    ReferenceEngine acknowledged("*MOVA=ACK");
    std::deque<ReferenceRecord> queue;
    const auto first = acknowledged.pass(answer);
    if (!first) return {0x4004, {}};
    queue.push_back(*first);
    ReferenceEngine good("OK");
    const auto second = good.pass(acknowledged.pending());
    if (!second) return {0x4004, {}};
    queue.push_back(*second);
    for (const ReferenceRecord& record : queue) {
        if (record.kind != question.family) continue;
        if (question.family == kE2p) return expectedE2p(question, record.hexData);
        return question.family == kHci ? expectedHci(question, record.hexData) : expectedWifi(question, record.hexData);
    }
    return {0x4203, {}};
}

// --- the component

class Station {
public:
    Station() { bench_.platform.setCallCost(std::chrono::milliseconds(20)); }  // waits in vain take a few calls

    Outcome ask(const Question& question, std::string answer) {
        bench_.comm.onWrite([&](std::string_view bytes) {
            if (bytes.ends_with('\r')) bench_.comm.feed(answer);
        });
        TextReply reply;
        if (question.family == kE2p) {
            reply = e2p_.request(question.command, question.object, question.record, question.sent);
        } else if (question.family == kHci) {
            reply = actions_.hci(question.option, question.sent);
        } else {
            reply = actions_.wifi(static_cast<std::uint8_t>(question.option), question.sent);
        }
        bench_.comm.onWrite({});
        if (reply.code != 0) requireEqual(reply.data, "", "data of a failure");
        return {number(reply.code), reply.data};
    }

private:
    LineBench bench_;
    RequestSender sender_{bench_.port, bench_.answers, bench_.session, bench_.log, bench_.debug, bench_.trace};
    E2pRequests e2p_{sender_, bench_.answers, bench_.log};
    HciWifiActions actions_{sender_, bench_.answers, bench_.session, bench_.log};
};

void note(const Question& question, std::uint32_t result, bool isRaw, std::size_t lines) {
    if (result == 0 && isRaw) raw.reach();
    if (result == 0 && !isRaw && lines > 1) segmented.reach();
    if (question.family == kE2p) {
        if (result == 0) e2pGood.reach();
        if (result >= 0x8201) e2pStatus.reach();
        if (result == 0x4206 || result == 0x4207) e2pEcho.reach();
    } else if (question.family == kHci) {
        (result == 0 ? hciGood : hciStatus).reach();
    } else {
        (result == 0 ? wifiGood : wifiStatus).reach();
    }
}

void expectGoodAnswer(Station& station) {
    Question question;
    question.object = 0x1234;
    question.record = 2;
    const Outcome is = station.ask(question, "*MOVA=ACK\r\n*MOVA=0E008000010800800034120200AABB32\r\nOK\r\n");
    requireEqual(is.code, 0, "the next request");
    requireEqual(is.data, "AABB", "its data");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    constexpr std::int32_t kHciOptions[] = {0, 1, 2, 3, 4, 5, 16};
    Question question;
    const std::uint8_t kind = input.byte();
    question.family = kind % 3 == 0 ? kE2p : kind % 3 == 1 ? kHci : kWifi;
    const bool isRaw = input.flag();
    const std::size_t segment = 1 + input.byte();
    question.command = static_cast<E2pCommand>(0x80 + input.below(8));
    question.option = question.family == kHci ? input.of(kHciOptions) : input.byte();
    question.object = input.word();
    question.record = input.word();
    if (question.family == kE2p) question.sent = handset::toHex(input.text(input.below(16)));
    const std::string_view text = input.text();

    const std::string lines = isRaw ? std::string(text) + "\r\n" : framed(question.family, text, segment);
    const std::string answer = "*MOVA=ACK\r\n" + lines + "OK\r\n";
    Station station;
    const Outcome expected = expectedOf(question, answer);
    const Outcome is = station.ask(question, answer);
    requireEqual(is.code, expected.code, "code");
    requireEqual(is.data, expected.data, "data");
    if (!isRaw && is.code == 0 && question.family == kE2p) {
        requireEqual(is.data, handset::toHex(text.substr(8, segment * 255 - std::min<std::size_t>(8, segment * 255))),
                     "data of a framed reply");
    }
    note(question, is.code, isRaw, text.size() > segment ? 2 : 1);
    expectGoodAnswer(station);
    return 0;
}
