// The threads of a simulated system are the real one's. Its events are its own, because they are waited for together with
// the simulated port, which no real system knows.
#pragma once
#include <atomic>
#include <chrono>

#include "platform/Threading.h"
#include "simulation/Bell.h"

namespace mova::simulation {

using Moment = std::chrono::steady_clock::time_point;

// No later than an hour from now: whoever waits looks again then.
Moment momentAfter(std::uint32_t milliseconds);
Moment nextLook(Moment deadline);

class SimulatedEvent final : public Event {
public:
    // Every event that is waited for with the port is one that SimulatedThreading made, or null.
    static SimulatedEvent* of(Event* event) { return static_cast<SimulatedEvent*>(event); }

    explicit SimulatedEvent(Bell& bell) : bell_(bell) {}
    void set() override;
    void reset() override;
    WaitResult wait(std::uint32_t milliseconds) override;
    bool isSet() override { return set_.load(std::memory_order_acquire); }

private:
    Bell& bell_;
    std::atomic<bool> set_{false};  // changes under the bell's mutex
};

class SimulatedThreading final : public Threading {
public:
    SimulatedThreading(Bell& bell, Threading& real) : bell_(bell), real_(real) {}

    std::unique_ptr<Event> makeEvent() override { return std::make_unique<SimulatedEvent>(bell_); }
    std::unique_ptr<RecursiveMutex> makeRecursiveMutex() override { return real_.makeRecursiveMutex(); }
    std::unique_ptr<NamedMutex> makeNamedMutex(const std::string& name) override { return real_.makeNamedMutex(name); }
    std::unique_ptr<Thread> start(std::function<void()> run) override { return real_.start(std::move(run)); }
    std::uint32_t currentThreadId() override { return real_.currentThreadId(); }

private:
    Bell& bell_;
    Threading& real_;
};

}  // namespace mova::simulation
