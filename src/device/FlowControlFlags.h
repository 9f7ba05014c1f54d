// What a flow-control mode means for the flags of a port's line settings.
#pragma once
#include <cstdint>

namespace mova {

// mode: FlowControl; every number outside it is FlowControl::None. portFlags: what the port reported; bits that flow
// control does not govern stay as they are there.
std::uint32_t flowControlFlags(std::uint8_t mode, std::uint32_t portFlags);

}  // namespace mova
