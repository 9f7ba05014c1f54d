#include "transport/Answers.h"

#include "base/HeldText.h"
#include "base/Text.h"

namespace mova {

void Answers::deliver(MovaRetCmdTag record) {
    if (session_.unsolicited) {
        events_.completed(record);
    } else {
        const bool tooLong = queue_.append(std::move(record));
        if (tooLong) {
            trace_.record(
                TraceKind::FreeText,
                format("More than %zu characters of answers that nobody fetched: they are dropped", kMostHeldText));
        }
    }
}

Code Answers::wait(std::uint32_t milliseconds, std::string_view terminators) {
    const Code result = engine_.run(milliseconds, terminators);
    events_.passEnded();
    return result;
}

void Answers::dropRecords(Purge purge) { queue_.clear(trace_, purge == Purge::Yes ? &engine_.pending() : nullptr); }

void Answers::discardInput() {
    if (!port_.hasHandle()) return;
    static_cast<void>(wait(0, {}));  // what is taken in is filed, whatever the pass came to
    port_.device().purge();
    engine_.pending().clear();
}

void Answers::startAfresh() {
    discardInput();
    dropRecords(Purge::Yes);
}

void Answers::takeInAndStartAfresh() {
    static_cast<void>(wait(0, {}));  // what is taken in goes with the rest
    startAfresh();
}

Code Answers::waitForConfirmation(std::uint32_t milliseconds) {
    constexpr std::uint32_t kSlices = 10;
    const std::uint32_t start = platform_.clock.tickCount();
    for (;;) {
        const Code result = wait(milliseconds / kSlices, session_.answerTerminator);
        if (result == Code::Success) return result;
        dropRecords(Purge::No);
        if (port_.stopEvent().isSet()) return result;  // waiting on would only burn the remaining time
        if (static_cast<std::int32_t>(start + milliseconds) < static_cast<std::int32_t>(platform_.clock.tickCount())) {
            return result;
        }
    }
}

Answers::Item Answers::fetchBytes() {
    auto fetched = queue_.fetch(LineClass::Confirmation, ConfirmationQueue::Take::Remove);
    Item item;
    item.remained = static_cast<std::uint32_t>(fetched.remaining);
    if (fetched.record.valid == 1) {
        item.length = static_cast<std::uint32_t>(fetched.record.hexData.size() / 2);
        item.data = std::move(fetched.record.byteData);
    }
    return item;
}

Answers::Item Answers::fetchText() {
    auto fetched = queue_.fetch(LineClass::Confirmation, ConfirmationQueue::Take::Remove);
    Item item;
    item.remained = static_cast<std::uint32_t>(fetched.remaining);
    if (fetched.record.valid == 1) {
        item.data = std::move(fetched.record.hexData);
        item.length = static_cast<std::uint32_t>(item.data.size());
        debug_.post("Resv: " + item.data);
        log_.write(LogType::At, item.data + "\n");
    }
    return item;
}

}  // namespace mova
