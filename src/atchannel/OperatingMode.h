// The operating modes: who receives the handset's answers, and what ends one.
#pragma once
#include <cstdint>

#include "transport/Session.h"

namespace mova {

// Every number outside the table is the plain synchronous mode.
void setOperatingMode(Session& session, std::uint32_t option) MOVA_REQUIRES(portLockRole);

}  // namespace mova
