#include "support/ScriptedPort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace mova {

// --- exchange

Exchange& Exchange::reply(std::string bytes, VirtualTime delay) {
    steps_.push_back({delay, std::move(bytes), nullptr});
    return *this;
}

Exchange& Exchange::replyInChunks(std::string_view bytes, std::size_t size, VirtualTime delay, VirtualTime gap) {
    for (std::size_t at = 0; at < bytes.size(); at += size) {
        reply(std::string(bytes.substr(at, size)), at == 0 ? delay : gap);
    }
    return *this;
}

Exchange& Exchange::perform(std::function<void()> action, VirtualTime delay) {
    steps_.push_back({delay, {}, std::move(action)});
    return *this;
}

// --- port

ScriptedPort::ScriptedPort(ScriptedCore& core, std::string path)
    : core_(core), path_(std::move(path)), unplugged_(core.scheduler, "a blocking transfer on " + path_) {}

ScriptedPort::~ScriptedPort() {
    for (const Exchange& exchange : expected_) ADD_FAILURE() << path_ << ": never written: " << exchange.request_;
    if (!request_.empty()) ADD_FAILURE() << path_ << ": an unfinished request is left: " << request_;
}

std::vector<std::string> ScriptedPort::calls(std::initializer_list<Op> without) const {
    return core_.journal.textsIf([&](const JournalEntry& e) {
        return isSerial(e.op) && e.object == path_ && std::find(without.begin(), without.end(), e.op) == without.end();
    });
}

void ScriptedPort::feed(std::string_view bytes) {
    if (!open_) return;
    incoming_ += bytes;
    if (changed_) changed_();
}

void ScriptedPort::feedAt(VirtualTime when, std::string bytes) {
    core_.scheduler.at(when, [this, bytes = std::move(bytes)] { feed(bytes); });
}

void ScriptedPort::feedAfter(VirtualTime delay, std::string bytes) {
    feedAt(core_.scheduler.now() + delay, std::move(bytes));
}

std::size_t ScriptedPort::waiting() {
    pullPeer();
    return incoming_.size();
}

void ScriptedPort::pullPeer() {
    if (!peer_) return;
    const std::string bytes = peer_->due(static_cast<std::uint64_t>(core_.scheduler.now().count()));
    if (open_) incoming_ += bytes;
}

std::uint32_t ScriptedPort::take(void* buffer, std::uint32_t capacity) {
    pullPeer();
    const auto count =
        std::min({static_cast<std::size_t>(capacity), static_cast<std::size_t>(readCap_), incoming_.size()});
    if (count > 0) std::memcpy(buffer, incoming_.data(), count);
    incoming_.erase(0, count);
    return static_cast<std::uint32_t>(count);
}

std::vector<std::string> ScriptedPort::writeTexts() const {
    std::vector<std::string> texts;
    for (const Write& write : writes_) texts.push_back(write.bytes);
    return texts;
}

void ScriptedPort::clearWritten() {
    written_.clear();
    writes_.clear();
}

void ScriptedPort::deliver(std::string_view bytes) {
    const VirtualTime now = core_.scheduler.now();
    writes_.push_back({now, std::string(bytes)});
    written_ += bytes;
    if (bytes.empty()) return;
    if (onWrite_) onWrite_(bytes);
    if (converses_) converse(bytes);
    if (peer_) peer_->receive(bytes, static_cast<std::uint64_t>(now.count()));
    if (changed_) changed_();
}

// --- conversation

Exchange& ScriptedPort::expect(std::string request) {
    converses_ = true;
    return expected_.emplace_back(std::move(request));
}

Exchange& ScriptedPort::whenever(std::string request) {
    converses_ = true;
    return standing_.emplace_back(std::move(request));
}

void ScriptedPort::forgetConversation() {
    converses_ = false;
    expected_.clear();
    standing_.clear();
    request_.clear();
}

void ScriptedPort::converse(std::string_view bytes) {
    request_ += bytes;
    while (!request_.empty()) {
        if (!expected_.empty() && fire(expected_.front())) {
            expected_.pop_front();
            continue;
        }
        if (std::any_of(standing_.begin(), standing_.end(), [this](Exchange& exchange) { return fire(exchange); }))
            continue;
        const auto begun = [this](const Exchange& exchange) { return exchange.request_.starts_with(request_); };
        if (!expected_.empty() && begun(expected_.front())) return;
        if (std::any_of(standing_.begin(), standing_.end(), begun)) return;
        ADD_FAILURE() << path_ << ": unexpected write \"" << request_ << "\" (" << hexBytes(request_) << "), expected "
                      << (expected_.empty() ? "nothing" : "\"" + expected_.front().request_ + "\"");
        request_.clear();
    }
}

bool ScriptedPort::fire(Exchange& exchange) {
    if (!request_.starts_with(exchange.request_)) return false;
    request_.erase(0, exchange.request_.size());
    const VirtualTime now = core_.scheduler.now();
    VirtualTime when = now;
    for (const Exchange::Step& step : exchange.steps_) {
        when += step.delay;
        if (when == now && !step.action) {
            feed(step.bytes);
            continue;
        }
        core_.scheduler.at(when, [this, bytes = step.bytes, action = step.action] {
            if (action)
                action();
            else
                feed(bytes);
        });
    }
    return true;
}

// --- timing, line, cable

void ScriptedPort::writesTake(VirtualTime each, VirtualTime perByte) {
    writeTimeEach_ = each;
    writeTimePerByte_ = perByte;
}

void ScriptedPort::transfersCompleteAtOnce() {
    writeTimeEach_.reset();
    readTime_.reset();
}

std::optional<VirtualTime> ScriptedPort::writeTime(std::uint32_t length) const {
    if (!writeTimeEach_) return std::nullopt;
    return *writeTimeEach_ + writeTimePerByte_ * static_cast<std::int64_t>(length);
}

void ScriptedPort::addErrorBits(std::uint32_t bits, unsigned passes) {
    errorBits_.insert(errorBits_.end(), passes, bits);
}

std::uint32_t ScriptedPort::nextErrorBits() {
    if (errorBits_.empty()) return standingBits_;
    const std::uint32_t bits = errorBits_.front();
    errorBits_.pop_front();
    return bits;
}

void ScriptedPort::drive(LineControl function) {
    switch (function) {
        case LineControl::SetRts: rts_ = true; break;
        case LineControl::ClearRts: rts_ = false; break;
        case LineControl::SetDtr: dtr_ = true; break;
        case LineControl::ClearDtr: dtr_ = false; break;
    }
}

void ScriptedPort::driveFromSettings() {
    dtr_ = (lineSettings.flags & LineFlags::DtrControlMask) != 0;
    rts_ = (lineSettings.flags & LineFlags::RtsControlMask) != 0;
}

void ScriptedPort::unplug(std::uint32_t error) {
    plugged_ = false;
    unpluggedError_ = error;
    open_ = false;
    ++plugging_;
    incoming_.clear();
    unplugged_.set();
    if (changed_) changed_();
}

void ScriptedPort::replug() {
    plugged_ = true;
    unplugged_.reset();
}

}  // namespace mova
