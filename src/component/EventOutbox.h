// Finished answers on their way to the listener, in the order in which they were completed. Any thread may add and
// raise; no lock is held while the listener runs.
#pragma once
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "device/PortLockRole.h"
#include "mova/ConfirmationEvents.h"
#include "platform/Platform.h"
#include "transport/MovaRetCmdTag.h"

namespace mova {

class EventOutbox {
public:
    struct Event {
        std::int32_t length;  // characters of text
        std::string text;
    };

    explicit EventOutbox(Platform& platform) : platform_(platform), lock_(platform.threading.makeRecursiveMutex()) {}

    // Holds kMostHeldText at most, for a listener that does not come back: the oldest go first. True: some had to go, for
    // the first time since the outbox was empty.
    bool add(Event event);
    bool isEmpty();
    // Raises what is there, oldest first. While another thread raises, what is left is left to that thread: waiting for
    // its listener here could wait for ever. On a thread that raises already (the listener calls the object) the rest is
    // raised at once.
    void raise(ConfirmationEvents* listener, const std::function<bool()>& isEnding) noexcept
        MOVA_EXCLUDES(portLockRole);

private:
    bool begin();
    bool take(Event& event);

    Platform& platform_;
    std::unique_ptr<RecursiveMutex> lock_;
    std::deque<Event> events_ MOVA_GUARDED_BY(*lock_);
    std::size_t held_ MOVA_GUARDED_BY(*lock_) = 0;      // characters of their texts, and what each takes by itself
    bool tooMany_ MOVA_GUARDED_BY(*lock_) = false;      // some have gone since the outbox was empty
    std::uint32_t raiser_ MOVA_GUARDED_BY(*lock_) = 0;  // the thread that raises, while depth_ is not 0
    int depth_ MOVA_GUARDED_BY(*lock_) = 0;
};

// The text and length with which a record is raised.
EventOutbox::Event eventOf(const MovaRetCmdTag& record);

}  // namespace mova
