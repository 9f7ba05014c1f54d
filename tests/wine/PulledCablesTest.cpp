// The port goes away while it is used, and comes back: the codes, which call opens the port again, and that nothing
// hangs or is left over.
#include <fstream>
#include <optional>
#include <thread>

#include "Client.h"

namespace mova::test {
namespace {

constexpr ULONGLONG kLongestCall = 20000;  // milliseconds; a call that waits for an answer was given 600
constexpr std::size_t kKept =
    5;  // handles of the system for itself, less than one for each test; and one thread of its own
constexpr LONG kNoAnswer = 0x4004;
constexpr LONG kNotOpen = 0x4000;
constexpr LONG kReadFailed = 0x4340;
constexpr LONG kWriteFailed = 0x4341;

// Through the files that the handset looks for.
void moveCable(const char* way) {
    const std::string file = environment("MOVA_CABLE") + way;
    std::ofstream(file) << way;
    EXPECT_TRUE(eventually([&] { return GetFileAttributesA(file.c_str()) == INVALID_FILE_ATTRIBUTES; }));
}
void pull() { moveCable(".out"); }
void plugIn() { moveCable(".in"); }
void stall() { moveCable(".stall"); }

template <class Call>
auto timed(Call call) {
    const ULONGLONG start = GetTickCount64();
    const auto result = call();
    EXPECT_LT(GetTickCount64() - start, kLongestCall);
    return result;
}

int pulledPort() { return std::atoi(environment("MOVA_PULLED_PORT").c_str()); }

// Every test ends with an exchange, and with nothing left over.
class PulledCables : public testing::Test {
protected:
    // What a process makes once and keeps is made before anything is counted.
    static void SetUpTestSuite() {
        {
            const auto first = openManager(pulledPort());
            std::thread([] { stall(); }).join();
            pull();
            ULONG code = 1;
            first->SwitchOperateMode(2, 0, &code);
            plugIn();
            first->InitCmdManager(0, &code);
            EXPECT_EQ(code, 0u);
        }
        threadsBefore = threads();
        handlesBefore = handles();
    }
    void SetUp() override {
        manager = openManager(pulledPort());
        manager->AssignTimeoutConstant(3, 600);
        manager->AssignTimeoutConstant(4, 600);
    }
    void TearDown() override {
        if (manager) {
            manager->AssignTimeoutConstant(4, 60000);
            EXPECT_EQ(readObject(), 0);
        }
        manager = {};
        EXPECT_TRUE(eventually([] { return threads() <= threadsBefore + 1; }))
            << threads() << " after " << threadsBefore;
        EXPECT_TRUE(eventually([] { return handles() <= handlesBefore + kKept; }))
            << handles() << " after " << handlesBefore;
    }

    bool isOpen() {
        LONG open = -1;
        EXPECT_EQ(manager->IsCommDeviceOpen(&open), S_OK);
        return open == 1;
    }
    LONG query() {
        LONG waiting = -1;
        EXPECT_EQ(manager->DirectQueryDataInQueue(&waiting), S_OK);
        return waiting;
    }
    // A command that is sent is also answered before anything else: a request's purge would cut it in two.
    void awaitAnswer() {
        constexpr LONG kAnswer = 9;  // "AT\r\r\nOK\r\n"
        EXPECT_TRUE(eventually([&] { return query() >= kAnswer; }));
    }
    LONG write() {
        const Text hex(L"41540D");
        LONG count = -1;
        LONG code = -1;
        EXPECT_EQ(timed([&] { return manager->DirectWriteHexData(hex.get(), 3, &count, &code); }), S_OK);
        EXPECT_EQ(count, code == 0 ? 3 : 0);
        if (code == 0) awaitAnswer();
        return code;
    }
    LONG read() {
        Text data;
        LONG count = -1;
        LONG code = -1;
        EXPECT_EQ(timed([&] { return manager->DirectReadHexData(data.receive(), 10, &count, &code); }), S_OK);
        EXPECT_EQ(count, 0);
        return code;
    }
    LONG sendAt() {
        const Text command(L"AT");
        LONG code = -1;
        EXPECT_EQ(timed([&] { return manager->SendNormalAtCmd(0, command.get(), &code); }), S_OK);
        if (code == 0) awaitAnswer();
        return code;
    }
    LONG readObject() {
        Text data;
        LONG code = -1;
        const HRESULT result = timed([&] { return manager->ReadE2PObject(0x1234, 2, data.receive(), &code); });
        EXPECT_EQ(result, code == 0 ? S_OK : S_FALSE);
        return code;
    }
    ULONG initialise() {
        ULONG code = 1;
        EXPECT_EQ(timed([&] { return manager->InitCmdManager(0, &code); }), S_OK);
        return code;
    }
    ULONG close() {
        ULONG code = 1;
        EXPECT_EQ(timed([&] { return manager->ResetCmdManager(0, &code); }), S_OK);
        return code;
    }
    ULONG switchTo(ULONG mode) {
        ULONG code = 1;
        EXPECT_EQ(timed([&] { return manager->SwitchOperateMode(mode, 0, &code); }), S_OK);
        return code;
    }
    bool confirmationArrives() {
        return eventually([&] {
            ULONG code = 1;
            EXPECT_EQ(manager->RfGeneralTestReq(5, 0x0102, &code), S_OK);
            return code == 0 && eventually(
                                    [&] {
                                        ULONG remained = 0;
                                        ULONG length = 0;
                                        Text data;
                                        manager->FetchQueuedCnfItem(&remained, &length, &code, data.receive());
                                        return data.bytes() == std::string("\x05\x00\x02\x01\0\0\0\0\0\0", 10);
                                    },
                                    2000);
        });
    }

    inline static std::size_t threadsBefore = 0;
    inline static std::size_t handlesBefore = 0;
    ComPtr<IVeCmdManager> manager;
};

TEST_F(PulledCables, AQueryOfTheQueueLeavesThePortOpenAndAWriteClosesIt) {
    pull();
    EXPECT_EQ(query(), 0);
    EXPECT_TRUE(isOpen());
    EXPECT_EQ(write(), kWriteFailed);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(write(), kNotOpen);
    EXPECT_EQ(query(), 0);
    EXPECT_FALSE(isOpen());
    plugIn();
    EXPECT_EQ(query(), 0);
    EXPECT_TRUE(isOpen());
    EXPECT_EQ(write(), 0);
}

// It has begun when it fails, so the port stays open.
TEST_F(PulledCables, AReadFails) {
    pull();
    EXPECT_EQ(read(), kReadFailed);
    EXPECT_EQ(read(), kReadFailed);
    EXPECT_TRUE(isOpen());
    plugIn();
    EXPECT_EQ(write(), kWriteFailed);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(read(), 0);
    EXPECT_TRUE(isOpen());
}

TEST_F(PulledCables, AnAtCommandClosesThePortAndTheNextOneOpensIt) {
    pull();
    EXPECT_EQ(sendAt(), kWriteFailed);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(sendAt(), kNotOpen);
    plugIn();
    EXPECT_EQ(sendAt(), 0);
    EXPECT_TRUE(isOpen());
}

TEST_F(PulledCables, AWaitForTheAcknowledgementEndsWithItsTimeout) {
    stall();
    std::thread puller([] {
        Sleep(200);
        pull();
    });
    EXPECT_EQ(readObject(), kNoAnswer);
    puller.join();
    EXPECT_TRUE(isOpen());
    EXPECT_EQ(readObject(), kWriteFailed);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(readObject(), kNotOpen);
    plugIn();
    EXPECT_EQ(readObject(), 0);
}

TEST_F(PulledCables, ALongWriteThatTheLineDoesNotTakeFails) {
    stall();
    std::thread puller([] {
        Sleep(500);
        pull();
    });
    std::vector<BYTE> bytes(1 << 20, 'x');  // its own time-out is hours
    LONG count = -1;
    LONG code = -1;
    EXPECT_EQ(timed([&] { return manager->DirectWriteByteData(bytes.data(), 1 << 20, &count, &code); }), S_OK);
    puller.join();
    EXPECT_EQ(code, kWriteFailed);
    EXPECT_EQ(count, 0);
    EXPECT_FALSE(isOpen());
    plugIn();
    EXPECT_EQ(sendAt(), 0);
}

TEST_F(PulledCables, ALongWriteThatTheLineDoesNotTakeEndsWithACloseByAnotherThread) {
    stall();
    ULONG closed = 1;
    std::thread closer([&] {
        Sleep(500);
        manager->ResetCmdManager(0, &closed);
    });
    std::vector<BYTE> bytes(200 * 1024, 'x');  // its own time-out is half an hour
    LONG count = -1;
    LONG code = -1;
    EXPECT_EQ(timed([&] { return manager->DirectWriteByteData(bytes.data(), 200 * 1024, &count, &code); }), S_OK);
    closer.join();
    EXPECT_EQ(code, 0x10);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(closed, 0u);
    EXPECT_FALSE(isOpen());
    pull();
    plugIn();
    EXPECT_EQ(initialise(), 0u);
}

TEST_F(PulledCables, ABackgroundReaderOpensThePortAfterAWriteHasFailed) {
    EXPECT_EQ(switchTo(2), 0u);
    pull();
    Sleep(50);
    EXPECT_TRUE(isOpen());
    plugIn();
    EXPECT_TRUE(isOpen());  // the old, dead line
    EXPECT_EQ(write(), kWriteFailed);
    EXPECT_TRUE(eventually([&] { return isOpen(); }));
    EXPECT_TRUE(confirmationArrives());
}

TEST_F(PulledCables, ABackgroundReaderOpensThePortByItselfOnceItIsThereAgain) {
    EXPECT_EQ(switchTo(2), 0u);
    pull();
    EXPECT_EQ(initialise(), static_cast<ULONG>(kNotOpen));
    EXPECT_FALSE(isOpen());
    plugIn();
    EXPECT_TRUE(eventually([&] { return isOpen(); }));
    EXPECT_TRUE(confirmationArrives());
}

TEST_F(PulledCables, AModeIsSwitchedWithoutTheLine) {
    pull();
    for (const ULONG mode : {1u, 3u, 2u, 0u, 5u, 3u}) EXPECT_EQ(switchTo(mode), 0u);
    EXPECT_TRUE(isOpen());
    plugIn();
    EXPECT_EQ(sendAt(), kWriteFailed);
    EXPECT_EQ(sendAt(), 0);
}

TEST_F(PulledCables, ACloseSucceedsAndThePortOpensOnceItIsThere) {
    pull();
    EXPECT_EQ(close(), 0u);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(initialise(), static_cast<ULONG>(kNotOpen));
    plugIn();
    EXPECT_EQ(initialise(), 0u);
}

TEST_F(PulledCables, AnObjectGoesWhileItsLineIsGone) {
    EXPECT_EQ(switchTo(2), 0u);
    pull();
    timed([&] {
        manager = {};
        return 0;
    });
    plugIn();
}

}  // namespace
}  // namespace mova::test
