// What goes wrong on the scripted platform, and when: any call of any operation, with an error, a wait that never
// ends, a time-out, a failing wait, a stop or a short count.
//
//     plan.fail(Op::SetQueueSizes);                                     // the next call, once
//     plan.fail(Op::SetQueueSizes).twice();
//     plan.fail(Op::Open).onCall(3).error(5);                           // the third call from now on
//     plan.fail(Op::BeginWrite).always().as(FailureKind::TimedOut);     // stays pending; the wait times out
//     plan.fail(Op::BeginWrite).as(FailureKind::ShortCount).count(2);   // two bytes go out
//     plan.fail(Op::KeyQuery).matching("UpperFilters");                 // only calls with this argument count
//
// A rule counts the calls from its own making, so a test that wants the nth call of one method makes the rule just
// before it. The matrix over all of them:
//
//     for (Op op : allOps())
//         for (FailureKind kind : kindsOf(op))
//             for (unsigned n = 1;; ++n) {
//                 ScriptedPlatform platform;  ...
//                 FailureRule& rule = platform.failures().fail(op).onCall(n).as(kind);
//                 ...
//                 if (!rule.reached()) break;
//             }
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mova {

enum class Op : std::size_t {
    // SerialDriver
    Open,
    Close,
    SetQueueSizes,
    SetTimeouts,
    Properties,
    GetLineSettings,
    SetLineSettings,
    SetEventMask,
    ClearErrors,
    Purge,
    Control,
    ModemStatus,
    MakeTransfer,
    BeginRead,
    BeginWrite,
    Await,
    Finish,
    Cancel,
    CancelAll,
    Read,
    Write,
    AwaitInput,
    // Threading
    MakeEvent,
    EventWait,
    MakeRecursiveMutex,
    MakeNamedMutex,
    AcquireNamedMutex,
    StartThread,
    Join,
    Terminate,
    // Clock
    TickCount,
    LocalTime,
    Sleep,
    LongDate,
    // KeyTree
    KeyOpen,
    KeyEnum,
    KeyQuery,
    KeyClose,
    // DatagramChannel
    DatagramOpen,
    DatagramWrite,
    DatagramClose,
    // Files
    FileOpen,
    FileWrite,
    FileClose,
    // Host
    SystemVersion,
    ModulePath,
    FileTime,
};
constexpr std::size_t kOps = static_cast<std::size_t>(Op::FileTime) + 1;

constexpr bool isSerial(Op op) { return op <= Op::AwaitInput; }
// Where interleaved threads may overtake each other: not where the code may hold a lock of its own (the debug channel,
// the files), and not in the searches of the device tree, which nobody shares.
constexpr bool mayBeOvertaken(Op op) { return op < Op::LongDate; }
const char* nameOf(Op op);
std::vector<Op> allOps();

enum class FailureKind {
    Error,       // the call reports failure; lastError() gives the code
    Pending,     // BeginRead, BeginWrite: pending for ever, only stop, time-out, cancelling or unplugging ends it
    TimedOut,    // BeginRead, BeginWrite: pending, and the wait for it times out. Await, AwaitInput, Join: times out
    WaitFailed,  // the same, and the wait itself fails. EventWait, AwaitInput: fails
    Stopped,     // BeginRead, BeginWrite, Await, AwaitInput: the stop event is set while it is awaited
    ForNothing,  // AwaitInput: ends at once, with no bytes there
    ShortCount,  // BeginRead, BeginWrite, Finish, Read, Write: fewer bytes move
};
const char* nameOf(FailureKind kind);
// The kinds that mean something for this call; empty for calls that cannot fail.
std::vector<FailureKind> kindsOf(Op op);

struct Failure {
    FailureKind kind = FailureKind::Error;
    std::uint32_t error = 31;            // "A device attached to the system is not functioning."
    std::optional<std::uint32_t> count;  // ShortCount: the bytes that move; all but one when not given
    std::uint32_t shortOf(std::uint32_t asked) const;
};

class FailureRule {
public:
    explicit FailureRule(Op op) : op_(op) {}

    FailureRule& onCall(unsigned nth) { return first_ = nth, *this; }  // 1 is the next call
    FailureRule& times(unsigned n) { return times_ = n, *this; }
    FailureRule& twice() { return times(2); }
    FailureRule& always() { return times(std::numeric_limits<unsigned>::max()); }
    FailureRule& as(FailureKind kind) { return failure_.kind = kind, *this; }
    FailureRule& error(std::uint32_t code) { return failure_.error = code, *this; }
    FailureRule& count(std::uint32_t bytes) { return failure_.count = bytes, *this; }
    FailureRule& matching(std::string text) { return matching_ = std::move(text), *this; }

    bool reached() const { return delivered_ > 0; }
    unsigned delivered() const { return delivered_; }  // failures handed out so far

private:
    friend class FailurePlan;
    bool hits(std::string_view argument);
    bool looksAtArguments() const { return !matching_.empty(); }

    Op op_;
    unsigned first_ = 1;
    unsigned times_ = 1;
    Failure failure_;
    std::string matching_;
    unsigned seen_ = 0;
    unsigned delivered_ = 0;
};

class FailurePlan {
public:
    FailureRule& fail(Op op) { return rules_.emplace_back(op); }
    void clear() { rules_.clear(); }  // rules handed out before are gone
    unsigned delivered(Op op) const { return delivered_[static_cast<std::size_t>(op)]; }  // failures so far

    unsigned calls(Op op) const { return calls_[static_cast<std::size_t>(op)]; }
    void resetCalls() { calls_.fill(0); }

    // For the scripted interfaces: counts the call and says how it is to fail.
    bool looksAtArguments() const;
    std::optional<Failure> onCall(Op op, std::string_view argument);
    std::string describe() const;

private:
    std::deque<FailureRule> rules_;
    std::array<unsigned, kOps> calls_{};
    std::array<unsigned, kOps> delivered_{};
};

}  // namespace mova
