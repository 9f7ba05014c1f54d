// StopEvent is the event that ends every wait of one object's exchanges. Whoever opens the port and the reader thread
// take it down again, for the next exchange; what was meant for an exchange that is still under way must not go with it.
// So whoever ends that one says for how long it is to end: an End.
#pragma once
#include <atomic>
#include <memory>
#include <utility>

#include "platform/Threading.h"

namespace mova {

class StopEvent final : public Event {
public:
    explicit StopEvent(std::unique_ptr<Event> event) : event_(std::move(event)) {}

    void set() override { event_->set(); }
    void reset() override {
        event_->reset();
        if (stays_ > 0) event_->set();
    }
    WaitResult wait(std::uint32_t milliseconds) override { return event_->wait(milliseconds); }
    bool isSet() override { return event_->isSet(); }
    Event* ofSystem() { return event_.get(); }  // for the driver's waits

    // Whether an exchange would end at once: it is not begun then. An event that is merely up, after a close that has
    // failed, does not count. Deliberate: hosts rely on what a paced write sends then.
    bool endsExchanges() { return ends_ > 0 && isSet(); }

    // What is under way ends, and no exchange begins, as long as this lives. Stays: it sets the event itself, and nobody
    // takes it down meanwhile.
    class End {
    public:
        enum class Stays : bool { No, Yes };

        End(StopEvent& event, Stays stays) : event_(event), stays_(stays == Stays::Yes) {
            ++event_.ends_;
            if (!stays_) return;
            ++event_.stays_;
            event_.set();
        }
        ~End() {
            if (stays_) --event_.stays_;
            --event_.ends_;
        }
        End(const End&) = delete;
        End& operator=(const End&) = delete;

    private:
        StopEvent& event_;
        const bool stays_;
    };

private:
    const std::unique_ptr<Event> event_;
    std::atomic<int> ends_{0};
    std::atomic<int> stays_{0};
};

}  // namespace mova
