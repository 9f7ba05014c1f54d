// A mutex between the threads of this process.
#pragma once
#include "platform/Sync.h"
#include "platform/win32/WindowsApi.h"

namespace mova {

class Win32Mutex final : public Mutex {
public:
    Win32Mutex() { InitializeCriticalSection(&section_); }
    ~Win32Mutex() override { DeleteCriticalSection(&section_); }
    Win32Mutex(const Win32Mutex&) = delete;
    Win32Mutex& operator=(const Win32Mutex&) = delete;

    void lock() override { EnterCriticalSection(&section_); }
    void unlock() override { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};

}  // namespace mova
