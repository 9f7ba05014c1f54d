// A started thread. Its function's captures are destroyed on the thread, before it counts as ended.
#pragma once
#include <pthread.h>

#include <functional>
#include <memory>
#include <mutex>

#include "platform/Sync.h"

namespace mova {

class PosixThread final : public Thread {
public:
    // Null when the system has no thread left to give.
    static std::unique_ptr<PosixThread> start(std::function<void()> run);
    ~PosixThread() override;

    std::uint32_t id() const override;               // the kernel's thread id
    void setLowestPriority() override;               // the highest nice value; a refusal is ignored
    bool join(std::uint32_t milliseconds) override;  // false at once on the thread itself
    void terminate() override {}                     // no safe way: the thread is left to itself

private:
    struct Shared;
    PosixThread(pthread_t thread, std::shared_ptr<Shared> shared);
    static void* main(void* argument);

    pthread_t thread_;
    std::shared_ptr<Shared> shared_;
    std::mutex mutex_;
    bool joined_ = false;
};

}  // namespace mova
