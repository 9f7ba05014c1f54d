#include "trace/Exchanges.h"

#include <algorithm>
#include <cstdlib>

#include "trace/Verdict.h"

namespace mova::trace {

namespace {

// RF requests without an answer that are kept in case it still comes.
constexpr std::size_t kMostWaiting = 64;

enum RfReplyField : std::size_t { kReplyService = 0, kReplyIndex = 2 };
enum TextField : std::size_t { kSegment = 3 };

Family textFamilyOf(RecordKind kind) {
    switch (kind) {
        case RecordKind::HciLaterSent:
        case RecordKind::HciReply: return Family::Hci;
        case RecordKind::WifiLaterSent:
        case RecordKind::WifiReply: return Family::Wifi;
        default: return Family::E2p;
    }
}

// Of a confirmation, by the byte behind its length.
Family familyOfFrame(std::string_view digits) {
    constexpr std::size_t kFamilyAt = 4;
    const std::string_view family = digits.substr(std::min(kFamilyAt, digits.size()), 2);
    return family == "80" ? Family::E2p : family == "A0" ? Family::Hci : family == "B0" ? Family::Wifi : Family::Rf;
}

bool isText(Family family) { return family == Family::E2p || family == Family::Hci || family == Family::Wifi; }

bool hasLine(std::string_view text, std::string_view wanted) {
    while (!text.empty()) {
        const auto end = text.find_first_of("\n~");
        std::string_view line = text.substr(0, end);
        while (line.ends_with('\r') || line.ends_with(' ')) line.remove_suffix(1);
        if (line == wanted) return true;
        if (end == text.npos) break;
        text.remove_prefix(end + 1);
    }
    return false;
}

bool containsAck(std::string_view text) { return text.find("*MOVA=ACK") != text.npos; }

}  // namespace

void Exchanges::take(const Record& record, const Decoded& decoded) {
    switch (decoded.kind) {
        case RecordKind::RfSent: takeRf(record, decoded); break;
        case RecordKind::E2pFirstSent:
        case RecordKind::HciFirstSent:
        case RecordKind::WifiFirstSent:
        case RecordKind::AtSent: takeFirst(record, decoded); break;
        case RecordKind::E2pLaterSent:
        case RecordKind::HciLaterSent:
        case RecordKind::WifiLaterSent: takeLater(record, decoded); break;
        case RecordKind::AckSeen: takeAcknowledgement(record); break;
        case RecordKind::OkSeen: takeOk(record); break;
        case RecordKind::RfReply: takeRfReply(record, decoded); break;
        case RecordKind::E2pReply:
        case RecordKind::HciReply:
        case RecordKind::WifiReply: takeReply(record, decoded); break;
        case RecordKind::ReplyInError: takeErrorReply(record); break;
        case RecordKind::AtReply: takeAtReply(record); break;
        case RecordKind::Purged: takePurge(record); break;
        case RecordKind::Echo:
            if (current_ && current_->exchange.family == Family::Rf && containsAck(record.text)) {
                takeAcknowledgement(record);
                break;
            }
            [[fallthrough]];
        case RecordKind::BadChecksum:
        case RecordKind::E2pMessage:
        case RecordKind::Empty: {
            const Role role = decoded.kind == RecordKind::Echo ? Role::Text : Role::Note;
            if (current_) {
                part(current_->exchange, role);
            } else {
                stray(record, role, decoded.kind == RecordKind::BadChecksum, std::string(nameOf(decoded.kind)));
            }
            break;
        }
        case RecordKind::FreeText: takeFreeText(record); break;
    }
    ++number_;
}

void Exchanges::begin(const Record& record, Open open) {
    settle();
    open.exchange.line = record.line;
    open.exchange.sent = record.time;
    open.exchange.retry = !failedKey_.empty() && failedKey_ == open.key;
    failedKey_.clear();
    part(open.exchange, Role::Request);
    current_ = std::move(open);
}

// The first segment of a request, or an AT command.
void Exchanges::takeFirst(const Record& record, const Decoded& decoded) {
    begin(record, openRequest(record, decoded));
    complainOfFrame(record, decoded);
}

void Exchanges::takeRf(const Record& record, const Decoded& decoded) {
    const Open asked = openRequest(record, decoded);
    const bool follows = asked.segment > 1 && current_ && current_->exchange.family == Family::Rf &&
                         current_->command == asked.command && current_->segments == asked.segments;
    if (follows) {
        addSegment(record, decoded, asked.segment);
    } else {
        takeFirst(record, decoded);
    }
}

void Exchanges::complainOfFrame(const Record& record, const Decoded& decoded) {
    if (!decoded.problem.empty()) stray(record, Role::Note, true, "damaged frame: " + decoded.problem);
}

void Exchanges::takeLater(const Record& record, const Decoded& decoded) {
    if (current_ && current_->exchange.family == textFamilyOf(decoded.kind)) {
        addSegment(record, decoded, decoded.field(kSegment));
        return;
    }
    stray(record, Role::LaterSegment, true, "a later segment without its first");
}

void Exchanges::addSegment(const Record& record, const Decoded& decoded, std::uint32_t number) {
    Open& open = *current_;
    if (number != open.segment + 1 || number > open.segments) open.outOfStep = true;
    open.segment = number;
    open.segmentAcknowledged = open.segmentOk = false;
    open.data += dataOf(record, decoded);
    open.exchange.bytesSent += dataOf(record, decoded).size() / 2;
    open.exchange.acknowledged.reset();
    part(open.exchange, Role::LaterSegment);
    complainOfFrame(record, decoded);
}

void Exchanges::takeAcknowledgement(const Record& record) {
    if (!current_ || current_->exchange.family == Family::At) {
        stray(record, Role::Acknowledgement, false, "an acknowledgement without a request");
        return;
    }
    current_->segmentAcknowledged = true;
    current_->exchange.acknowledged = record.time;
    part(current_->exchange, Role::Acknowledgement);
}

void Exchanges::takeOk(const Record& record) {
    if (!current_ || !isText(current_->exchange.family)) {
        stray(record, Role::Ok, false, "an OK without a request");
        return;
    }
    Open& open = *current_;
    open.segmentOk = true;
    if (open.exchange.answered && open.segment == open.segments) open.exchange.done = record.time;
    part(open.exchange, Role::Ok);
}

void Exchanges::takeReply(const Record& record, const Decoded& decoded) {
    const Family family = textFamilyOf(decoded.kind);
    if (!current_ || current_->exchange.family != family || current_->exchange.answered) {
        stray(record, Role::Unsolicited, false, "an answer that no request waits for");
        return;
    }
    Open& open = *current_;
    open.answer = decoded;
    open.answerData = dataOf(record, decoded);
    open.answerAfterOk = open.segment == open.segments && open.segmentOk;
    open.exchange.bytesReceived = family == Family::Hci ? decoded.field(0) : open.answerData.size() / 2;
    open.exchange.answered = record.time;
    if (open.answerAfterOk) open.exchange.done = record.time;
    part(open.exchange, Role::Answer);
}

// By service and index if any request has both, else by service alone. The request under way comes first: in the
// synchronous modes it is the only one that can get an answer.
void Exchanges::takeRfReply(const Record& record, const Decoded& decoded) {
    if (!decoded.problem.empty()) stray(record, Role::Note, true, "damaged answer: " + decoded.problem);
    const auto ofService = [&](const Open& open) {
        return open.exchange.family == Family::Rf && !open.exchange.answered &&
               open.command == decoded.field(kReplyService);
    };
    const auto ofIndex = [&](const Open& open) { return ofService(open) && open.object == decoded.field(kReplyIndex); };
    const auto take = [&](Open& open) {
        open.answer = decoded;
        open.exchange.answered = open.exchange.done = record.time;
        open.exchange.bytesReceived = dataOf(record, decoded).size() / 2;
        part(open.exchange, Role::Answer);
    };
    for (const std::function<bool(const Open&)>& answers : {std::function<bool(const Open&)>(ofIndex), {ofService}}) {
        if (current_ && answers(*current_)) {
            take(*current_);
            return;
        }
        const auto waiting = std::find_if(waiting_.begin(), waiting_.end(), answers);
        if (waiting == waiting_.end()) continue;
        take(*waiting);
        Open open = std::move(*waiting);
        waiting_.erase(waiting);
        emit(open, false);
        return;
    }
    stray(record, Role::Unsolicited, false, "a confirmation that no request waits for");
}

// "the lines as they came -- 0xCODE"
void Exchanges::takeErrorReply(const Record& record) {
    constexpr std::string_view kFrame = "*MOVA=";
    const std::string_view text = record.text;
    const auto mark = text.rfind(" -- 0x");
    const auto code = mark == text.npos ? 0 : std::strtoul(std::string(text.substr(mark + 4)).c_str(), nullptr, 16);
    std::string_view frame;
    for (auto at = text.find(kFrame); at != text.npos; at = text.find(kFrame, at + 1)) {
        const bool isEcho = at >= 2 && text.substr(at - 2, 2) == "AT";
        if (!isEcho && !containsAck(text.substr(at, 9))) frame = text.substr(at + kFrame.size());
    }
    const Family family = familyOfFrame(frame);
    const std::string meaning = meaningOf(static_cast<Code>(code));
    const std::string finding = "damaged answer" + (meaning.empty() ? "" : ": " + meaning);
    if (!current_ || current_->exchange.family != family || current_->exchange.answered) {
        stray(record, Role::BadAnswer, true, finding);
        return;
    }
    Exchange& exchange = current_->exchange;
    exchange.code = static_cast<Code>(code);
    exchange.finding = finding;
    exchange.answered = record.time;
    if (family == Family::Rf || current_->segmentOk) exchange.done = record.time;
    part(exchange, Role::BadAnswer);
}

void Exchanges::takeAtReply(const Record& record) {
    if (!current_) {
        stray(record, Role::Unsolicited, false, "text that no command waits for");
        return;
    }
    Open& open = *current_;
    Exchange& exchange = open.exchange;
    if (exchange.family == Family::At) {
        if (exchange.answered) {
            stray(record, Role::Unsolicited, false, "text that no command waits for");
            return;
        }
        open.answer = decode(record.text);
        open.answerData = record.text.substr(open.answer->dataFrom);
        exchange.answered = exchange.done = record.time;
        exchange.bytesReceived = open.answerData.size();
        part(exchange, Role::Answer);
        return;
    }
    const bool acknowledges = exchange.family == Family::Rf && containsAck(record.text);
    if (acknowledges) {
        takeAcknowledgement(record);
        return;
    }
    if (!exchange.answered && hasLine(record.text.substr(5), "ERROR")) open.saidError = true;
    part(exchange, Role::Text);
}

void Exchanges::takePurge(const Record& record) {
    if (!current_) {
        stray(record, Role::Purge, false, "thrown away unread");
        return;
    }
    Open& open = *current_;
    if (open.exchange.family == Family::At && !open.exchange.answered) {
        open.exchange.finding = "its answer was thrown away unread";
    }
    const bool missing = !open.exchange.answered && open.exchange.family != Family::At;
    if (missing && hasLine(std::string_view(record.text).substr(9), "ERROR")) open.saidError = true;
    part(open.exchange, Role::Purge);
}

void Exchanges::takeFreeText(const Record& record) {
    const std::string& text = record.text;
    if (text.starts_with("Open Device:")) {
        beginPort(record, "Open");
    } else if (text == "Close Device") {
        beginPort(record, "Close");
    } else if (text == "Open Device Success" || text == "Close Device Success") {
        endPort(true, record);
    } else if (text == "Open Device Fail" || text == "Close Device Fail") {
        endPort(false, record);
    } else if (port_) {
        part(port_->exchange, Role::Note);
        lastNote_ = text;
    } else if (current_) {
        part(current_->exchange, Role::Note);
    } else {
        stray(record, Role::Note, false, text);
    }
}

void Exchanges::beginPort(const Record& record, std::string name) {
    if (port_) emit(*port_, false);
    if (name == "Close") settle();  // nothing can come any more
    lastNote_.clear();
    Open open;
    Exchange& exchange = open.exchange;
    exchange.family = Family::Port;
    exchange.title = name == "Open" ? "Open, baud rate " + record.text.substr(record.text.find(',') + 1) : name;
    exchange.name = std::move(name);
    exchange.line = record.line;
    exchange.sent = record.time;
    exchange.finding = "the trace does not say how it ended";
    open.key = record.text;
    exchange.retry = !failedPortKey_.empty() && failedPortKey_ == open.key;
    failedPortKey_.clear();
    part(exchange, Role::Request);
    port_ = std::move(open);
}

void Exchanges::endPort(bool good, const Record& record) {
    if (!port_) {
        stray(record, Role::Note, !good, record.text);
        return;
    }
    Exchange& exchange = port_->exchange;
    exchange.outcome = good ? Outcome::Good : Outcome::Failed;
    exchange.finding = good ? "" : lastNote_.empty() ? "the port refused" : lastNote_;
    exchange.answered = exchange.done = record.time;
    part(exchange, good ? Role::Answer : Role::BadAnswer);
    if (!good) failedPortKey_ = port_->key;
    emit(*port_, false);
    port_.reset();
}

void Exchanges::stray(const Record& record, Role role, bool error, std::string text) {
    if (onStray) onStray({number_, record.line, record.time, role, error, std::move(text)});
}

void Exchanges::settle() {
    if (!current_) return;
    Open open = std::move(*current_);
    current_.reset();
    const bool mayStillCome = open.exchange.family == Family::Rf && !open.exchange.answered && !open.saidError &&
                              !open.outOfStep && open.segment == open.segments;
    if (!mayStillCome) {
        emit(open, false);
        if (open.exchange.outcome == Outcome::Failed) failedKey_ = open.key;
        return;
    }
    failedKey_ = open.key;
    waiting_.push_back(std::move(open));
    if (waiting_.size() > kMostWaiting) {
        emit(waiting_.front(), false);
        waiting_.pop_front();
    }
}

void Exchanges::emit(Open& open, bool traceEnds) {
    judge(open, traceEnds);
    if (onExchange) onExchange(open.exchange);
}

void Exchanges::finish() {
    for (Open& open : waiting_) emit(open, false);
    waiting_.clear();
    if (current_) emit(*current_, true);
    current_.reset();
    if (port_) emit(*port_, true);
    port_.reset();
}

}  // namespace mova::trace
