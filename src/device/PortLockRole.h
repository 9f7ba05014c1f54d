// The lock of one object's port, as the compiler checks it. The lock itself is reached through different objects, which
// the analysis cannot tell to be the same; so it is told of one role that stands for it: PortLock takes it, and what is
// marked with it may only be used by who holds the lock.
#pragma once
#include "base/ThreadSafety.h"

namespace mova {

class MOVA_CAPABILITY("the port's lock") PortLockRole {};
inline PortLockRole portLockRole;

}  // namespace mova
