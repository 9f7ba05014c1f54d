#include <windows.h>

#include <array>
#include <atomic>
#include <cstdio>

#include "handset/Options.h"

namespace mova::handset {

namespace {

std::atomic<bool> ending{false};

BOOL WINAPI endOnControl(DWORD) {
    ending = true;
    return TRUE;
}

std::uint64_t nowMicroseconds() {
    LARGE_INTEGER count, frequency;
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    constexpr std::uint64_t kSecond = 1'000'000;
    const auto ticks = static_cast<std::uint64_t>(count.QuadPart);
    const auto perSecond = static_cast<std::uint64_t>(frequency.QuadPart);
    return ticks / perSecond * kSecond + ticks % perSecond * kSecond / perSecond;
}

HANDLE openPort(const Options& options) {
    const HANDLE port = CreateFileA(("\\\\.\\" + options.port).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    if (port == INVALID_HANDLE_VALUE) return port;
    DCB settings{};
    settings.DCBlength = sizeof settings;
    GetCommState(port, &settings);
    if (options.profile.baudRate != 0) settings.BaudRate = options.profile.baudRate;
    settings.ByteSize = 8;
    settings.Parity = NOPARITY;
    settings.StopBits = ONESTOPBIT;
    settings.fBinary = TRUE;
    SetCommState(port, &settings);
    COMMTIMEOUTS timeouts{1, 0, 1, 0, 0};  // a read ends after a millisecond of silence
    SetCommTimeouts(port, &timeouts);
    return port;
}

}  // namespace

int serveLine(const Options& options) {
    if (options.port.empty()) {
        std::fprintf(stderr, "mova-handset: name the port to answer on, for instance --port COM8\n");
        return 1;
    }
    const HANDLE port = openPort(options);
    if (port == INVALID_HANDLE_VALUE) {
        std::fprintf(stderr, "mova-handset: %s does not open (error %lu); is it there, and free?\n", options.port.c_str(),
                     GetLastError());
        return 1;
    }
    SetConsoleCtrlHandler(endOnControl, TRUE);
    Handset handset(options.profile);
    options.prepare(handset, nowMicroseconds());
    std::printf("%s\n", options.port.c_str());
    std::fflush(stdout);
    makeReadyFile(options.readyFile);
    std::array<char, 4096> buffer;
    while (!ending && !handset.takeHangUp()) {
        DWORD count = 0;
        COMSTAT status{};
        DWORD errors = 0;
        if (!ClearCommError(port, &errors, &status)) break;
        if (status.cbInQue > 0 && ReadFile(port, buffer.data(), buffer.size(), &count, nullptr) && count > 0) {
            handset.receive(std::string_view(buffer.data(), count), nowMicroseconds());
        }
        const std::string out = handset.due(nowMicroseconds());
        if (!out.empty()) WriteFile(port, out.data(), static_cast<DWORD>(out.size()), &count, nullptr);
        if (count == 0) Sleep(1);
    }
    options.finish(handset);
    CloseHandle(port);
    return 0;
}

}  // namespace mova::handset
