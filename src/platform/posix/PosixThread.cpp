#include "platform/posix/PosixThread.h"

#include <dlfcn.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>

#include "platform/posix/PosixWait.h"

namespace mova {

struct PosixThread::Shared {
    std::function<void()> run;
    std::atomic<std::uint32_t> id{0};
    std::mutex mutex;
    std::condition_variable ended;
    bool done = false;
};

namespace {

constexpr int kLowestPriority = 19;  // nice value

// A thread cannot unload the code that it runs in: from the first thread on the module stays.
void keepModuleLoaded() {
    static const char ownSymbol = 0;
    [[maybe_unused]] static const bool kept = [] {
        Dl_info module{};
        return dladdr(&ownSymbol, &module) != 0 && module.dli_fname != nullptr &&
               dlopen(module.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE) != nullptr;
    }();
}

}  // namespace

PosixThread::PosixThread(pthread_t thread, std::shared_ptr<Shared> shared)
    : thread_(thread), shared_(std::move(shared)) {}

PosixThread::~PosixThread() {
    if (!joined_) pthread_detach(thread_);
}

std::unique_ptr<PosixThread> PosixThread::start(std::function<void()> run) {
    keepModuleLoaded();
    const auto shared = std::make_shared<Shared>();
    shared->run = std::move(run);
    auto argument = std::make_unique<std::shared_ptr<Shared>>(shared);
    std::unique_ptr<PosixThread> thread(new PosixThread({}, shared));
    if (pthread_create(&thread->thread_, nullptr, &PosixThread::main, argument.get()) != 0) {
        thread->joined_ = true;  // there is nothing to let go of
        return nullptr;
    }
    static_cast<void>(argument.release());  // the new thread's
    return thread;
}

void* PosixThread::main(void* argument) {
    const std::unique_ptr<std::shared_ptr<Shared>> owned(static_cast<std::shared_ptr<Shared>*>(argument));
    Shared& shared = **owned;
    shared.id = static_cast<std::uint32_t>(gettid());
    shared.id.notify_all();
    shared.run();
    shared.run = nullptr;
    const std::lock_guard guard(shared.mutex);
    shared.done = true;
    shared.ended.notify_all();
    return nullptr;
}

std::uint32_t PosixThread::id() const {
    shared_->id.wait(0);  // until the new thread has said it
    return shared_->id;
}

void PosixThread::setLowestPriority() {
    const std::uint32_t threadId = id();
    const std::lock_guard guard(shared_->mutex);  // the thread cannot end meanwhile and leave its id to another
    if (!shared_->done) setpriority(PRIO_PROCESS, threadId, kLowestPriority);
}

bool PosixThread::join(std::uint32_t milliseconds) {
    {
        const std::lock_guard guard(mutex_);
        if (joined_) return true;
    }
    if (pthread_equal(pthread_self(), thread_)) return false;
    {
        std::unique_lock lock(shared_->mutex);
        const auto done = [this] { return shared_->done; };
        if (milliseconds == kInfinite) {
            shared_->ended.wait(lock, done);
        } else if (!shared_->ended.wait_until(lock, deadlineAfter(milliseconds), done)) {
            return false;
        }
    }
    const std::lock_guard guard(mutex_);
    // cppcheck-suppress knownConditionTrueFalse ; another thread may have joined while the lock was free
    if (!joined_) pthread_join(thread_, nullptr);  // it is on its way out; afterwards nothing of it is left
    joined_ = true;
    return true;
}

}  // namespace mova
