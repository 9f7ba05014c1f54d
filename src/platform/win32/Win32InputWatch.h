// A Win32InputWatch waits for the bytes of one port: with one wait for port events (WaitCommEvent) that is outstanding
// for all threads that wait, because the system allows no second one.
//
// It belongs to a port whose event mask has received characters in it. end() ends the outstanding wait before the port
// is closed: the system writes to its record until then. A driver that ends such waits without an event, or takes
// none, is asked no more.
#pragma once
#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/Threading.h"
#include "platform/win32/Win32Threading.h"

namespace mova {

class Win32InputWatch {
public:
    explicit Win32InputWatch(HANDLE port) : port_(port) {}
    ~Win32InputWatch() { end(); }
    Win32InputWatch(const Win32InputWatch&) = delete;
    Win32InputWatch& operator=(const Win32InputWatch&) = delete;

    // As SerialDriver::awaitInput().
    WaitResult await(Win32Event* event, DWORD milliseconds);
    // From now on every wait is over. The event mask of the port is 0 afterwards.
    void end();
    // The error bits that were met, and cleared, while bytes were looked for.
    DWORD takeErrors() { return errors_.exchange(0); }

private:
    struct Outstanding {  // what the system writes to while the wait lasts
        OVERLAPPED record{};
        DWORD events = 0;
        Win32Event done;
    };
    enum class State { Idle, Waiting, Refused, Ended };

    bool hasInput();
    State begin();
    void issue() MOVA_REQUIRES(mutex_);
    void collect() MOVA_REQUIRES(mutex_);
    void conclude(bool withEvent) MOVA_REQUIRES(mutex_);

    const HANDLE port_;
    std::unique_ptr<Outstanding> owned_ = std::make_unique<Outstanding>();
    Outstanding& wait_ = *owned_;
    std::atomic<DWORD> errors_{0};
    Mutex mutex_;
    State state_ MOVA_GUARDED_BY(mutex_) = State::Idle;
    int fruitless_ MOVA_GUARDED_BY(mutex_) = 0;
};

}  // namespace mova
