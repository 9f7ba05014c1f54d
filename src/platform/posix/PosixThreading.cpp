#include "platform/posix/PosixThreading.h"

#include <unistd.h>

#include <mutex>

#include "platform/posix/ChannelDir.h"
#include "platform/posix/PosixEvent.h"
#include "platform/posix/PosixNamedMutex.h"
#include "platform/posix/PosixThread.h"

namespace mova {

namespace {

class PosixMutex final : public Mutex {
public:
    void lock() override { mutex_.lock(); }
    void unlock() override { mutex_.unlock(); }

private:
    std::recursive_mutex mutex_;
};

}  // namespace

std::unique_ptr<Event> PosixThreading::makeEvent() { return std::make_unique<PosixEvent>(); }

std::unique_ptr<Mutex> PosixThreading::makeMutex() { return std::make_unique<PosixMutex>(); }

std::unique_ptr<NamedMutex> PosixThreading::makeNamedMutex(const std::string& name) {
    return std::make_unique<PosixNamedMutex>(channelPath(lockFolder_, name, ".lock"));
}

std::unique_ptr<Thread> PosixThreading::start(std::function<void()> run) { return PosixThread::start(std::move(run)); }

std::uint32_t PosixThreading::currentThreadId() { return static_cast<std::uint32_t>(gettid()); }

}  // namespace mova
