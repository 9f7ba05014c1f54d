// A mutex that all processes of the session share by its name, recursive on its thread.
// Where the system has none to give, one lock of this process stands in: acquire() must come back with something held,
// or a log line would hang its caller.
#pragma once
#include <string>

#include "platform/Sync.h"
#include "platform/win32/OwnedHandle.h"

namespace mova {

class Win32NamedMutex final : public NamedMutex {
public:
    explicit Win32NamedMutex(const std::string& name);
    bool acquire() override;
    void release() override;  // by the thread that holds it

private:
    OwnedHandle mutex_;
    unsigned standInHolds_ = 0;  // times that the stand-in is held through this object; touched by its holder only
};

}  // namespace mova
