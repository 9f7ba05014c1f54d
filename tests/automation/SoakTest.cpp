// Nothing is left over: threads, handles, memory.
#include "platform/win32/WindowsApi.h"

#include <tlhelp32.h>

#include <algorithm>
#include <thread>

#include "Client.h"

namespace mova::test {
namespace {

std::size_t threads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    std::size_t count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == GetCurrentProcessId();
    }
    CloseHandle(snapshot);
    return count;
}

// The process's open handles, from the system's list of all.
std::size_t handles() {
    struct Handle {
        ULONG process;
        BYTE type;
        BYTE flags;
        USHORT value;
        void* object;
        ULONG access;
    };
    struct List {
        ULONG count;
        Handle handles[1];
    };
    constexpr ULONG kSystemHandleInformation = 16;
    constexpr LONG kTooSmall = static_cast<LONG>(0xC0000004);
    using Query = LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    std::vector<std::uint64_t> storage(8192);
    ULONG needed = 0;
    while (query(kSystemHandleInformation, storage.data(), static_cast<ULONG>(storage.size() * 8), &needed) ==
           kTooSmall) {
        storage.resize(storage.size() * 2);
    }
    const List* const list = reinterpret_cast<const List*>(storage.data());
    return static_cast<std::size_t>(std::count_if(list->handles, list->handles + list->count, [](const Handle& handle) {
        return handle.process == GetCurrentProcessId();
    }));
}

void openExchangeCloseRelease(int port) {
    const auto manager = makeManager();
    manager->put_CommPortId(port);
    ULONG code = 1;
    manager->SwitchOperateMode(2, 0, &code);
    EXPECT_EQ(manager->InitCmdManager(0, &code), S_OK);
    EXPECT_EQ(code, 0u);
    EXPECT_EQ(manager->RfGeneralTestReq(5, 1, &code), S_OK);
    EXPECT_EQ(code, 0u);
    EXPECT_EQ(manager->ResetCmdManager(0, &code), S_OK);
    EXPECT_EQ(code, 0u);
}

void rounds(int count) {
    std::vector<std::thread> clients;
    for (const int port : {fastPort(), spareFastPort()}) {
        clients.emplace_back([=] {
            CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
            for (int i = 0; i < count; ++i) openExchangeCloseRelease(port);
            CoUninitialize();
        });
    }
    for (std::thread& client : clients) client.join();
}

TEST(Soak, AHundredRoundsWithAReaderThreadLeaveNothing) {
    rounds(3);
    std::size_t threadsBefore = 0;
    EXPECT_TRUE(eventually([&] {
        const std::size_t now = threads();
        return std::exchange(threadsBefore, now) == now;
    }));
    // The clients' own threads cost the system something, and it keeps a little of its own: less than one handle or a few
    // bytes a round.
    constexpr std::size_t kRounds = 50;
    constexpr std::size_t kClients = 2;
    const std::size_t handlesAtFirst = handles();
    const std::size_t bytesAtFirst = heapBytes();
    ASSERT_GT(handlesAtFirst, 10u);  // the count counts
    rounds(1);
    const std::size_t handlesBefore = handles();
    const std::size_t bytesBefore = heapBytes();
    rounds(kRounds);
    EXPECT_TRUE(eventually([&] { return threads() <= threadsBefore; })) << threads() << " after " << threadsBefore;
    const std::size_t mostHandles = handlesBefore + kRounds / 2;
    EXPECT_TRUE(eventually([&] { return handles() <= mostHandles; })) << handles() << " after " << handlesBefore;
    EXPECT_LE(heapBytes(), bytesBefore + (bytesBefore - bytesAtFirst) + kClients * kRounds * 40);
}

}  // namespace
}  // namespace mova::test
