// A manual-reset event of the system.
#pragma once
#include "platform/Sync.h"
#include "platform/win32/OwnedHandle.h"

namespace mova {

class Win32Event final : public Event {
public:
    Win32Event();
    void set() override;
    void reset() override;
    WaitResult wait(std::uint32_t milliseconds) override;

    HANDLE handle() const { return event_.get(); }  // null when the system refused the event: waits on it fail

private:
    OwnedHandle event_;
};

}  // namespace mova
