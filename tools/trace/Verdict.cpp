#include "trace/Verdict.h"

#include <algorithm>
#include <array>

#include "base/CodeTexts.h"
#include "base/E2pStatus.h"
#include "base/Text.h"
#include "mova/Codes.h"

namespace mova::trace {

namespace {

// Replies whose data must be what was sent: write, password, authentication key, serial number.
constexpr std::array<std::uint32_t, 4> kEchoed{0x81, 0x82, 0x84, 0x85};

void fail(Exchange& exchange, Code code, std::string finding) {
    exchange.outcome = Outcome::Failed;
    exchange.code = code;
    exchange.finding = std::move(finding);
}

// Of what the component has no code for.
void fail(Exchange& exchange, std::string finding) { fail(exchange, Code::Success, std::move(finding)); }

void leaveUnfinished(Exchange& exchange) {
    exchange.outcome = Outcome::Unfinished;
    exchange.finding = "the trace ends here";
}

std::string ofSegments(const Open& open) {
    if (open.segments <= 1) return {};
    return " of segment " + std::to_string(open.segment) + " of " + std::to_string(open.segments);
}

void checkE2p(const Open& open, Exchange& exchange) {
    enum { kCommand = 1, kStatus = 2, kObject = 3, kRecord = 4 };
    const Decoded& answer = *open.answer;
    if (answer.field(kCommand) != open.command) {
        fail(exchange, Code::WrongCommandEcho, "the answer names another command");
    } else if (const std::uint32_t status = answer.field(kStatus); status != 0) {
        fail(exchange, e2pStatusCode(static_cast<std::uint8_t>(status)),
             "the handset reports status " + std::to_string(status));
    } else if (answer.field(kObject) != open.object) {
        fail(exchange, Code::WrongObject, "the answer names another object");
    } else if (answer.field(kRecord) != open.record) {
        fail(exchange, Code::WrongRecord, "the answer names another record");
    } else if (std::find(kEchoed.begin(), kEchoed.end(), open.command) == kEchoed.end()) {
        return;
    } else if (open.answerData.size() != open.data.size()) {
        fail(exchange, Code::WrongDataLength, "the answer echoes another length of data");
    } else if (!equalIgnoringCase(open.answerData, open.data)) {
        fail(exchange, Code::WrongData, "the answer echoes other data");
    }
}

// The trace keeps an answer's last six characters only; of up to three data bytes that shows the status.
void checkHci(const Open& open, Exchange& exchange) {
    const std::uint32_t length = open.answer->field(0);
    if (open.answer->field(1) != open.command) {
        fail(exchange, Code::WrongCommandEcho, "the answer names another option");
        return;
    }
    if (open.command != 1 && open.command != 2) return;
    constexpr std::uint32_t kShown = 3;
    if (length > kShown) return;
    const std::size_t at = std::size_t{2} * (kShown - length);
    if (length == 0 || open.answerData.substr(std::min(at, open.answerData.size()), 2) != "00") {
        fail(exchange, Code::HciStatus, "the handset's status is not \"00\"");
    }
}

void checkWifi(const Open& open, Exchange& exchange) {
    if (open.answer->field(0) != open.command) {
        fail(exchange, Code::WrongCommandEcho, "the answer names another command");
    } else if (open.answer->field(1) == 1) {
        fail(exchange, Code::WifiStatus1, "the handset reports status 1");
    } else if (open.answer->field(1) == 2) {
        fail(exchange, Code::WifiStatus2, "the handset reports status 2");
    }
}

// The component reads what does not come, or not whole, as option (command) 0 with status 0.
bool needsNoAnswer(const Open& open) {
    const Family family = open.exchange.family;
    return (family == Family::Hci || family == Family::Wifi) && open.command == 0;
}

void checkReply(const Open& open, Exchange& exchange) {
    if (!open.answer->problem.empty()) {
        if (!needsNoAnswer(open)) fail(exchange, Code::WrongCommandEcho, "the answer is too short");
        return;
    }
    switch (exchange.family) {
        case Family::E2p: checkE2p(open, exchange); break;
        case Family::Hci: checkHci(open, exchange); break;
        case Family::Wifi: checkWifi(open, exchange); break;
        default: break;
    }
}

// E2P, HCI and WiFi: each segment is acknowledged and followed by OK; the answer is there before the last OK.
void judgeText(Open& open, bool traceEnds) {
    Exchange& exchange = open.exchange;
    const std::string error = open.saidError ? "; the handset answered ERROR" : "";
    const bool complete = open.segment == open.segments && open.segmentAcknowledged && open.segmentOk;
    if (open.outOfStep) {
        fail(exchange, "its segments do not follow one another");
    } else if (exchange.code != Code::Success) {
        exchange.outcome = Outcome::Failed;  // a damaged answer: its number is known
    } else if (traceEnds && (!complete || !open.answer)) {
        leaveUnfinished(exchange);
    } else if (!open.segmentAcknowledged) {
        fail(exchange, Code::NoAnswer, "no acknowledgement" + ofSegments(open) + error);
    } else if (!open.segmentOk) {
        fail(exchange, Code::NoAnswer, "no OK after the acknowledgement" + ofSegments(open) + error);
    } else if (!complete) {
        fail(exchange,
             "segment " + std::to_string(open.segment + 1) + " of " + std::to_string(open.segments) + " was not sent");
    } else if ((!open.answer || open.answerAfterOk) && needsNoAnswer(open)) {
        exchange.outcome = Outcome::Good;
    } else if (!open.answer) {
        fail(exchange, Code::WrongCommandEcho, "acknowledged, but no answer");
    } else if (open.answerAfterOk) {
        fail(exchange, Code::WrongCommandEcho, "the answer came after the OK, too late for the component");
    } else {
        exchange.outcome = Outcome::Good;
        checkReply(open, exchange);
    }
}

void judgeRf(Open& open, bool traceEnds) {
    Exchange& exchange = open.exchange;
    if (open.outOfStep) {
        fail(exchange, "its segments do not follow one another");
    } else if (exchange.code != Code::Success) {
        exchange.outcome = Outcome::Failed;
    } else if (open.answer) {
        exchange.outcome = Outcome::Good;
    } else if (open.saidError) {
        fail(exchange, Code::NoAnswer, "the handset answered ERROR");
    } else if (traceEnds) {
        leaveUnfinished(exchange);
    } else {
        fail(exchange, Code::NoAnswer, "no answer" + ofSegments(open));
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
            fail(exchange, "the handset answered " + result);
        }
    } else if (traceEnds) {
        leaveUnfinished(exchange);
    } else {
        exchange.outcome = Outcome::NotCollected;
        if (exchange.finding.empty()) exchange.finding = "no answer in the trace";
    }
}

}  // namespace

void judge(Open& open, bool traceEnds) {
    switch (open.exchange.family) {
        case Family::Rf: judgeRf(open, traceEnds); break;
        case Family::At: judgeAt(open, traceEnds); break;
        case Family::Port: break;  // the records say it themselves
        default: judgeText(open, traceEnds); break;
    }
}

std::string meaningOf(Code code) {
    // Several errors share this number; a record can only show this one.
    if (code == Code::MalformedConfirmation) return "malformed confirmation";
    return codeMeaning(code);
}

}  // namespace mova::trace
