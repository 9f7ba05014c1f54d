// What the exchanges of one object share: how it operates, and its time-outs. Guarded by the port's lock.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "device/PortLockRole.h"
#include "mova/Options.h"

namespace mova {

struct Session {
    static constexpr std::array<std::uint32_t, 6> kFirstTimeouts{1000, 1000, 1000, 4000, 1500, 10000};

    // No reader thread: every wait runs the engine on the caller's thread.
    bool synchronous MOVA_GUARDED_BY(portLockRole) = true;
    bool unsolicited MOVA_GUARDED_BY(portLockRole) = false;  // finished records become events instead of queue entries
    // Empty or "OK"; every receive pass without a list of its own uses it.
    std::string answerTerminator MOVA_GUARDED_BY(portLockRole);
    // Milliseconds, by option.
    std::array<std::uint32_t, kFirstTimeouts.size()> timeouts MOVA_GUARDED_BY(portLockRole) = kFirstTimeouts;

    std::uint32_t timeout(Timeout which) const MOVA_REQUIRES(portLockRole) {
        return timeouts[static_cast<std::size_t>(number(which)) - 1];
    }

    // Options 1 to 6; a value below 1 or above 200000 becomes 500; other options are ignored.
    void setTimeout(std::int32_t option, std::int32_t milliseconds) MOVA_REQUIRES(portLockRole) {
        if (option < 1 || option > static_cast<std::int32_t>(timeouts.size())) return;
        constexpr std::int32_t kLongest = 200000;
        constexpr std::uint32_t kInstead = 500;
        timeouts[static_cast<std::size_t>(option) - 1] =
            milliseconds < 1 || milliseconds > kLongest ? kInstead : static_cast<std::uint32_t>(milliseconds);
    }
};

}  // namespace mova
