#include <windows.h>

#include "cli/LiveLines.h"

namespace mova::cli {

int terminalHeight() {
    constexpr int kUsual = 24;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info)) return kUsual;
    return info.srWindow.Bottom - info.srWindow.Top + 1;
}

}  // namespace mova::cli
