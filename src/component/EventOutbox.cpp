#include "component/EventOutbox.h"

#include <utility>

#include "base/HeldText.h"
#include "base/Text.h"

namespace mova {

namespace {

constexpr std::int32_t kConfirmation = 1;  // the event's type

std::size_t sizeOf(const EventOutbox::Event& event) { return sizeof event + event.text.size(); }

std::string eventText(const MovaRetCmdTag& record) {
    if (record.valid != 1) return record.responseText;
    switch (record.kind) {
        case LineClass::AtText:
        case LineClass::Echo: return foldLines(record.responseText + record.terminatorText);
        case LineClass::Confirmation:
        case LineClass::E2p: return record.hexData;
        case LineClass::Acknowledgement: return record.responseText;
        case LineClass::Hci:
        case LineClass::Wifi: break;
    }
    return {};
}

}  // namespace

EventOutbox::Event eventOf(const MovaRetCmdTag& record) {
    std::string text = eventText(record);
    const auto length = static_cast<std::int32_t>(text.size());
    return {length, std::move(text)};
}

bool EventOutbox::add(Event event) {
    const LockGuard guard(*lock_);
    events_.push_back(std::move(event));
    held_ += sizeOf(events_.back());
    bool first = false;
    while (held_ > kMostHeldText && events_.size() > 1) {
        held_ -= sizeOf(events_.front());
        events_.pop_front();
        first = !std::exchange(tooMany_, true) || first;
    }
    return first;
}

bool EventOutbox::isEmpty() {
    const LockGuard guard(*lock_);
    return events_.empty();
}

bool EventOutbox::begin() {
    const std::uint32_t self = platform_.threading.currentThreadId();
    const LockGuard guard(*lock_);
    if (events_.empty() || (depth_ > 0 && raiser_ != self)) return false;
    raiser_ = self;
    ++depth_;
    return true;
}

// False, and the raising is over, when nothing is left: what is added from then on finds no thread that raises.
bool EventOutbox::take(Event& event) {
    const LockGuard guard(*lock_);
    if (events_.empty()) {
        tooMany_ = false;
        --depth_;
        return false;
    }
    held_ -= sizeOf(events_.front());
    event = std::move(events_.front());
    events_.pop_front();
    return true;
}

void EventOutbox::raise(ConfirmationEvents* listener, const std::function<bool()>& isEnding) noexcept {
    if (!begin()) return;
    for (Event event; take(event);) {
        if (listener == nullptr || isEnding()) continue;  // nobody is told any more
        try {
            listener->OnCpGetMovaCnf(kConfirmation, event.length, event.text);
        } catch (...) {
            // A listener's failure is its own.
        }
    }
}

}  // namespace mova
