// Threads, events and mutexes of Windows.
#pragma once
#include "platform/Sync.h"

namespace mova {

class Win32Threading final : public Threading {
public:
    std::unique_ptr<Event> makeEvent() override;
    std::unique_ptr<Mutex> makeMutex() override;
    std::unique_ptr<NamedMutex> makeNamedMutex(const std::string& name) override;
    std::unique_ptr<Thread> start(std::function<void()> run) override;
    std::uint32_t currentThreadId() override;
};

}  // namespace mova
