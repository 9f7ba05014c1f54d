// What a component asked of its port and what it was told, in order: every call to the serial driver, every look at an
// event, every pause, cut into the stretches for which one thread held the port's lock.
#pragma once
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace mova::oracle {

enum class Act : std::uint8_t {
    Poll,   // a look at the stop event, or a wait for it: number = milliseconds, ok = it is set
    Sleep,  // number = milliseconds
    Input,  // a wait for bytes: number = milliseconds, count = Waited
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
    BeginRead,   // number = capacity, count = Begun
    BeginWrite,  // text = bytes, count = Begun
    Await,       // count = Waited
    Finish,      // count = bytes, text = what was read
    Cancel,
    Start,  // of the reader thread
};
const char* nameOf(Act act);

enum class Begun : std::uint32_t { Complete, Pending, Failed };
enum class Waited : std::uint32_t { Signalled, Stopped, TimedOut, Failed };

struct Happening {
    Act act;
    bool ok = true;
    std::uint32_t number = 0;
    std::uint32_t count = 0;
    std::uint64_t when = 0;  // microseconds, at the call's end
    std::string text;
};
std::string describe(const Happening& happening);

struct LockHold {
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

// What has happened and was not judged yet.
struct Tape {
    std::deque<LockHold> holds;
    std::deque<Raised> raised;
};

}  // namespace mova::oracle
