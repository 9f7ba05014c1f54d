#include "transport/AnswerChannel.h"

#include "logging/LogWriter.h"

namespace mova {

void AnswerChannel::clearQueue(Purge purge) {
    queue_.clear(trace_, purge == Purge::Yes ? &engine_.pending() : nullptr);
}

void AnswerChannel::discardInput() {
    if (!port_.hasHandle()) return;
    engine_.run(0, {});
    port_.device().purge();
    engine_.pending().clear();
}

void AnswerChannel::startAfresh() {
    discardInput();
    clearQueue(Purge::Yes);
}

void AnswerChannel::ClearQueue() {
    engine_.run(0, {});
    startAfresh();
}

std::uint32_t AnswerChannel::waitForConfirmation(std::uint32_t milliseconds) {
    constexpr std::uint32_t kSlices = 10;
    const std::uint32_t start = platform_.clock.tickCount();
    for (;;) {
        const std::uint32_t result = engine_.run(milliseconds / kSlices, session_.answerTerminator);
        if (result == code::Success) return result;
        clearQueue(Purge::No);
        if (port_.stopEvent().isSet()) return result;  // waiting on would only burn the remaining time
        if (static_cast<std::int32_t>(start + milliseconds) < static_cast<std::int32_t>(platform_.clock.tickCount())) {
            return result;
        }
    }
}

AnswerChannel::Item AnswerChannel::fetchBytes() {
    auto fetched = queue_.fetch(LineClass::Confirmation, ConfirmationQueue::Take::Remove);
    Item item;
    item.remained = static_cast<std::uint32_t>(fetched.remaining);
    if (fetched.record.valid == 1) {
        item.length = static_cast<std::uint32_t>(fetched.record.hexData.size() / 2);
        item.data = std::move(fetched.record.byteData);
        item.data.resize(item.length);
    }
    return item;
}

AnswerChannel::Item AnswerChannel::fetchText() {
    auto fetched = queue_.fetch(LineClass::Confirmation, ConfirmationQueue::Take::Remove);
    Item item;
    item.remained = static_cast<std::uint32_t>(fetched.remaining);
    if (fetched.record.valid == 1) {
        item.data = std::move(fetched.record.hexData);
        item.length = static_cast<std::uint32_t>(item.data.size());
        debug_.post("Resv: " + item.data);
        Log(platform_, session_.logFilePath, LogType::At, item.data + "\n", LogDirection::Received);
    }
    return item;
}

}  // namespace mova
