#include "device/FlowControlFlags.h"

#include <algorithm>
#include <array>

#include "mova/Options.h"
#include "platform/SerialDriver.h"

namespace mova {

namespace {

// Every mode governs these bits: it clears those that it does not set.
constexpr std::uint32_t kGovernedFlags = LineFlags::Parity | LineFlags::OutCtsFlow | LineFlags::OutDsrFlow |
                                         LineFlags::DtrControlMask | LineFlags::DsrSensitivity | LineFlags::OutX |
                                         LineFlags::InX | LineFlags::RtsControlMask;

struct Row {
    FlowControl mode;
    std::uint32_t flags;
};

constexpr std::array kRows{
    Row{FlowControl::RtsHandshake, LineFlags::RtsHandshake | LineFlags::DtrOn},
    Row{FlowControl::RtsCts, LineFlags::RtsHandshake | LineFlags::DtrOn | LineFlags::OutCtsFlow},
    Row{FlowControl::DtrHandshake, LineFlags::DtrHandshake | LineFlags::RtsOn},
    Row{FlowControl::DtrDsr, LineFlags::DtrHandshake | LineFlags::RtsOn | LineFlags::OutDsrFlow},
    Row{FlowControl::XonXoffOut, LineFlags::DtrOn | LineFlags::RtsOn | LineFlags::OutX},
    Row{FlowControl::XonXoffIn, LineFlags::DtrOn | LineFlags::RtsOn | LineFlags::InX},
    Row{FlowControl::XonXoff, LineFlags::DtrOn | LineFlags::RtsOn | LineFlags::OutX | LineFlags::InX},
};
constexpr std::uint32_t kNone = LineFlags::DtrOn | LineFlags::RtsOn;

}  // namespace

std::uint32_t flowControlFlags(std::uint8_t mode, std::uint32_t portFlags) {
    const auto* const row =
        std::find_if(kRows.begin(), kRows.end(), [&](const Row& r) { return number(r.mode) == mode; });
    const std::uint32_t flags = row == kRows.end() ? kNone : row->flags;
    return (portFlags & ~kGovernedFlags) | LineFlags::AbortOnError | flags;
}

}  // namespace mova
