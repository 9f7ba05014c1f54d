// Nothing is left over: threads, handles, memory.
#include "Client.h"

#include <tlhelp32.h>

#include <thread>

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

DWORD handles() {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
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
    const DWORD handlesBefore = handles();
    const std::size_t bytesBefore = heapBytes();
    rounds(50);
    EXPECT_TRUE(eventually([&] { return threads() <= threadsBefore; })) << threads() << " after " << threadsBefore;
    EXPECT_TRUE(eventually([&] { return handles() <= handlesBefore; })) << handles() << " after " << handlesBefore;
    // Less than one round leaves over a hundred: the system's own caches move a little.
    constexpr std::size_t kLessThanOneRoundHolds = 2048;
    EXPECT_LE(heapBytes(), bytesBefore + kLessThanOneRoundHolds);
}

}  // namespace
}  // namespace mova::test
