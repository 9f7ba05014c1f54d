#include "handset/Handset.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "base/Text.h"

namespace mova::handset {

namespace {

constexpr std::string_view kRequest = "AT*MOVA=";
constexpr std::string_view kWakeFrame("AT*\x02\x00\x03\x01\x00\x00\x0A\x0D", 11);
constexpr std::size_t kLongestLine = 8192;

// Settings that only take a value; which ones, and what the handset does with it.
constexpr std::array<std::string_view, 10> kSettings{"AT%CNF",      "AT*SLEEPMODE", "AT*BYPASS", "AT*BOARDTEST",
                                                     "AT*UARTSWAP", "AT+CFUN",      "AT+COPS",   "ATS0",
                                                     "AT+CMEE",     "AT+CREG"};

}  // namespace

Handset::Handset(Profile profile) : profile_(std::move(profile)), out_(faults_), protocol_(faults_) {
    out_.setBaudRate(profile_.baudRate);
}

void Handset::setBaudRate(unsigned baudRate) {
    profile_.baudRate = baudRate;
    out_.setBaudRate(baudRate);
}

void Handset::note(std::uint64_t when, LogKind kind, std::string_view text) {
    if (log_) log_(when, kind, text);
}

bool Handset::takeHangUp() { return std::exchange(hangUp_, false); }

void Handset::lineLost() {
    input_.clear();
    lineInFree_ = 0;
    out_.clear();
}

// --- in

void Handset::receive(std::string_view bytes, std::uint64_t nowMicroseconds) {
    constexpr std::uint64_t kMicrosecond = 1000;
    sendDueUnsolicited(nowMicroseconds);
    if (sleepMode_ && !asleep_ && nowMicroseconds > lastHeard_ + profile_.sleepAfterMicroseconds) fallAsleep();
    lineInFree_ = std::max(lineInFree_, nowMicroseconds * kMicrosecond);
    for (const char c : bytes) {
        lineInFree_ += out_.byteNanoseconds();
        now_ = lineInFree_ / kMicrosecond;
        input_ += c;
        if (asleep_) {
            listenAsleep();
            continue;
        }
        if (input_.ends_with(kWakeFrame)) {  // awake already
            input_.clear();
            continue;
        }
        // A wake frame holds a line feed of its own; otherwise one between commands means nothing.
        if (c == '\n' && !input_.starts_with(kWakeFrame.substr(0, 4))) input_.pop_back();
        const bool inWakeFrame = kWakeFrame.starts_with(input_);
        if (c == '\r' && !inWakeFrame) {
            const std::string line = input_.substr(0, input_.size() - 1);
            input_.clear();
            command(line);
        } else if (input_.size() > kLongestLine) {
            input_.clear();
        }
    }
    lastHeard_ = now_;
}

void Handset::fallAsleep() {
    asleep_ = true;
    wakeFramesSeen_ = 0;
    input_.clear();
    note(now_, LogKind::Note, "asleep");
}

void Handset::listenAsleep() {
    if (input_.ends_with(kWakeFrame)) {
        input_.clear();
        if (++wakeFramesSeen_ >= profile_.wakeFrames) {
            asleep_ = false;
            note(now_, LogKind::Note, "awake");
        }
    } else if (input_.size() > kLongestLine) {
        input_.clear();
    }
}

// --- answers

void Handset::command(const std::string& line) {
    note(now_, LogKind::Received, line);
    if (faults_.take(Fault::Silence)) return;
    if (faults_.take(Fault::HangUp)) {
        hangUp_ = true;
        return;
    }
    if (replayed(line)) return;
    std::uint64_t when = now_ + faults_.delayMicroseconds;
    std::string bytes = profile_.echo ? line + "\r" : std::string();
    if (line.starts_with(kRequest)) {
        if (profile_.echo) bytes += "\n";  // the echo is a line of its own
        for (const std::string& answered : protocol_.answer(std::string_view(line).substr(kRequest.size()))) {
            bytes += answered + "\r\n";
        }
    } else if (line == "<j" || line == "<k") {
        bytes += std::string("\r\n>") + line[1] + "\r\n";
    } else if (!line.empty()) {
        const AtAnswer given = atAnswer(upperCase(line)).value_or(AtAnswer{{}, "ERROR"});
        for (const std::string& text : given.information) bytes += "\r\n" + text;
        if (!given.information.empty()) bytes += "\r\n";
        if (!given.result.empty()) bytes += "\r\n" + given.result + "\r\n";
        when += given.delayMicroseconds;
    }
    send(bytes, when);
    sendAskedConfirmations();
}

bool Handset::replayed(const std::string& line) {
    const Conversation::Turn* const turn = conversation_ ? conversation_->next(line) : nullptr;
    if (!turn) return false;
    for (const Conversation::Reply& reply : turn->replies) send(reply.bytes, now_ + reply.delayMicroseconds);
    return true;
}

void Handset::replay(Conversation conversation, std::uint64_t nowMicroseconds) {
    for (const Conversation::Reply& reply : conversation.opening()) {
        send(reply.bytes, nowMicroseconds + reply.delayMicroseconds);
    }
    conversation_ = std::move(conversation);
}

std::optional<AtAnswer> Handset::atAnswer(const std::string& upper) {
    const auto own = profile_.answers.find(upper);
    if (own != profile_.answers.end()) return own->second;
    const AtAnswer ok;
    struct Question {
        std::string_view command;
        std::vector<std::string> information;
    };
    const Question questions[] = {
        {"AT", {}},
        {"ATI", {profile_.manufacturer, profile_.model, profile_.revision}},
        {"AT+CGMI", {profile_.manufacturer}},
        {"AT+CGMM", {profile_.model}},
        {"AT+CGMR", {profile_.revision}},
        {"AT+CGSN", {profile_.imei}},
        {"AT%V", profile_.version},
        {"ATD*#06#", {profile_.imei}},
        {"ATD112;", {}},
        {"ATH", {}},
        {"AT*UARTSWAP", {}},
        {"AT+CSQ", {"+CSQ: " + profile_.signal}},
        {"AT+CREG?", {"+CREG: " + profile_.registration}},
        {"AT+COPS?", {"+COPS: " + profile_.operatorName}},
        {"AT+CFUN?", {"+CFUN: 1"}},
    };
    for (const Question& question : questions) {
        if (upper == question.command) return AtAnswer{question.information};
    }
    if (upper == "ATE" || upper == "ATE0" || upper == "ATE1") {
        profile_.echo = upper == "ATE1";
        return ok;
    }
    if (upper == "AT%OTP?" && !profile_.otp.empty()) return AtAnswer{{profile_.otp}};
    const auto equals = upper.find('=');
    const std::string name = upper.substr(0, equals);
    if (equals == upper.npos || std::find(kSettings.begin(), kSettings.end(), name) == kSettings.end())
        return std::nullopt;
    set(name, upper.substr(equals + 1));
    return ok;
}

void Handset::set(const std::string& name, const std::string& value) {
    if (name == "AT*SLEEPMODE") sleepMode_ = value == "1";
    if (name == "AT%CNF") {  // so many numbered confirmations follow the answer, so many milliseconds apart
        constexpr std::uint64_t kMicroseconds = 1000;  // in one of them
        const auto comma = value.find(',');
        confirmationsAsked_ = static_cast<unsigned>(std::strtoul(value.c_str(), nullptr, 10));
        confirmationGap_ =
            comma == value.npos ? 0 : std::strtoul(value.c_str() + comma + 1, nullptr, 10) * kMicroseconds;
    }
}

void Handset::sendAskedConfirmations() {
    std::uint64_t when = now_ + faults_.delayMicroseconds;
    for (; confirmationsAsked_ > 0; --confirmationsAsked_) {
        when += confirmationGap_;
        sendConfirmation(when);
    }
}

void Handset::send(std::string_view bytes, std::uint64_t whenMicroseconds) {
    note(whenMicroseconds, LogKind::Sent, bytes);
    out_.send(bytes, whenMicroseconds);
}

// --- out

std::string Handset::due(std::uint64_t nowMicroseconds) {
    sendDueUnsolicited(nowMicroseconds);
    return out_.due(nowMicroseconds);
}

std::optional<std::uint64_t> Handset::nextDue() const {
    const auto next = out_.nextDue();
    if (unsolicitedInterval_ == 0) return next;
    return next ? std::min(*next, nextUnsolicited_) : nextUnsolicited_;
}

void Handset::setUnsolicitedInterval(std::uint64_t microseconds, std::uint64_t nowMicroseconds) {
    unsolicitedInterval_ = microseconds;
    nextUnsolicited_ = nowMicroseconds + microseconds;
}

void Handset::sendUnsolicited(std::uint64_t nowMicroseconds) {
    now_ = std::max(now_, nowMicroseconds);
    sendConfirmation(nowMicroseconds);
}

void Handset::sendConfirmation(std::uint64_t whenMicroseconds) {
    send(protocol_.unsolicited() + "\r\n", whenMicroseconds);
}

void Handset::sendDueUnsolicited(std::uint64_t now) {
    while (unsolicitedInterval_ != 0 && nextUnsolicited_ <= now) {
        sendUnsolicited(nextUnsolicited_);
        nextUnsolicited_ += unsolicitedInterval_;
    }
}

}  // namespace mova::handset
