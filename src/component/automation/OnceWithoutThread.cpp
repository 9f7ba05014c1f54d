// Hosts load and unload the DLL again and again. In 32 bit the compiler's runtime runs a pthread_once while the DLL is being loaded
// (it enters its table of exception handlers), for which the thread library would make a record of the calling thread: two
// handles and a thread-local slot that nobody gives back when the DLL goes. The linker leads such calls here (--wrap).
#ifndef _WIN64
#include <pthread.h>
#include <windows.h>

namespace {
constexpr LONG kNever = PTHREAD_ONCE_INIT;
constexpr LONG kRunning = 1;
constexpr LONG kDone = 2;
static_assert(sizeof(pthread_once_t) == sizeof(LONG));
}  // namespace

extern "C" int __wrap_pthread_once(pthread_once_t* once, void (*initialise)());

extern "C" int __wrap_pthread_once(pthread_once_t* once, void (*initialise)()) {
    for (;;) {
        switch (InterlockedCompareExchange(once, kRunning, kNever)) {
            case kNever:
                initialise();
                InterlockedExchange(once, kDone);
                return 0;
            case kDone: return 0;
            default: SwitchToThread();
        }
    }
}
#endif
