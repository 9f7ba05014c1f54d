// The edges of the process: who else has the port, how many objects there are, how processes end, and the module's
// unloading.
#include <atomic>
#include <thread>

#include "Client.h"
#include "OtherProcess.h"

namespace mova::test {
namespace {

ULONG initialise(IVeCmdManager* manager) {
    ULONG code = 1;
    EXPECT_EQ(manager->InitCmdManager(0, &code), S_OK);
    return code;
}

ULONG switchTo(IVeCmdManager* manager, ULONG mode) {
    ULONG code = 1;
    EXPECT_EQ(manager->SwitchOperateMode(mode, 0, &code), S_OK);
    return code;
}

std::string readObject(IVeCmdManager* manager) {
    Text data;
    LONG code = -1;
    manager->AssignTimeoutConstant(4, 30000);
    EXPECT_EQ(manager->ReadE2PObject(0x1234, 2, data.receive(), &code), S_OK);
    EXPECT_EQ(code, 0);
    const std::wstring text = data.wide();
    return {text.begin(), text.end()};
}

// --- two objects on one port

// This system opens a port for all who ask; where it does not, the second is told 0x4000. In turns both are served.
TEST(TwoObjects, OnOnePortAreServedInTurns) {
    const auto first = openManager(fastPort());
    const auto second = makeManager();
    second->put_CommPortId(fastPort());
    const ULONG code = initialise(second.get());
    EXPECT_THAT(code, testing::AnyOf(0u, 0x4000u));
    if (code != 0) return;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(readObject(first.get()), readObject(second.get()));
        EXPECT_EQ(exchange(first.get(), L"AT"), L"AT\r~OK~");
        EXPECT_EQ(exchange(second.get(), L"AT"), L"AT\r~OK~");
    }
    ULONG closed = 1;
    EXPECT_EQ(second->ResetCmdManager(0, &closed), S_OK);
    EXPECT_EQ(closed, 0u);
    EXPECT_EQ(exchange(first.get(), L"AT"), L"AT\r~OK~");
}

// --- many objects

TEST(ManyObjects, WithAReaderThreadEachBesideTheTrafficOfOthers) {
    constexpr int kApartments = 8;
    constexpr int kObjects = 5;  // each
    const auto busy = openManager(fastPort());
    EXPECT_EQ(switchTo(busy.get(), 2), 0u);
    const auto rounds = [&] {
        std::vector<std::thread> apartments;
        std::atomic<int> ready{0};
        std::atomic<bool> ending{false};
        for (int i = 0; i < kApartments; ++i) {
            apartments.emplace_back([&] {
                CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
                {
                    std::vector<ComPtr<IVeCmdManager>> objects(kObjects);
                    for (auto& object : objects) {
                        object = makeManager();
                        EXPECT_EQ(switchTo(object.get(), 2), 0u);  // runs also without a port
                    }
                    ++ready;
                    while (!ending) Sleep(5);
                }
                CoUninitialize();
            });
        }
        EXPECT_TRUE(eventually([&] { return ready == kApartments; }, 60000));
        const std::size_t most = threads();
        for (int i = 0; i < 20; ++i) EXPECT_NE(readObject(busy.get()), "");
        ending = true;
        for (std::thread& apartment : apartments) apartment.join();
        return most;
    };
    rounds();
    const std::size_t before = threads();
    EXPECT_GE(rounds(), before + kApartments + kApartments * kObjects);
    EXPECT_TRUE(eventually([&] { return threads() <= before; })) << threads() << " after " << before;
}

// --- the process's end

struct Way {
    const char* how;
    DWORD code;
    int times;
};

class ProcessEnd : public testing::TestWithParam<Way> {};

TEST_P(ProcessEnd, IsCleanAndLeavesThePortUsable) {
    const auto [how, code, times] = GetParam();
    for (int i = 0; i < times; ++i) {
        OtherProcess ending(std::string("end ") + how);
        if (std::string(how) == "wait") {
            ending.awaitReady();
            ending.terminate(code);
        }
        EXPECT_EQ(ending.exitCode(), code) << how;
    }
    const auto manager = openManager(fastPort());
    LONG waiting = -1;
    // The handset goes on with the confirmations that it was asked for.
    EXPECT_TRUE(eventually(
        [&] {
            manager->ClearQueue(&waiting);
            Sleep(50);
            manager->DirectQueryDataInQueue(&waiting);
            return waiting == 0;
        },
        30000));
    EXPECT_NE(readObject(manager.get()), "");
}

// The reader thread is cut off at whatever it does: several times where that matters.
const Way kWays[] = {{"return", 0, 1},       {"return-static", 0, 1}, {"uninitialise", 0, 1}, {"exit", 3, 1},
                     {"exit-process", 4, 3}, {"exit-in-event", 5, 2}, {"wait", 6, 2}};
INSTANTIATE_TEST_SUITE_P(Ways, ProcessEnd, testing::ValuesIn(kWays), [](const auto& way) {
    std::string name;
    for (const char c : std::string(way.param.how)) name += c == '-' ? '_' : c;
    return name == "wait" ? "terminated" : name;
});

// --- the module

class Unloading : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(CopyFileW(dllPath().c_str(), kCopy, FALSE)); }
    void TearDown() override { DeleteFileW(kCopy); }

    // Loads it, lets an object's reader thread run, on a port or without one, releases the object and lets the module
    // go at once.
    static void loadUseAndFree(int port) {
        const HMODULE module = LoadLibraryW(kCopy);
        ASSERT_TRUE(module);
        using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
        using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();
        const auto address = [&](const char* name) { return reinterpret_cast<void*>(GetProcAddress(module, name)); };
        {
            ComPtr<IClassFactory> factory;
            ASSERT_EQ(reinterpret_cast<GetClassObject>(address("DllGetClassObject"))(
                          __uuidof(VeCmdManager), __uuidof(IClassFactory), reinterpret_cast<void**>(factory.receive())),
                      S_OK);
            ComPtr<IVeCmdManager> manager;
            ASSERT_EQ(
                factory->CreateInstance(nullptr, __uuidof(IVeCmdManager), reinterpret_cast<void**>(manager.receive())),
                S_OK);
            EXPECT_EQ(switchTo(manager.get(), 2), 0u);
            LONG result = 1;
            if (port == 0) {  // a handle that is none: calls on it fail
                EXPECT_EQ(manager->SetDeviceHandle(0x7777, &result), S_OK);
                int lines = 1;
                EXPECT_EQ(manager->DetectCommSignal(-1, &lines), S_OK);
                EXPECT_EQ(lines, 0);
            } else {
                manager->put_CommPortId(port);
                EXPECT_EQ(initialise(manager.get()), 0u);
                EXPECT_NE(readObject(manager.get()), "");
            }
        }
        EXPECT_EQ(reinterpret_cast<CanUnloadNow>(address("DllCanUnloadNow"))(), S_OK);
        EXPECT_TRUE(FreeLibrary(module));
    }
    // The first one free: a module that keeps one each time uses them up.
    static DWORD threadLocalSlot() {
        const DWORD slot = TlsAlloc();
        TlsFree(slot);
        return slot;
    }
    static bool isGone(const wchar_t* module) {
        return eventually([=] { return GetModuleHandleW(module) == nullptr; }, 60000);
    }

    static constexpr const wchar_t* kCopy = L"C:\\unloaded-often.dll";
};

TEST_F(Unloading, RightAfterTheReleaseAHundredTimes) {
    for (int i = 0; i < 3; ++i) loadUseAndFree(0);
    EXPECT_TRUE(isGone(L"unloaded-often.dll"));
    const std::size_t threadsBefore = threads();
    const std::size_t handlesBefore = handles();
    const DWORD slotBefore = threadLocalSlot();
    for (int i = 0; i < 100; ++i) {
        loadUseAndFree(i % 20 == 19 ? fastPort() : 0);
        if (i % 2 == 0) continue;  // every other time it is loaded anew at once
        EXPECT_TRUE(isGone(L"unloaded-often.dll"));
    }
    EXPECT_TRUE(eventually([&] { return threads() <= threadsBefore; })) << threads() << " after " << threadsBefore;
    EXPECT_TRUE(eventually([&] { return handles() <= handlesBefore; })) << handles() << " after " << handlesBefore;
    EXPECT_LE(threadLocalSlot(), slotBefore);
}

TEST_F(Unloading, ByTheSystemOnceNothingIsUsed) {
    for (int i = 0; i < 20; ++i) {
        {
            const auto manager = makeManager();
            EXPECT_EQ(switchTo(manager.get(), 2), 0u);
            CoFreeUnusedLibrariesEx(0, 0);
            EXPECT_TRUE(GetModuleHandleW(L"MovaCmdSvr.dll"));
        }
        CoFreeUnusedLibrariesEx(0, 0);
        EXPECT_TRUE(isGone(L"MovaCmdSvr.dll"));
    }
}

}  // namespace
}  // namespace mova::test
