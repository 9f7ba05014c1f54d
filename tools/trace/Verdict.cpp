#include "trace/Verdict.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace mova::trace {

namespace {

enum Code : std::uint32_t {
    kMalformed = 0x3001,
    kNoAnswer = 0x4004,
    kChecksum = 0x4011,
    kWrongEcho = 0x4203,
    kWrongObject = 0x4204,
    kWrongRecord = 0x4205,
    kWrongData = 0x4206,
    kWrongDataLength = 0x4207,
    kHciStatus = 0xD303,
    kWifiStatus1 = 0xD380,
    kWifiStatus2 = 0xD381,
};

struct Meaning {
    std::uint32_t code;
    const char* text;
};
constexpr std::array kMeanings{
    Meaning{kMalformed, "malformed confirmation"},
    Meaning{kNoAnswer, "no (accepted) answer within the time"},
    Meaning{kChecksum, "checksum mismatch on a confirmation"},
    Meaning{kWrongEcho, "the reply's command or option differs from the request's, or there is no reply"},
    Meaning{kWrongObject, "the reply's object identifier differs"},
    Meaning{kWrongRecord, "the reply's record number differs"},
    Meaning{kWrongData, "the echoed data differs from the data sent"},
    Meaning{kWrongDataLength, "the echoed data's length differs"},
    Meaning{kHciStatus, "HCI status not \"00\""},
    Meaning{kWifiStatus1, "WiFi status 1"},
    Meaning{kWifiStatus2, "WiFi status 2"},
};

// Replies whose data must be what was sent: write, password, authentication key, serial number.
constexpr std::array<std::uint32_t, 4> kEchoed{0x81, 0x82, 0x84, 0x85};

void fail(Exchange& exchange, std::uint32_t code, std::string finding) {
    exchange.outcome = Outcome::Failed;
    exchange.code = code;
    exchange.finding = std::move(finding);
}

// The statuses 13 to 17 are not in the order of their codes.
std::uint32_t e2pCode(std::uint32_t status) {
    constexpr std::array<std::uint32_t, 8> kFrom13{0x8313, 0x8314, 0x8310, 0x8311, 0x8312, 0x8315, 0x8316, 0x8317};
    if (status >= 2 && status <= 12) return status + 0x81FF;
    if (status >= 13 && status <= 20) return kFrom13[status - 13];
    return 0x820C;
}

std::string ofSegments(const Open& open) {
    if (open.segments <= 1) return {};
    return " of segment " + std::to_string(open.segment) + " of " + std::to_string(open.segments);
}

bool sameHex(const std::string& a, const std::string& b) {
    const auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return upper(x) == upper(y); });
}

void checkE2p(const Open& open, Exchange& exchange) {
    enum { kCommand = 1, kStatus = 2, kObject = 3, kRecord = 4 };
    const Decoded& answer = *open.answer;
    if (answer.field(kCommand) != open.command) {
        fail(exchange, kWrongEcho, "the answer names another command");
    } else if (const std::uint32_t status = answer.field(kStatus); status != 0) {
        fail(exchange, e2pCode(status), "the handset reports status " + std::to_string(status));
    } else if (answer.field(kObject) != open.object) {
        fail(exchange, kWrongObject, "the answer names another object");
    } else if (answer.field(kRecord) != open.record) {
        fail(exchange, kWrongRecord, "the answer names another record");
    } else if (std::find(kEchoed.begin(), kEchoed.end(), open.command) == kEchoed.end()) {
        return;
    } else if (open.answerData.size() != open.data.size()) {
        fail(exchange, kWrongDataLength, "the answer echoes another length of data");
    } else if (!sameHex(open.answerData, open.data)) {
        fail(exchange, kWrongData, "the answer echoes other data");
    }
}

// The trace keeps an answer's last six characters only; of up to three data bytes that shows the status.
void checkHci(const Open& open, Exchange& exchange) {
    const std::uint32_t length = open.answer->field(0);
    if (open.answer->field(1) != open.command) {
        fail(exchange, kWrongEcho, "the answer names another option");
        return;
    }
    if (open.command != 1 && open.command != 2) return;
    constexpr std::uint32_t kShown = 3;
    if (length > kShown) return;
    const std::size_t at = std::size_t{2} * (kShown - length);
    if (length == 0 || open.answerData.substr(std::min(at, open.answerData.size()), 2) != "00") {
        fail(exchange, kHciStatus, "the handset's status is not \"00\"");
    }
}

void checkWifi(const Open& open, Exchange& exchange) {
    if (open.answer->field(0) != open.command) {
        fail(exchange, kWrongEcho, "the answer names another command");
    } else if (open.answer->field(1) == 1) {
        fail(exchange, kWifiStatus1, "the handset reports status 1");
    } else if (open.answer->field(1) == 2) {
        fail(exchange, kWifiStatus2, "the handset reports status 2");
    }
}

void checkReply(const Open& open, Exchange& exchange) {
    if (!open.answer->problem.empty()) {
        fail(exchange, kWrongEcho, "the answer is too short");
        return;
    }
    switch (exchange.family) {
        case Family::E2p:
            checkE2p(open, exchange);
            break;
        case Family::Hci:
            checkHci(open, exchange);
            break;
        case Family::Wifi:
            checkWifi(open, exchange);
            break;
        default:
            break;
    }
}

// E2P, HCI and WiFi: each segment is acknowledged and followed by OK; the answer is there before the last OK.
void judgeText(Open& open, bool traceEnds) {
    Exchange& exchange = open.exchange;
    const std::string error = open.saidError ? "; the handset answered ERROR" : "";
    const bool complete = open.segment == open.segments && open.segmentAcknowledged && open.segmentOk;
    if (open.outOfStep) {
        fail(exchange, 0, "its segments do not follow one another");
    } else if (exchange.code != 0) {
        exchange.outcome = Outcome::Failed;  // a damaged answer: its number is known
    } else if (traceEnds && (!complete || !open.answer)) {
        exchange.outcome = Outcome::Unfinished;
        exchange.finding = "the trace ends here";
    } else if (!open.segmentAcknowledged) {
        fail(exchange, kNoAnswer, "no acknowledgement" + ofSegments(open) + error);
    } else if (!open.segmentOk) {
        fail(exchange, kNoAnswer, "no OK after the acknowledgement" + ofSegments(open) + error);
    } else if (!complete) {
        fail(exchange, 0,
             "segment " + std::to_string(open.segment + 1) + " of " + std::to_string(open.segments) + " was not sent");
    } else if (!open.answer) {
        fail(exchange, kWrongEcho, "acknowledged, but no answer");
    } else if (open.answerAfterOk) {
        fail(exchange, kWrongEcho, "the answer came after the OK, too late for the component");
    } else {
        exchange.outcome = Outcome::Good;
        checkReply(open, exchange);
    }
}

void judgeRf(Open& open, bool traceEnds) {
    Exchange& exchange = open.exchange;
    if (open.outOfStep) {
        fail(exchange, 0, "its segments do not follow one another");
    } else if (exchange.code != 0) {
        exchange.outcome = Outcome::Failed;
    } else if (open.answer) {
        exchange.outcome = Outcome::Good;
    } else if (open.saidError) {
        fail(exchange, kNoAnswer, "the handset answered ERROR");
    } else if (traceEnds) {
        exchange.outcome = Outcome::Unfinished;
        exchange.finding = "the trace ends here";
    } else {
        fail(exchange, kNoAnswer, "no answer" + ofSegments(open));
    }
}

// The last line of an AT answer as the trace has it: lines parted by "~", what came later behind " %%Extra :".
std::string finalLine(std::string text) {
    text.resize(std::min(text.size(), text.find(" %%Extra :")));
    while (!text.empty() && (text.back() == '~' || text.back() == '\r' || text.back() == ' ')) text.pop_back();
    const auto last = text.rfind('~');
    return last == text.npos ? text : text.substr(last + 1);
}

void judgeAt(Open& open, bool traceEnds) {
    Exchange& exchange = open.exchange;
    if (open.answer) {
        const std::string result = finalLine(open.answerData);
        exchange.outcome = Outcome::Good;
        if (result == "ERROR" || result.starts_with("+CME ERROR") || result.starts_with("+CMS ERROR")) {
            fail(exchange, 0, "the handset answered " + result);
        }
    } else if (traceEnds) {
        exchange.outcome = Outcome::Unfinished;
        exchange.finding = "the trace ends here";
    } else {
        exchange.outcome = Outcome::NotCollected;
        if (exchange.finding.empty()) exchange.finding = "no answer in the trace";
    }
}

}  // namespace

void judge(Open& open, bool traceEnds) {
    switch (open.exchange.family) {
        case Family::Rf:
            judgeRf(open, traceEnds);
            break;
        case Family::At:
            judgeAt(open, traceEnds);
            break;
        case Family::Port:
            break;  // the records say it themselves
        default:
            judgeText(open, traceEnds);
            break;
    }
}

std::string meaningOf(std::uint32_t code) {
    const auto found =
        std::find_if(kMeanings.begin(), kMeanings.end(), [&](const Meaning& m) { return m.code == code; });
    if (found != kMeanings.end()) return found->text;
    if (code == 0x820C) return "E2P status 1, or 21 to 255";
    if (code >= 0x8201 && code <= 0x820B) return "E2P status " + std::to_string(code - 0x81FF);
    for (std::uint32_t status = 13; status <= 20; ++status) {
        if (e2pCode(status) == code) return "E2P status " + std::to_string(status);
    }
    return {};
}

}  // namespace mova::trace
