// The DLL as a 32-bit program may be loaded and unloaded without end. The compiler's runtime there runs a pthread_once while the
// DLL is loaded (it enters its table of exception handlers), and that of the thread library makes a record of the calling
// thread: two handles and a thread-local slot, which the system's loader can not give back when the DLL goes. The linker
// leads such calls here (--wrap).
#include <windows.h>

namespace {
constexpr LONG kNever = 0;
constexpr LONG kRunning = 1;
constexpr LONG kDone = 2;
}  // namespace

extern "C" int __wrap_pthread_once(volatile LONG* once, void (*initialise)());

extern "C" int __wrap_pthread_once(volatile LONG* once, void (*initialise)()) {
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
