// The system as a session gives it to the command manager: with a serial driver that listens, a clock whose pauses can be
// left out at the end, and files that are watched.
#pragma once
#include <atomic>
#include <cstdint>
#include <string>

#include "cli/LineTap.h"
#include "cli/WatchedFiles.h"
#include "platform/Platform.h"

namespace mova::cli {

class PausingClock final : public Clock {
public:
    explicit PausingClock(Clock& clock) : clock_(clock) {}

    // From now on nobody waits. The manager rests half a second after it has closed the port, for a program that opens
    // it again; one that ends needs no rest.
    void skipPauses() { skips_ = true; }

    std::uint32_t tickCount() override { return clock_.tickCount(); }
    LocalTime localTime() override { return clock_.localTime(); }
    void sleep(std::uint32_t milliseconds) override {
        if (!skips_) clock_.sleep(milliseconds);
    }
    std::string longDateText(std::int64_t secondsSinceEpoch) override { return clock_.longDateText(secondsSinceEpoch); }

private:
    Clock& clock_;
    std::atomic<bool> skips_{false};
};

struct SessionPlatform {
    explicit SessionPlatform(Platform& system)
        : line(system.serial), clock(system.clock), files(system.files), platform{line,        system.threading, clock,
                                                                                  system.keys, system.datagrams, files,
                                                                                  system.host} {}

    LineTap line;
    PausingClock clock;
    WatchedFiles files;
    Platform platform;
};

}  // namespace mova::cli
