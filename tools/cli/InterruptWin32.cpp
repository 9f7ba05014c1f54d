#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "cli/Interrupt.h"
#include "cli/StandardInput.h"
#include "program/ExitStatus.h"

namespace mova::cli {

namespace {

std::atomic<bool> noted{false};
std::atomic<unsigned> forgotten{0};

// Runs in a thread of its own.
BOOL WINAPI note(DWORD) {
    constexpr DWORD kMilliseconds = 1000;
    const unsigned before = forgotten;
    if (noted.exchange(true)) {
        restoreTerminal();
        std::_Exit(static_cast<int>(ExitStatus::Interrupted));
    }
    Sleep(kPatience * kMilliseconds);
    if (forgotten == before) {
        restoreTerminal();
        std::fputs("mova: interrupted while something would not end\n", stderr);
        std::_Exit(static_cast<int>(ExitStatus::Interrupted));
    }
    return TRUE;
}

}  // namespace

void watchForInterrupt() { SetConsoleCtrlHandler(note, TRUE); }

bool interrupted() { return noted; }

void forgetInterrupt() {
    ++forgotten;
    noted = false;
}

}  // namespace mova::cli
