#include <algorithm>

#include "oracle/Frames.h"
#include "oracle/PlainModel.h"
#include "oracle/Text.h"

namespace mova::oracle {

std::uint32_t PlainModel::run(std::uint32_t milliseconds, const std::string& terminators) {
    const bool once = terminators.empty();  // a single pass, whatever comes of it
    const std::uint32_t deadline = ticks() + milliseconds;
    for (bool first = true;; first = false) {
        if (stopSeen()) return once ? kStopped : kNoAnswer;
        std::uint32_t count = 0;
        if (readable()) clearErrors(&count);
        if (count > 0 || (first && !engine_.pending().empty())) {
            std::string bytes;
            if (count > 0 && readable()) read(std::min(count, 2048u), bytes);
            if (onRead_) onRead_(bytes);
            if (auto record = engine_.pass(terminators, bytes)) {
                finish(std::move(*record));
                if (unsolicited_) letGoToRaise();
                return 0;
            }
        }
        if (once) return 0;
        idle(1);
        if (milliseconds == 0 || static_cast<std::int32_t>(deadline) < static_cast<std::int32_t>(ticks())) {
            return kNoAnswer;
        }
    }
}

void PlainModel::finish(Record record) {
    ++recordsMade_;
    for (std::string& message : record.traced) trace(std::move(message));
    record.traced.clear();
    file(record);
}

void PlainModel::file(const Record& record) {
    if (!unsolicited_) {
        if (queue_.size() > 100) queue_.clear();
        queue_.push_back(record);
        return;
    }
    std::string text = record.response;
    if (record.valid != 0) {
        if (record.kind == kAtText || record.kind == kEcho) text = folded(record.response + record.terminator);
        if (record.kind == kGeneral || record.kind == kE2p) text = record.hexData;
        if (record.kind == kHci || record.kind == kWifi) text.clear();
    }
    toBeRaised_.push_back(
        {hold_.thread, 1, static_cast<std::int32_t>(text.size()), text, record.valid != 0 && record.kind == kGeneral});
}

void PlainModel::clearQueue(bool purge) {
    if (purge && !engine_.pending().empty()) trace("AT-Purge " + engine_.pending());
    if (purge) engine_.discard();
    for (const Record& record : queue_) trace("AT-Purge " + record.hexData + record.response + record.terminator);
    queue_.clear();
}

void PlainModel::discardInput() {
    if (!handle_) return;
    run(0, "");
    if (device_ && take(Act::Purge).number != 12) wrong("what is purged");
    engine_.discard();
}

void PlainModel::clearQueueAndPort() {
    run(0, "");
    discardInput();
    clearQueue(true);
}

bool PlainModel::isQueued(unsigned kind) const {
    return std::any_of(queue_.begin(), queue_.end(), [&](const Record& record) { return record.kind == kind; });
}

Record PlainModel::fetchKind(unsigned kind) {
    for (std::size_t i = 0; i < queue_.size(); ++i) {
        if (queue_[i].kind != kind) continue;
        Record record = queue_[i];
        queue_.erase(queue_.begin() + static_cast<std::ptrdiff_t>(i));
        // The one directly behind is left alone; what follows that one is joined.
        while (kind == kAtText && i + 1 < queue_.size() && queue_[i + 1].kind == kAtText) {
            record.response += queue_[i + 1].response;
            queue_.erase(queue_.begin() + static_cast<std::ptrdiff_t>(i) + 1);
        }
        return record;
    }
    return {};
}

std::string PlainModel::fetch(bool asText) {
    otherThreads();
    enter();
    const Record record = fetchKind(kGeneral);
    leave();
    const std::string remained = printed("left %zu ", queue_.size());
    if (record.valid == 0) return remained + resultText(0, 0, "");
    const std::size_t bytes = record.hexData.size() / 2;
    if (asText) return remained + resultText(0, static_cast<std::int64_t>(record.hexData.size()), record.hexData);
    return remained + resultText(0, static_cast<std::int64_t>(bytes), hexOf(lenientBytes(record.hexData)));
}

std::string PlainModel::clear() {
    otherThreads();
    enter();
    clearQueueAndPort();
    leave();
    return {};
}

}  // namespace mova::oracle
