#include "platform/win32/Win32Threading.h"

#include <algorithm>
#include <array>

#include "base/MadeOnce.h"
#include "platform/win32/OwnModule.h"
#include "platform/win32/Win32Clock.h"

namespace mova {

namespace {

static_assert(sizeof(SRWLOCK) == sizeof(void*));
static_assert(alignof(SRWLOCK) == alignof(void*));

SRWLOCK* asLock(void** state) { return reinterpret_cast<SRWLOCK*>(state); }

}  // namespace

void Mutex::lock() noexcept { AcquireSRWLockExclusive(asLock(&state_)); }
void Mutex::unlock() noexcept { ReleaseSRWLockExclusive(asLock(&state_)); }

DWORD waitForFirst(std::span<const HANDLE> handles, DWORD milliseconds) {
    constexpr std::size_t kMost = 4;
    const auto count = static_cast<DWORD>(handles.size());
    if (handles.size() < kMost && ShortTimer::isFor(milliseconds)) {
        const ShortTimer timer(milliseconds);
        if (timer) {
            std::array<HANDLE, kMost> all{};
            std::copy(handles.begin(), handles.end(), all.begin());
            all[count] = timer.get();
            const DWORD first = WaitForMultipleObjects(count + 1, all.data(), FALSE, INFINITE);
            return first == WAIT_OBJECT_0 + count ? DWORD{WAIT_TIMEOUT} : first;
        }
    }
    return WaitForMultipleObjects(count, handles.data(), FALSE, milliseconds);
}

Win32Event::Win32Event() : event_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {}

void Win32Event::set() {
    const LockGuard guard(mutex_);
    if (SetEvent(event_.get())) set_.store(true, std::memory_order_release);
}

void Win32Event::reset() {
    const LockGuard guard(mutex_);
    if (ResetEvent(event_.get())) set_.store(false, std::memory_order_relaxed);
}

WaitResult Win32Event::wait(std::uint32_t milliseconds) {
    const HANDLE event = event_.get();
    switch (waitForFirst({&event, 1}, milliseconds)) {
        case WAIT_OBJECT_0: return WaitResult::Signalled;
        case WAIT_TIMEOUT: return WaitResult::TimedOut;
        default: return WaitResult::Failed;
    }
}

namespace {

class Win32RecursiveMutex final : public RecursiveMutex {
public:
    Win32RecursiveMutex() { InitializeCriticalSection(&section_); }
    ~Win32RecursiveMutex() override { DeleteCriticalSection(&section_); }
    Win32RecursiveMutex(const Win32RecursiveMutex&) = delete;
    Win32RecursiveMutex& operator=(const Win32RecursiveMutex&) = delete;

    void lock() MOVA_ACQUIRE() override { EnterCriticalSection(&section_); }
    void unlock() MOVA_RELEASE() override { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_{};
};

// Another account may have made the mutex and allow others no more than to wait for it and to release it.
HANDLE createOrOpen(const char* name) {
    const HANDLE created = CreateMutexA(nullptr, FALSE, name);
    if (created != nullptr || GetLastError() != ERROR_ACCESS_DENIED) return created;
    return OpenMutexA(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, name);
}

RecursiveMutex& processMutex() { return madeOnce<Win32RecursiveMutex>(); }

// The process's mutex is held from acquire() to release(), which the thread safety analysis does not follow.
class Win32NamedMutex final : public NamedMutex {
public:
    explicit Win32NamedMutex(const std::string& name) : mutex_(createOrOpen(name.c_str())) {}

    bool acquire() MOVA_NO_THREAD_SAFETY_ANALYSIS override {
        const DWORD outcome = mutex_ ? WaitForSingleObject(mutex_.get(), INFINITE) : DWORD{WAIT_FAILED};
        if (outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED) return true;
        processMutex().lock();
        ++processMutexHolds_;
        return true;
    }

    void release() MOVA_NO_THREAD_SAFETY_ANALYSIS override {  // by the thread that holds it
        if (processMutexHolds_ > 0) {
            --processMutexHolds_;
            processMutex().unlock();
        } else {
            ReleaseMutex(mutex_.get());
        }
    }

private:
    OwnedHandle mutex_;
    unsigned processMutexHolds_ = 0;  // times that it is held through this object; touched by its holder only
};

constexpr DWORD kTerminationWait = 1000;  // milliseconds

// The thread's reference to the module. The thread at its end, or who terminates it before that, claims it and gives it
// back; while nobody has claimed it this object owns it.
class ModuleShare {
public:
    explicit ModuleShare(ModuleReference reference) : reference_(std::move(reference)) {}
    HMODULE claim() { return claimed_.exchange(true) ? nullptr : reference_.release(); }  // null for the second

private:
    std::atomic<bool> claimed_{false};
    ModuleReference reference_;
};

class Win32Thread final : public Thread {
public:
    static std::unique_ptr<Win32Thread> start(std::function<void()> run) {
        ModuleReference reference = ModuleReference::take();
        if (!reference) return nullptr;
        const auto module = std::make_shared<ModuleShare>(std::move(reference));
        std::unique_ptr<Work> work(new Work{std::move(run), module});
        std::unique_ptr<Win32Thread> thread(new Win32Thread(module));
        thread->handle_ = OwnedHandle(CreateThread(nullptr, 0, &Win32Thread::main, work.get(), 0, &thread->id_));
        if (!thread->handle_) return nullptr;
        static_cast<void>(work.release());  // the thread's from here on
        return thread;
    }

    std::uint32_t id() const override { return id_; }

    void setLowestPriority() override { SetThreadPriority(handle_.get(), THREAD_PRIORITY_LOWEST); }

    bool join(std::uint32_t milliseconds) override {  // false at once on the thread itself
        if (id_ == GetCurrentThreadId()) return false;
        return WaitForSingleObject(handle_.get(), milliseconds) == WAIT_OBJECT_0;
    }

    void terminate() override {
        const HMODULE module = module_->claim();
        if (module == nullptr) return;
        TerminateThread(handle_.get(), 0);
        // A thread that does not end even so keeps its code loaded.
        if (WaitForSingleObject(handle_.get(), kTerminationWait) == WAIT_OBJECT_0) FreeLibrary(module);
    }

private:
    struct Work {
        std::function<void()> run;
        std::shared_ptr<ModuleShare> module;
    };

    explicit Win32Thread(std::shared_ptr<ModuleShare> module) : module_(std::move(module)) {}

    static DWORD WINAPI main(void* argument) noexcept {
        HMODULE module = nullptr;
        {
            const std::unique_ptr<Work> work(static_cast<Work*>(argument));
            try {
                work->run();
            } catch (...) {
                // Nobody is left to be told, and the host must not go down with it.
            }
            work->run = nullptr;
            module = work->module->claim();
        }
        if (module != nullptr) FreeLibraryAndExitThread(module, 0);  // returning would run code that may be gone
        return 0;  // somebody is terminating this thread and keeps the module until it has ended
    }

    const std::shared_ptr<ModuleShare> module_;
    OwnedHandle handle_;
    DWORD id_ = 0;
};

}  // namespace

std::unique_ptr<Event> Win32Threading::makeEvent() { return std::make_unique<Win32Event>(); }

std::unique_ptr<RecursiveMutex> Win32Threading::makeRecursiveMutex() { return std::make_unique<Win32RecursiveMutex>(); }

std::unique_ptr<NamedMutex> Win32Threading::makeNamedMutex(const std::string& name) {
    return std::make_unique<Win32NamedMutex>(name);
}

std::unique_ptr<Thread> Win32Threading::start(std::function<void()> run) { return Win32Thread::start(std::move(run)); }

std::uint32_t Win32Threading::currentThreadId() { return GetCurrentThreadId(); }

}  // namespace mova
