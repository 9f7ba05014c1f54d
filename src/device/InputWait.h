// InputWait makes the pauses between the looks at the line while somebody waits for an answer. A pause is the longest
// time to wait: it ends when bytes arrive or the stop event is set.
#pragma once
#include <cstdint>

#include "device/HandsetPort.h"
#include "platform/Platform.h"

namespace mova {

class InputWait {
public:
    // A line that trickles is not looked at for every byte. At 115200 baud that would be every 87 us, for 5 to 9 us of
    // processor time each (`bench-line trickle`), and 64 objects would ask for four cores. So many looks are made for
    // little, as many as a short answer has bytes; from then on pauses last their time, until the line has been quiet.
    static constexpr unsigned kPromptLooks = 64;
    // Where the port's driver cannot wait for bytes, so many looks follow each other without a pause: for about as long
    // as one pause lasts. They find the answer of a handset that answers at once.
    static constexpr unsigned kQuickLooks = 256;
    static constexpr std::uint32_t kLittle = 16;  // bytes: what the queue in a serial port's hardware holds

    InputWait(Platform& platform, HandsetPort& port) : platform_(platform), port_(port) {}

    // waiting, taken: the bytes that the look before this pause has found, and has got. Stopped: by the stop event.
    WaitResult pause(std::uint32_t milliseconds, std::uint32_t waiting, std::uint32_t taken)
        MOVA_REQUIRES(portLockRole);

private:
    void learnFrom(std::uint32_t waiting, std::uint32_t taken);
    WaitResult awaitInput(std::uint32_t milliseconds) MOVA_REQUIRES(portLockRole);
    WaitResult awaitStop(std::uint32_t milliseconds) MOVA_REQUIRES(portLockRole);

    Platform& platform_;
    HandsetPort& port_;
    WaitResult last_ = WaitResult::TimedOut;
    unsigned looks_ = 0;  // for little, since the line was quiet
    unsigned quickLooks_ = 0;
    bool inVain_ = false;  // bytes were told of that could not be had
};

}  // namespace mova
