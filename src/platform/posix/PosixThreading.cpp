#include "platform/posix/PosixThreading.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <ctime>
#include <map>
#include <mutex>
#include <thread>

#include "platform/posix/PosixFolders.h"

namespace mova {

namespace {

timespec remainingUntil(Deadline deadline) {
    using namespace std::chrono;
    const auto left = std::max(deadline - steady_clock::now(), steady_clock::duration::zero());
    const auto wholeSeconds = duration_cast<seconds>(left);
    return {static_cast<std::time_t>(wholeSeconds.count()),
            static_cast<long>(duration_cast<nanoseconds>(left - wholeSeconds).count())};
}

}  // namespace

Deadline deadlineAfter(std::uint32_t milliseconds) {
    if (milliseconds == kInfinite) return kNever;
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
}

int pollUntil(std::span<pollfd> descriptors, Deadline deadline) {
    return uninterrupted([&] {
        timespec left{};
        if (deadline != kNever) left = remainingUntil(deadline);
        return ppoll(descriptors.data(), descriptors.size(), deadline == kNever ? nullptr : &left, nullptr);
    });
}

PosixEvent::PosixEvent() : descriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

void PosixEvent::set() {
    const LockGuard guard(mutex_);
    set_.store(static_cast<bool>(descriptor_), std::memory_order_release);
    const std::uint64_t one = 1;
    // A full counter refuses the write and is as set as it can be.
    [[maybe_unused]] const auto written = ::write(descriptor_.get(), &one, sizeof one);
}

void PosixEvent::reset() {
    const LockGuard guard(mutex_);
    set_.store(false, std::memory_order_relaxed);
    std::uint64_t count = 0;
    // One read empties the counter; it fails when there is nothing to reset.
    [[maybe_unused]] const auto got = ::read(descriptor_.get(), &count, sizeof count);
}

WaitResult PosixEvent::wait(std::uint32_t milliseconds) {
    if (!descriptor_) return WaitResult::Failed;  // poll would overlook the descriptor and wait
    pollfd awaited{descriptor_.get(), POLLIN, 0};
    const int ready = pollUntil({&awaited, 1}, deadlineAfter(milliseconds));
    if (ready < 0) return WaitResult::Failed;
    if (ready == 0) return WaitResult::TimedOut;
    acquire();
    return WaitResult::Signalled;
}

namespace {

class PosixRecursiveMutex final : public RecursiveMutex {
public:
    void lock() MOVA_ACQUIRE() override { mutex_.lock(); }
    void unlock() MOVA_RELEASE() override { mutex_.unlock(); }

private:
    std::recursive_mutex mutex_;
};

// All objects of one name in this process share one of these.
struct ProcessLock {
    std::mutex mutex;
    std::condition_variable freed;
    unsigned depth = 0;
    std::thread::id owner;
    FileDescriptor heldFile;  // its lock ends with this process at the latest

    void free() {
        // The file is unlocked, not only closed: a child that was forked meanwhile has it open too.
        if (heldFile) flock(heldFile.get(), LOCK_UN);
        heldFile.reset();
        freed.notify_one();
    }
};

// There is one for each name, kept as long as the process: threads may log while it ends.
ProcessLock& processLock(const PrivateFolder& folder, const std::string& lockFile) {
    static std::mutex& mutex = *new std::mutex;
    static auto& locks = *new std::map<std::string, ProcessLock>;
    const std::lock_guard guard(mutex);
    return locks[folder.wanted() + "/" + lockFile];
}

FileDescriptor openLockFile(const PrivateFolder& folder, const std::string& name) {
    const FileDescriptor start = folder.make();
    if (!start) return {};
    constexpr int kFlags = O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    return FileDescriptor(uninterrupted([&] { return openat(start.get(), name.c_str(), kFlags, 0600); }));
}

class PosixNamedMutex final : public NamedMutex {
public:
    PosixNamedMutex(const PrivateFolder& folder, std::string lockFile)
        : folder_(folder), lockFile_(std::move(lockFile)), lock_(processLock(folder_, lockFile_)) {}

    ~PosixNamedMutex() override {
        if (held_ == 0) return;
        const std::lock_guard guard(lock_.mutex);
        lock_.depth -= held_;
        if (lock_.depth == 0) lock_.free();
    }

    bool acquire() override {
        const auto self = std::this_thread::get_id();
        std::unique_lock guard(lock_.mutex);
        if (lock_.depth > 0 && lock_.owner == self) {
            ++lock_.depth;
            ++held_;
            return true;
        }
        lock_.freed.wait(guard, [this] { return lock_.depth == 0; });
        lock_.depth = 1;
        lock_.owner = self;
        held_ = 1;
        guard.unlock();  // this thread owns it now; only other processes are still to be waited for
        FileDescriptor file = openLockFile(folder_, lockFile_);
        if (file) uninterrupted([&] { return flock(file.get(), LOCK_EX); });
        lock_.heldFile = std::move(file);
        return true;
    }

    void release() override {  // by the holding thread; ignored from any other
        const std::lock_guard guard(lock_.mutex);
        if (lock_.depth == 0 || lock_.owner != std::this_thread::get_id() || held_ == 0) return;
        --held_;
        if (--lock_.depth == 0) lock_.free();
    }

private:
    const PrivateFolder folder_;
    const std::string lockFile_;
    ProcessLock& lock_;
    unsigned held_ = 0;  // times that this object holds it; touched by the holder only
};

constexpr int kLowestPriority = 19;  // the highest nice value

// A thread cannot unload the code that it runs in: from the first thread on the module stays.
void keepModuleLoaded() {
    static const char ownSymbol = 0;
    [[maybe_unused]] static const bool kept = [] {
        Dl_info module{};
        return dladdr(&ownSymbol, &module) != 0 && module.dli_fname != nullptr &&
               dlopen(module.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE) != nullptr;
    }();
}

class PosixThread final : public Thread {
public:
    static std::unique_ptr<PosixThread> start(std::function<void()> run) {
        keepModuleLoaded();
        const auto shared = std::make_shared<Shared>();
        shared->run = std::move(run);
        auto argument = std::make_unique<std::shared_ptr<Shared>>(shared);
        std::unique_ptr<PosixThread> thread(new PosixThread({}, shared));
        if (pthread_create(&thread->thread_, nullptr, &PosixThread::main, argument.get()) != 0) {
            const LockGuard guard(thread->mutex_);
            thread->joined_ = true;  // there is nothing to let go of
            return nullptr;
        }
        static_cast<void>(argument.release());  // the new thread's
        return thread;
    }

    ~PosixThread() override {
        if (!joined_) pthread_detach(thread_);
    }

    std::uint32_t id() const override {
        shared_->id.wait(0);  // until the new thread has said it
        return shared_->id;
    }

    void setLowestPriority() override {
        const std::uint32_t threadId = id();
        const std::lock_guard guard(shared_->mutex);  // the thread cannot end meanwhile and leave its id to another
        if (!shared_->done) setpriority(PRIO_PROCESS, threadId, kLowestPriority);
    }

    bool join(std::uint32_t milliseconds) override {  // false at once on the thread itself
        {
            const LockGuard guard(mutex_);
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
        const LockGuard guard(mutex_);
        // cppcheck-suppress knownConditionTrueFalse ; another thread may have joined while the lock was free
        if (!joined_) pthread_join(thread_, nullptr);  // it is on its way out; afterwards nothing of it is left
        joined_ = true;
        return true;
    }

    void terminate() override {}

private:
    struct Shared {
        std::function<void()> run;
        std::atomic<std::uint32_t> id{0};
        std::mutex mutex;
        std::condition_variable ended;
        bool done = false;
    };

    PosixThread(pthread_t thread, std::shared_ptr<Shared> shared) : thread_(thread), shared_(std::move(shared)) {}

    static void* main(void* argument) {
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

    pthread_t thread_;
    std::shared_ptr<Shared> shared_;
    Mutex mutex_;
    bool joined_ MOVA_GUARDED_BY(mutex_) = false;
};

}  // namespace

std::unique_ptr<Event> PosixThreading::makeEvent() { return std::make_unique<PosixEvent>(); }

std::unique_ptr<RecursiveMutex> PosixThreading::makeRecursiveMutex() { return std::make_unique<PosixRecursiveMutex>(); }

std::unique_ptr<NamedMutex> PosixThreading::makeNamedMutex(const std::string& name) {
    return std::make_unique<PosixNamedMutex>(privateFolder_, entryName(name, ".lock"));
}

std::unique_ptr<Thread> PosixThreading::start(std::function<void()> run) { return PosixThread::start(std::move(run)); }

std::uint32_t PosixThreading::currentThreadId() { return static_cast<std::uint32_t>(gettid()); }

}  // namespace mova
