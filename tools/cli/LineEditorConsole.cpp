#include <windows.h>

#include <cstdio>
#include <iostream>

#include "cli/Interrupt.h"
#include "cli/LineEditor.h"

namespace mova::cli {

namespace {

void show(const std::string& prompt) {
    std::fputs(prompt.c_str(), stdout);
    std::fflush(stdout);
}

// Something else than a key, as the window's focus, would leave the console with nothing to read.
bool keyWaits(HANDLE console) {
    INPUT_RECORD record{};
    DWORD count = 0;
    while (PeekConsoleInputW(console, &record, 1, &count) && count == 1) {
        if (record.EventType == KEY_EVENT && record.Event.KeyEvent.bKeyDown) return true;
        ReadConsoleInputW(console, &record, 1, &count);
    }
    return false;
}

// The console edits the line by itself, and says nothing until it ends: the looks stop with its first key.
template <class Idle>
void restUntilKey(const std::string& prompt, const Idle& idle) {
    constexpr DWORD kLook = 50;  // milliseconds
    constexpr DWORD kWaits = WAIT_OBJECT_0;
    const HANDLE console = GetStdHandle(STD_INPUT_HANDLE);
    for (DWORD seen = WAIT_TIMEOUT; seen == WAIT_TIMEOUT || (seen == kWaits && !keyWaits(console));) {
        if (seen == WAIT_TIMEOUT && idle()) show(prompt);
        if (interrupted()) return;
        seen = WaitForSingleObject(console, kLook);
    }
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): as it is declared for both systems
LineEditor::LineEditor(std::string historyFile, Completer, Secret secret, Idle idle)
    : historyFile_(std::move(historyFile)), secret_(std::move(secret)), idle_(std::move(idle)) {}

LineEditor::~LineEditor() = default;

std::optional<std::string> LineEditor::readLine(const std::string& prompt) {
    show(prompt);
    restUntilKey(prompt, idle_);
    std::string line;
    if (!std::getline(std::cin, line)) {
        std::cin.clear();
        return std::nullopt;
    }
    return line;
}

std::string defaultHistoryFile() { return {}; }

}  // namespace mova::cli
