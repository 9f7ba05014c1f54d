// Records what a component asks of its port, and what it is told, on a tape for the oracle: TapedPlatform stands
// between the component and the scripted platform.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "oracle/Tape.h"
#include "support/ScriptedPlatform.h"

namespace mova::conversation {

using oracle::Act;

// Who sees it: the caller, the listener, who reads traces. In what order the three see things is the threads' business.
enum class Seen : std::size_t { Call, Event, Trace };

class Recorder {
public:
    explicit Recorder(VirtualScheduler& scheduler) : scheduler_(scheduler) {}

    void lock();
    void unlock();
    void note(Act act, bool ok, std::uint32_t number = 0, std::uint32_t count = 0, std::string text = {});
    void trace(std::string_view message);  // as it goes to the debug channel
    void raise(oracle::Raised raised);
    void keepAll() { keepsAll_ = true; }
    void see(Seen what, std::string text);  // when all is kept; traces and events are seen as they come
    const std::vector<std::string>& seen(Seen what) const { return seen_[static_cast<std::size_t>(what)]; }

    oracle::Tape& tape() { return tape_; }
    const oracle::Tape& tape() const { return tape_; }
    std::uint64_t hash() const { return hash_; }  // of everything so far

private:
    void mix(std::string_view text);
    void mix(std::uint64_t number);

    VirtualScheduler& scheduler_;
    unsigned depth_ = 0;
    oracle::LockHold current_;
    oracle::Tape tape_;
    bool keepsAll_ = false;
    std::array<std::vector<std::string>, 3> seen_;
    std::uint64_t hash_ = 14695981039346656037ull;
};

class TapedPlatform {
public:
    TapedPlatform(ScriptedPlatform& platform, Recorder& recorder);
    ~TapedPlatform();
    Platform& platform() { return platform_; }

private:
    struct Taps;
    std::unique_ptr<Taps> taps_;
    Platform platform_;
};

}  // namespace mova::conversation
