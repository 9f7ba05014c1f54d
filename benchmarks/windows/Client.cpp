// What a Windows client pays: an object's creation and release, and AT exchanges through the COM interface beside bare
// loops of the system's calls. Prints JSON lines as the other programs do.
//
//   bench-client.exe FIRST_PORT SAMPLES NAME    four ports from the first one on have equal handsets behind them; the
//                                               second one is listed as a port on USB
#include <ole2.h>
#include <windows.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "MovaCmdSvr.h"
#include "support/Report.h"

namespace {

using mova::bench::quantile;
using mova::bench::Row;

double nowMilliseconds() {
    LARGE_INTEGER count, frequency;
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(count.QuadPart) * 1000 / static_cast<double>(frequency.QuadPart);
}

void report(const std::string& group, const std::string& name, const std::string& who,
            const std::vector<double>& milliseconds) {
    Row(group, name, who)
        .number("samples", static_cast<double>(milliseconds.size()))
        .number("median_ms", quantile(milliseconds, 0.5))
        .number("p99_ms", quantile(milliseconds, 0.99))
        .print();
}

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench-client: %s\n", what);
    std::exit(1);  // NOLINT(concurrency-mt-unsafe): one thread
}

// --- the limits

// A port that does as little as it can. AtOnce: the command goes out in one write that blocks. ByteByByte: the port is
// opened for overlapped transfers, and each byte is a write of its own, whose end is awaited. These are the two ways
// in which the object writes, to a port on USB and to any other.
class BarePort {
public:
    enum class Manner { AtOnce, ByteByByte };

    BarePort(int number, Manner manner) : manner_(manner) {
        const std::string path = "\\\\.\\COM" + std::to_string(number);
        const DWORD flags = overlapped() ? FILE_FLAG_OVERLAPPED : 0;
        port_ = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, flags, nullptr);
        if (port_ == INVALID_HANDLE_VALUE) fail("the bare port did not open");
        COMMTIMEOUTS timeouts{};  // a read waits for its bytes
        SetCommTimeouts(port_, &timeouts);
        done_ = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    }
    ~BarePort() {
        CloseHandle(port_);
        CloseHandle(done_);
    }
    BarePort(const BarePort&) = delete;
    BarePort& operator=(const BarePort&) = delete;

    // After the command one byte is awaited and what came with it is read, until "OK".
    bool exchange(const std::string& command) {
        const std::size_t portion = overlapped() ? 1 : command.size();
        for (std::size_t at = 0; at < command.size(); at += portion) {
            if (write(command.data() + at, portion) != portion) return false;
        }
        std::string answer;
        while (!answer.ends_with("OK\r\n")) {
            if (!readInto(answer, 1)) return false;
            COMSTAT status{};
            DWORD errors = 0;
            ClearCommError(port_, &errors, &status);
            if (status.cbInQue > 0 && !readInto(answer, status.cbInQue)) return false;
        }
        return true;
    }

private:
    bool overlapped() const { return manner_ == Manner::ByteByByte; }

    DWORD write(const char* data, std::size_t length) {
        OVERLAPPED record{};
        return moved(WriteFile(port_, data, static_cast<DWORD>(length), &count_, begin(record)), record);
    }
    bool readInto(std::string& answer, DWORD most) {
        char buffer[2048];
        OVERLAPPED record{};
        const DWORD got =
            moved(ReadFile(port_, buffer, std::min<DWORD>(most, sizeof buffer), &count_, begin(record)), record);
        answer.append(buffer, got);
        return got > 0;
    }
    OVERLAPPED* begin(OVERLAPPED& record) {
        record.hEvent = done_;
        return overlapped() ? &record : nullptr;
    }
    // The bytes that a transfer has moved when it is over.
    DWORD moved(BOOL begun, OVERLAPPED& record) {
        if (!overlapped()) return begun ? count_ : 0;
        if (!begun) {
            if (GetLastError() != ERROR_IO_PENDING) return 0;
            WaitForSingleObject(done_, INFINITE);
        }
        DWORD count = 0;
        return GetOverlappedResult(port_, &record, &count, FALSE) ? count : 0;
    }

    const Manner manner_;
    HANDLE port_;
    HANDLE done_;
    DWORD count_ = 0;
};

// --- the component

IVeCmdManager* makeManager() {
    IVeCmdManager* manager = nullptr;
    CoCreateInstance(__uuidof(VeCmdManager), nullptr, CLSCTX_INPROC_SERVER, __uuidof(IVeCmdManager),
                     reinterpret_cast<void**>(&manager));
    if (manager == nullptr) fail("the component cannot be created; is it registered?");
    return manager;
}

bool exchange(IVeCmdManager* manager) {
    BSTR parameter = SysAllocString(L"");
    BSTR text = nullptr;
    LONG code = 1;
    manager->SpecificInfo(0, 0, parameter, &text, &code);
    const bool good = code == 0 && SysStringLen(text) > 0;
    SysFreeString(parameter);
    SysFreeString(text);
    return good;
}

IVeCmdManager* openManager(int port) {
    IVeCmdManager* const manager = makeManager();
    manager->put_CommPortId(port);
    manager->AssignTimeoutConstant(5, 60'000);
    ULONG code = 1;
    manager->InitCmdManager(0, &code);
    if (code != 0) fail("the object's port did not open");
    manager->SwitchOperateMode(3, 0, &code);
    return manager;
}

void exchanges(int firstPort, int samples, const std::string& name) {
    IVeCmdManager* const plain = openManager(firstPort);
    IVeCmdManager* const onUsb = openManager(firstPort + 1);
    BarePort atOnce(firstPort + 2, BarePort::Manner::AtOnce);
    BarePort byteByByte(firstPort + 3, BarePort::Manner::ByteByByte);
    struct Party {
        const char* who = "";
        std::function<bool()> exchange;
        std::vector<double> milliseconds = {};
    };
    Party parties[] = {
        {"component", [&] { return exchange(plain); }},
        {"component, port on USB", [&] { return exchange(onUsb); }},
        {"bare Win32 loop", [&] { return atOnce.exchange("AT%V\r"); }},
        {"bare Win32 loop, byte by byte", [&] { return byteByByte.exchange("AT%V\r"); }},
    };
    for (int i = 0; i <= samples; ++i) {  // in turn, so that a noisy machine disturbs all alike
        for (Party& party : parties) {
            const double start = nowMilliseconds();
            if (!party.exchange()) fail(party.who);
            if (i > 0) party.milliseconds.push_back(nowMilliseconds() - start);  // the first ones warm up
        }
    }
    for (const Party& party : parties) report("wine", "AT exchange under Wine, " + name, party.who, party.milliseconds);
    plain->Release();
    onUsb->Release();
}

// --- lifetimes

void lifetimes(int samples) {
    CLSID dictionary{};
    const bool known = SUCCEEDED(CLSIDFromProgID(L"Scripting.Dictionary", &dictionary));
    std::vector<double> component, peer;
    IVeCmdManager* const keeps = makeManager();  // the module stays loaded
    for (int i = 0; i < samples; ++i) {
        double start = nowMilliseconds();
        makeManager()->Release();
        component.push_back(nowMilliseconds() - start);
        if (!known) continue;
        start = nowMilliseconds();
        IUnknown* other = nullptr;
        if (FAILED(CoCreateInstance(dictionary, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                    reinterpret_cast<void**>(&other)))) {
            fail("no dictionary");
        }
        other->Release();
        peer.push_back(nowMilliseconds() - start);
    }
    keeps->Release();
    report("lifetime", "COM object created and released under Wine", "component", component);
    report("lifetime", "COM object created and released under Wine", "Scripting.Dictionary", peer);
}

int numberOf(const char* text) { return static_cast<int>(std::strtol(text, nullptr, 10)); }

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) fail("FIRST_PORT SAMPLES NAME");
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const int samples = numberOf(argv[2]);
    exchanges(numberOf(argv[1]), samples, argv[3]);
    if (argv[3][0] == 'l') lifetimes(samples / 8 + 1);  // once, with "line rate 0"
    CoUninitialize();
}
