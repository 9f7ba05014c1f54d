// Nothing is left over: threads, handles, memory.
#include <thread>

#include "Client.h"

namespace mova::test {
namespace {

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
