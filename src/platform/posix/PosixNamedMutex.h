// A system-wide mutex: a lock file keeps processes apart, a lock inside the process its threads and objects.
// Recursive on its thread, as the system's named mutexes are elsewhere. Where the lock file cannot be opened it still
// keeps the threads of this process apart.
#pragma once
#include <string>

#include "platform/Sync.h"

namespace mova {

class PosixNamedMutex final : public NamedMutex {
public:
    explicit PosixNamedMutex(const std::string& lockFile);
    ~PosixNamedMutex() override;  // an object that goes while it holds the mutex frees it
    bool acquire() override;
    void release() override;  // by the holding thread; ignored from any other

private:
    struct ProcessLock;
    static ProcessLock& processLock(const std::string& lockFile);

    ProcessLock& lock_;
    unsigned held_ = 0;  // times that this object holds it; touched by the holder only
};

}  // namespace mova
