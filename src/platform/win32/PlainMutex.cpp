#include "platform/PlainMutex.h"

#include "platform/win32/WindowsApi.h"

namespace mova {

namespace {

static_assert(sizeof(SRWLOCK) == sizeof(void*));
static_assert(alignof(SRWLOCK) == alignof(void*));

SRWLOCK* asLock(void** state) { return reinterpret_cast<SRWLOCK*>(state); }

}  // namespace

void PlainMutex::lock() noexcept { AcquireSRWLockExclusive(asLock(&state_)); }
bool PlainMutex::try_lock() noexcept { return TryAcquireSRWLockExclusive(asLock(&state_)) != 0; }
void PlainMutex::unlock() noexcept { ReleaseSRWLockExclusive(asLock(&state_)); }

}  // namespace mova
