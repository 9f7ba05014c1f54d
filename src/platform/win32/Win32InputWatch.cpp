#include "platform/win32/Win32InputWatch.h"

#include <array>

namespace mova {

namespace {
constexpr int kMostFruitless = 3;            // waits in a row that ended without an event and without being asked to
constexpr DWORD kPatienceWithTheEnd = 1000;  // milliseconds
}  // namespace

WaitResult Win32InputWatch::await(Win32Event* event, DWORD milliseconds) {
    switch (begin()) {
        case State::Refused: return WaitResult::Failed;
        case State::Ended: return WaitResult::Signalled;
        case State::Idle:
        case State::Waiting: break;
    }
    // The event goes before the bytes, and what came before the wait began is no event.
    const DWORD first = event != nullptr ? 1 : 0;
    const bool atHand = (event == nullptr || !event->isSet()) && hasInput();
    if (atHand) return WaitResult::Signalled;
    const std::array handles{event != nullptr ? event->handle() : wait_.done.handle(), wait_.done.handle()};
    switch (waitForFirst(std::span(handles).first(first + 1), milliseconds)) {
        case WAIT_OBJECT_0:
            if (event != nullptr) return WaitResult::Stopped;
            break;
        case WAIT_OBJECT_0 + 1: break;
        case WAIT_TIMEOUT: return WaitResult::TimedOut;
        default: return WaitResult::Failed;
    }
    const LockGuard guard(mutex_);
    collect();
    return WaitResult::Signalled;
}

bool Win32InputWatch::hasInput() {
    DWORD errors = 0;
    COMSTAT status{};
    if (!ClearCommError(port_, &errors, &status)) return true;  // whoever looks next finds out why
    errors_ |= errors;
    return status.cbInQue > 0;
}

Win32InputWatch::State Win32InputWatch::begin() {
    const LockGuard guard(mutex_);
    collect();
    if (state_ == State::Idle && !wait_.done.handle()) state_ = State::Refused;
    // An event that has been kept from before ends the first wait at once; the second is for what comes.
    if (state_ == State::Idle) issue();
    if (state_ == State::Idle) issue();
    return state_;
}

void Win32InputWatch::issue() {
    wait_.record = {};
    wait_.events = 0;
    wait_.record.hEvent = wait_.done.handle();
    wait_.done.reset();
    if (WaitCommEvent(port_, &wait_.events, &wait_.record)) {
        conclude(wait_.events != 0);
    } else if (GetLastError() == ERROR_IO_PENDING) {
        state_ = State::Waiting;
    } else {
        state_ = State::Refused;
    }
}

// Takes in a wait that has ended.
void Win32InputWatch::collect() {
    if (state_ != State::Waiting || !HasOverlappedIoCompleted(&wait_.record)) return;
    DWORD unused = 0;
    const bool succeeded = GetOverlappedResult(port_, &wait_.record, &unused, FALSE) != FALSE;
    state_ = State::Idle;
    conclude(succeeded && wait_.events != 0);
}

void Win32InputWatch::conclude(bool withEvent) {
    fruitless_ = withEvent ? 0 : fruitless_ + 1;
    if (fruitless_ >= kMostFruitless) state_ = State::Refused;
}

void Win32InputWatch::end() {
    const LockGuard guard(mutex_);
    const bool waiting = state_ == State::Waiting;
    state_ = State::Ended;
    if (waiting && !HasOverlappedIoCompleted(&wait_.record)) {
        SetCommMask(port_, 0);
        const HANDLE done = wait_.done.handle();
        if (waitForFirst({&done, 1}, kPatienceWithTheEnd) != WAIT_OBJECT_0) {
            CancelIoEx(port_, &wait_.record);
            // A driver that keeps the record may keep it for good: it must not be freed under its hands.
            if (waitForFirst({&done, 1}, kPatienceWithTheEnd) != WAIT_OBJECT_0) static_cast<void>(owned_.release());
        }
    }
    wait_.done.set();  // for those who still wait
}

}  // namespace mova
