#include "OtherProcess.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "Client.h"

namespace mova::test {

namespace {

constexpr const char* kReadyFile = "C:\\ready-of-test";
constexpr DWORD kLongestRole = 60000;  // milliseconds

void sayReady() { std::ofstream(kReadyFile) << "ready"; }

// Takes what comes, and may end the process from inside.
class EndingSink final : public IDispatch {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        *object = iid == __uuidof(IUnknown) || iid == __uuidof(IDispatch) ? this : nullptr;
        return *object ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        if (ends) ExitProcess(5);
        came = true;
        return S_OK;
    }
    std::atomic<bool> came{false};
    std::atomic<bool> ends{false};
};

// Outlive main.
EndingSink sink;
ComPtr<IVeCmdManager> untilTheEnd;

int end(const std::string& how) {
    auto manager = openManager(fastPort());
    ComPtr<IConnectionPoint> point;
    DWORD cookie = 0;
    ComPtr<IConnectionPointContainer>::of(manager.get())
        ->FindConnectionPoint(__uuidof(_IVeCmdManagerEvents), point.receive());
    point->Advise(&sink, &cookie);
    ULONG code = 1;
    manager->SwitchOperateMode(1, 0, &code);
    LONG sent = 1;
    manager->SendNormalAtCmd(0, Text(L"AT%CNF=2000,1").get(), &sent);
    if (code != 0 || sent != 0 || !eventually([] { return sink.came.load(); })) return 100;
    point = {};
    if (how == "return") return 0;
    untilTheEnd = std::move(manager);
    if (how == "return-static") return 0;
    if (how == "uninitialise") {
        CoUninitialize();
        return 0;
    }
    if (how == "exit") std::exit(3);
    if (how == "exit-process") ExitProcess(4);
    sink.ends = how == "exit-in-event";
    sayReady();
    Sleep(kLongestRole);
    return 101;
}

int holdMutex() {
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, "SUTLOG");
    WaitForSingleObject(mutex, INFINITE);
    sayReady();
    Sleep(kLongestRole);
    return 101;
}

template <class EntryPoint, class... Arguments>
int registerComponent(const char* name, int count, Arguments... arguments) {
    const HMODULE module = LoadLibraryW(dllPath().c_str());
    const auto entry = reinterpret_cast<EntryPoint>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    sayReady();
    for (int i = 0; i < count; ++i) {
        if (entry(arguments...) != S_OK) return 100;
    }
    return 0;
}

int registerServer(int count) { return registerComponent<HRESULT(STDAPICALLTYPE*)()>("DllRegisterServer", count); }

int registerForUser(int count) {
    return registerComponent<HRESULT(STDAPICALLTYPE*)(BOOL, LPCWSTR)>("DllInstall", count, TRUE, L"user");
}

int byName() {
    CLSID classId{};
    if (FAILED(CLSIDFromProgID(L"MovaCmdSvr.VeCmdManager", &classId))) return 100;
    ComPtr<IDispatch> manager;
    if (FAILED(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IDispatch),
                                reinterpret_cast<void**>(manager.receive())))) {
        return 101;
    }
    const Outcome rate = call(manager.get(), L"BaudRate", {});
    return rate.result == S_OK && rate.value.number() == 115200 ? 0 : 103;
}

int log(const std::string& file, const std::string& name, int count) {
    const auto manager = openManager(spareFastPort());
    manager->Set_Log_File_Path(Text(std::wstring(file.begin(), file.end()).c_str()).get());
    sayReady();
    for (int i = 0; i < count; ++i) {
        const std::string command = "AT+" + name + std::to_string(i);
        LONG code = 1;
        manager->SendNormalAtCmd(0, Text(std::wstring(command.begin(), command.end()).c_str()).get(), &code);
        if (code != 0) return 100;
    }
    return 0;
}

}  // namespace

int playRole(const std::vector<std::string>& arguments) {
    if (arguments.size() == 2 && arguments[0] == "end") return end(arguments[1]);
    if (arguments.size() == 1 && arguments[0] == "hold-mutex") return holdMutex();
    if (arguments.size() == 2 && arguments[0] == "register") return registerServer(std::atoi(arguments[1].c_str()));
    if (arguments.size() == 2 && arguments[0] == "register-user")
        return registerForUser(std::atoi(arguments[1].c_str()));
    if (arguments.size() == 1 && arguments[0] == "by-name") return byName();
    if (arguments.size() == 4 && arguments[0] == "log") {
        return log(arguments[1], arguments[2], std::atoi(arguments[3].c_str()));
    }
    return 102;
}

OtherProcess::OtherProcess(const std::string& role) {
    std::remove(kReadyFile);
    char program[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, program, sizeof program);
    std::string line = '"' + std::string(program) + "\" --role " + role;
    STARTUPINFOA start{};
    start.cb = sizeof start;
    EXPECT_TRUE(CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &process_));
    CloseHandle(process_.hThread);
}

OtherProcess::~OtherProcess() {
    TerminateProcess(process_.hProcess, 1);
    WaitForSingleObject(process_.hProcess, kLongestRole);
    CloseHandle(process_.hProcess);
    std::remove(kReadyFile);
}

void OtherProcess::awaitReady() {
    EXPECT_TRUE(eventually([] { return GetFileAttributesA(kReadyFile) != INVALID_FILE_ATTRIBUTES; }, kLongestRole));
}

void OtherProcess::terminate(UINT code) { EXPECT_TRUE(TerminateProcess(process_.hProcess, code)); }

bool OtherProcess::hasEnded() const { return WaitForSingleObject(process_.hProcess, 0) == WAIT_OBJECT_0; }

DWORD OtherProcess::exitCode() {
    EXPECT_EQ(WaitForSingleObject(process_.hProcess, kLongestRole), WAIT_OBJECT_0);
    DWORD code = 0;
    GetExitCodeProcess(process_.hProcess, &code);
    return code;
}

}  // namespace mova::test
