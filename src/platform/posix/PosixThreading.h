// Events, mutexes and threads of Linux.
#pragma once
#include <string>

#include "platform/Sync.h"

namespace mova {

class PosixThreading final : public Threading {
public:
    // lockFolder: where the lock files of the named mutexes are ("NAME.lock").
    explicit PosixThreading(std::string lockFolder) : lockFolder_(std::move(lockFolder)) {}

    std::unique_ptr<Event> makeEvent() override;
    std::unique_ptr<Mutex> makeMutex() override;
    std::unique_ptr<NamedMutex> makeNamedMutex(const std::string& name) override;
    std::unique_ptr<Thread> start(std::function<void()> run) override;
    std::uint32_t currentThreadId() override;

private:
    std::string lockFolder_;
};

}  // namespace mova
