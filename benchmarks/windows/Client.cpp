// What a Windows client pays: an object's creation and release, and AT exchanges through the COM interface beside a
// bare loop of the system's calls. Prints JSON lines as the other programs do.
//
//   bench-client.exe OBJECT_PORT BARE_PORT SAMPLES NAME    the ports have equal handsets behind them
#include <ole2.h>
#include <windows.h>

#include <cstdlib>
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

// --- the limit

class BarePort {
public:
    explicit BarePort(int number) {
        const std::string path = "\\\\.\\COM" + std::to_string(number);
        port_ = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        if (port_ == INVALID_HANDLE_VALUE) fail("the bare port did not open");
        COMMTIMEOUTS timeouts{};  // a read waits for its bytes
        SetCommTimeouts(port_, &timeouts);
    }
    ~BarePort() { CloseHandle(port_); }

    // One write; then one byte is awaited and what came with it is read, until "OK".
    bool exchange(const std::string& command) {
        DWORD count = 0;
        if (!WriteFile(port_, command.data(), static_cast<DWORD>(command.size()), &count, nullptr)) return false;
        std::string answer;
        while (!answer.ends_with("OK\r\n")) {
            char buffer[2048];
            if (!ReadFile(port_, buffer, 1, &count, nullptr)) return false;
            answer.append(buffer, count);
            COMSTAT status{};
            DWORD errors = 0;
            ClearCommError(port_, &errors, &status);
            if (status.cbInQue == 0) continue;
            if (!ReadFile(port_, buffer, std::min<DWORD>(status.cbInQue, sizeof buffer), &count, nullptr)) return false;
            answer.append(buffer, count);
        }
        return true;
    }

private:
    HANDLE port_;
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

void exchanges(int objectPort, int barePort, int samples, const std::string& name) {
    IVeCmdManager* const manager = makeManager();
    manager->put_CommPortId(objectPort);
    manager->AssignTimeoutConstant(5, 60'000);
    ULONG code = 1;
    manager->InitCmdManager(0, &code);
    if (code != 0) fail("the object's port did not open");
    manager->SwitchOperateMode(3, 0, &code);
    {
        BarePort bare(barePort);
        std::vector<double> component, limit;
        for (int i = 0; i <= samples; ++i) {  // the first ones warm up
            double start = nowMilliseconds();
            if (!bare.exchange("AT%V\r")) fail("a bare exchange failed");
            if (i > 0) limit.push_back(nowMilliseconds() - start);
            start = nowMilliseconds();
            if (!exchange(manager)) fail("an exchange failed");
            if (i > 0) component.push_back(nowMilliseconds() - start);
        }
        report("wine", "AT exchange under Wine, " + name, "component", component);
        report("wine", "AT exchange under Wine, " + name, "bare Win32 loop", limit);
    }
    manager->Release();
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
    if (argc != 5) fail("OBJECT_PORT BARE_PORT SAMPLES NAME");
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const int samples = numberOf(argv[3]);
    exchanges(numberOf(argv[1]), numberOf(argv[2]), samples, argv[4]);
    if (argv[4][0] == 'l') lifetimes(samples / 8 + 1);  // once, with "line rate 0"
    CoUninitialize();
}
