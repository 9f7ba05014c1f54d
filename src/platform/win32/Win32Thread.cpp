#include "platform/win32/Win32Thread.h"

#include <atomic>

#include "platform/win32/OwnModule.h"

namespace mova {

namespace {
constexpr DWORD kTerminationWait = 1000;  // milliseconds
}

// The thread's reference to the module. The thread at its end, or who terminates it before that, claims it and gives it
// back; while nobody has claimed it this object owns it.
class Win32Thread::ModuleShare {
public:
    explicit ModuleShare(ModuleReference reference) : reference_(std::move(reference)) {}
    HMODULE claim() { return claimed_.exchange(true) ? nullptr : reference_.release(); }  // null for the second

private:
    std::atomic<bool> claimed_{false};
    ModuleReference reference_;
};

struct Win32Thread::Work {
    std::function<void()> run;
    std::shared_ptr<ModuleShare> module;
};

std::unique_ptr<Win32Thread> Win32Thread::start(std::function<void()> run) {
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

DWORD WINAPI Win32Thread::main(void* argument) noexcept {
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

void Win32Thread::setLowestPriority() { SetThreadPriority(handle_.get(), THREAD_PRIORITY_LOWEST); }

bool Win32Thread::join(std::uint32_t milliseconds) {
    if (id_ == GetCurrentThreadId()) return false;
    return WaitForSingleObject(handle_.get(), milliseconds) == WAIT_OBJECT_0;
}

void Win32Thread::terminate() {
    const HMODULE module = module_->claim();
    if (module == nullptr) return;
    TerminateThread(handle_.get(), 0);
    // A thread that does not end even so keeps its code loaded.
    if (WaitForSingleObject(handle_.get(), kTerminationWait) == WAIT_OBJECT_0) FreeLibrary(module);
}

}  // namespace mova
