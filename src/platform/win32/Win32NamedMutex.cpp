#include "platform/win32/Win32NamedMutex.h"

#include "base/MadeOnce.h"
#include "platform/win32/Win32Mutex.h"

namespace mova {

namespace {

// Another account may have made the mutex and allow others no more than to wait for it and to release it.
HANDLE createOrOpen(const char* name) {
    const HANDLE created = CreateMutexA(nullptr, FALSE, name);
    if (created != nullptr || GetLastError() != ERROR_ACCESS_DENIED) return created;
    return OpenMutexA(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, name);
}

Mutex& standIn() { return madeOnce<Win32Mutex>(); }

}  // namespace

Win32NamedMutex::Win32NamedMutex(const std::string& name) : mutex_(createOrOpen(name.c_str())) {}

bool Win32NamedMutex::acquire() {
    const DWORD outcome = mutex_ ? WaitForSingleObject(mutex_.get(), INFINITE) : DWORD{WAIT_FAILED};
    if (outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED) return true;
    standIn().lock();
    ++standInHolds_;
    return true;
}

void Win32NamedMutex::release() {
    if (standInHolds_ > 0) {
        --standInHolds_;
        standIn().unlock();
    } else {
        ReleaseMutex(mutex_.get());
    }
}

}  // namespace mova
