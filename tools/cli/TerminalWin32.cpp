#include <windows.h>

#include "cli/Terminal.h"

namespace mova::cli {

namespace {

HANDLE handleOf(Stream stream) {
    return GetStdHandle(stream == Stream::In    ? STD_INPUT_HANDLE
                        : stream == Stream::Out ? STD_OUTPUT_HANDLE
                                                : STD_ERROR_HANDLE);
}

bool takesEscapes(Stream stream) {
    constexpr DWORD kEscapeSequences = 0x0004;  // older headers do not name it
    DWORD mode = 0;
    return GetConsoleMode(handleOf(stream), &mode) && SetConsoleMode(handleOf(stream), mode | kEscapeSequences);
}

}  // namespace

bool isTerminal(Stream stream) {
    DWORD mode = 0;
    return GetConsoleMode(handleOf(stream), &mode) != 0;
}

bool readerGone() { return false; }  // shows at the next write

int terminalWidth() {
    constexpr int kUsual = 80;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(handleOf(Stream::Error), &info)) return kUsual;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

bool terminalTakesColours() { return takesEscapes(Stream::Out) && takesEscapes(Stream::Error); }

}  // namespace mova::cli
