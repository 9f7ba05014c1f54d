// What a component asked of its port and what it was told, in order: every call to the serial driver, every look at an
// event, every pause, cut into tenures: the stretches between taking and leaving the port's lock, each of one thread.
// TapedPlatform stands between a component and the scripted platform and records.
#pragma once
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "mova/CVeCmdManager.h"
#include "support/ScriptedPlatform.h"

namespace mova::conversation {

enum class Act : std::uint8_t {
    Poll,   // a look at the stop event, or a wait for it: number = milliseconds, ok = it is set
    Sleep,  // number = milliseconds
    Open,   // text = path
    Close,
    Mask,  // number = event mask
    CancelAll,
    Queues,
    Timeouts,
    Properties,
    Settings,
    Configure,
    Clear,       // number = error bits
    Count,       // the same with the count: number = error bits, count = bytes waiting
    Purge,       // number = what
    BeginRead,   // number = capacity, count = BeginResult
    BeginWrite,  // text = bytes, count = BeginResult
    Await,       // count = WaitResult
    Finish,      // count = bytes, text = what was read
    Cancel,
    Start,  // of the reader thread
};
const char* nameOf(Act act);

struct Happening {
    Act act;
    bool ok = true;
    std::uint32_t number = 0;
    std::uint32_t count = 0;
    std::uint64_t when = 0;  // microseconds, at the call's end
    std::string text;
};
std::string describe(const Happening& happening);

struct PortLock {
    std::uint32_t thread = 0;
    std::uint64_t since = 0;  // microseconds
    std::vector<Happening> happenings;
    std::vector<std::string> traced;  // records of what was received and what was purged
};

struct Raised {
    std::uint32_t thread;
    std::int32_t type;
    std::int32_t length;
    std::string text;
    bool isConfirmation = false;  // as far as is known: of a general one
};

class Tape {
public:
    explicit Tape(VirtualScheduler& scheduler) : scheduler_(scheduler) {}

    void lock();
    void unlock();
    void note(Act act, bool ok, std::uint32_t number = 0, std::uint32_t count = 0, std::string text = {});
    void trace(std::string_view message);  // as it goes to the debug channel
    void raise(Raised raised) { raised_.push_back(std::move(raised)); }

    std::deque<PortLock>& tenures() { return done_; }
    std::deque<Raised>& raised() { return raised_; }
    std::uint64_t hash() const { return hash_; }  // of everything so far

private:
    void mix(std::string_view text);
    void mix(std::uint64_t number);

    VirtualScheduler& scheduler_;
    unsigned depth_ = 0;
    PortLock current_;
    std::deque<PortLock> done_;
    std::deque<Raised> raised_;
    std::uint64_t hash_ = 14695981039346656037ull;
};

class TapedPlatform {
public:
    TapedPlatform(ScriptedPlatform& platform, Tape& tape);
    ~TapedPlatform();
    Platform& platform() { return platform_; }

private:
    struct Taps;
    std::unique_ptr<Taps> taps_;
    Platform platform_;
};

}  // namespace mova::conversation
