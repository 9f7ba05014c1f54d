#include <windows.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "handset/Lines.h"

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

HANDLE openPort(const Line& line) {
    const HANDLE port = CreateFileA(("\\\\.\\" + line.port).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    if (port == INVALID_HANDLE_VALUE) return port;
    DCB settings{};
    settings.DCBlength = sizeof settings;
    GetCommState(port, &settings);
    if (line.profile.baudRate != 0) settings.BaudRate = line.profile.baudRate;
    settings.ByteSize = 8;
    settings.Parity = NOPARITY;
    settings.StopBits = ONESTOPBIT;
    settings.fBinary = TRUE;
    SetCommState(port, &settings);
    COMMTIMEOUTS timeouts{1, 0, 1, 0, 0};  // a read ends after a millisecond of silence
    SetCommTimeouts(port, &timeouts);
    return port;
}

class PortHandset {
public:
    explicit PortHandset(const Line& line) : line_(line), port_(openPort(line)), handset_(line.profile) {
        if (!isOpen()) {
            throw LineError(line.port + " does not open (error " + std::to_string(GetLastError()) +
                            "); is it there, and free?");
        }
    }
    PortHandset(const PortHandset&) = delete;
    PortHandset& operator=(const PortHandset&) = delete;
    ~PortHandset() {
        if (thread_.joinable()) thread_.join();
        if (isOpen()) CloseHandle(port_);
    }

    bool isOpen() const { return port_ != INVALID_HANDLE_VALUE; }
    void start() {
        line_.prepare(handset_, nowMicroseconds());
        thread_ = std::thread([this] { serve(); });
    }

private:
    void serve() {
        std::array<char, 4096> buffer{};
        while (!ending && !handset_.takeHangUp()) {
            DWORD count = 0;
            COMSTAT status{};
            DWORD errors = 0;
            if (!ClearCommError(port_, &errors, &status)) break;
            if (status.cbInQue > 0 && ReadFile(port_, buffer.data(), buffer.size(), &count, nullptr) && count > 0) {
                handset_.receive(std::string_view(buffer.data(), count), nowMicroseconds());
            }
            const std::string out = handset_.due(nowMicroseconds());
            if (!out.empty()) WriteFile(port_, out.data(), static_cast<DWORD>(out.size()), &count, nullptr);
            if (count == 0) Sleep(1);
        }
        line_.finish(handset_);
    }

    const Line& line_;
    const HANDLE port_;
    Handset handset_;
    std::thread thread_;
};

}  // namespace

void serveLines(std::span<const Line> lines, const std::string& readyFile) {
    std::vector<std::unique_ptr<PortHandset>> handsets;
    for (const Line& line : lines) {
        if (line.port.empty()) {
            throw LineError("name the port to answer on, for instance --port COM8");
        }
        handsets.emplace_back(std::make_unique<PortHandset>(line));
    }
    SetConsoleCtrlHandler(endOnControl, TRUE);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        handsets[i]->start();
        std::printf("%s\n", lines[i].port.c_str());
    }
    std::fflush(stdout);
    makeReadyFile(readyFile);
    handsets.clear();  // waits for each
}

}  // namespace mova::handset
