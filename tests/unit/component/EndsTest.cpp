// What ends a call that is under way on another thread, and what becomes of those that wait for their turn behind it.
#include <optional>

#include "unit/component/ComponentFixture.h"

namespace mova {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

constexpr std::uint32_t kBackground = 2;

struct Call {
    const char* name;
    std::function<std::optional<Code>(CVeCmdManager&)> make;  // none: it tells no code
};

// Each writes to the port as its first act.
const std::vector<Call>& writingCalls() {
    static constexpr std::uint8_t kBytes[] = {'A', 'T', '\r'};
    using Manager = CVeCmdManager&;
    static const std::vector<Call> all{
        {"SendNormalAtCmd", [](Manager m) { return m.SendNormalAtCmd(0, "AT+CSQ"); }},
        {"Property", [](Manager m) { return m.SetAtCmdProperty(1, 0); }},
        {"PropertyWaits", [](Manager m) { return m.SetAtCmdProperty(101, 0); }},
        {"WakeFrame", [](Manager m) { return m.SetAtCmdProperty(2, 0); }},
        {"WakeSequence", [](Manager m) { return m.SetAtCmdProperty(102, 0); }},
        {"SpecificInfo", [](Manager m) { return m.SpecificInfo(0, 0, "").code; }},
        {"IdentityField", [](Manager m) { return m.SpecificInfo(1, 1, "abc").code; }},
        {"RfGeneralTest", [](Manager m) { return m.RfGeneralTestReq(5, 1); }},
        {"RfTable", [](Manager m) { return m.RfChangeTableReq(1, 2, 3, 3, std::span(kBytes)); }},
        {"ReadE2PObject", [](Manager m) { return m.ReadE2PObject(0x1234, 2).code; }},
        {"WriteE2PObject", [](Manager m) { return m.WriteE2PObject(0x1234, 2, std::string(500, '0')).code; }},
        {"ReadE2PObjectEx", [](Manager m) { return m.ReadE2PObjectEx(0x1234, 2, 0, 4).code; }},
        {"HciAction", [](Manager m) { return m.HciAction(0, "0102").code; }},
        {"WiFiAction", [](Manager m) { return m.WiFiAction(1, "AABB").code; }},
        {"DirectWriteHexData", [](Manager m) { return m.DirectWriteHexData("41540D", 3).code; }},
        {"DirectWriteByteData", [](Manager m) { return m.DirectWriteByteData(kBytes, 3).code; }},
        {"DirectWriteAsciiData",
         [](Manager m) -> std::optional<Code> {
             EXPECT_EQ(m.DirectWriteAsciiData(kBytes, 3).count, 0);
             return std::nullopt;
         }},
    };
    return all;
}

struct Queued {
    const char* card;
    std::uint32_t mode;
};

class QueuedCalls : public ComponentTest, public ::testing::WithParamInterface<Queued> {
protected:
    QueuedCalls() { platform.withPort(7, GetParam().card); }
};

// The first call waits four seconds for an answer, the second one for the first; the port is closed meanwhile.
TEST_P(QueuedCalls, SendNoByteOnceAnotherThreadCloses) {
    for (const Call& call : writingCalls()) {
        SCOPED_TRACE(call.name);
        open();
        manager->SwitchOperateMode(GetParam().mode, 0);
        comm.clearWritten();
        auto first = platform.spawn([&] { EXPECT_EQ(manager->ReadE2PObject(0x1234, 2).code, 0x4004u); });
        platform.advance(100);
        const std::string sentByTheFirst = comm.written();
        EXPECT_NE(sentByTheFirst, "");
        std::optional<Code> code;
        auto second = platform.spawn([&] { code = call.make(*manager); });
        platform.advance(100);
        EXPECT_EQ(manager->ResetCmdManager(0), 0u);
        EXPECT_TRUE(first->join(5000));
        EXPECT_TRUE(second->join(5000));
        EXPECT_EQ(comm.written(), sentByTheFirst);
        EXPECT_EQ(code.value_or(Code::Stopped), 0x10u);
        EXPECT_EQ(manager->IsCommDeviceOpen(), 0);
        platform.advance(2000);
    }
}

INSTANTIATE_TEST_SUITE_P(Cards, QueuedCalls,
                         ::testing::Values(Queued{"Communications Port (COM7)", 0},
                                           Queued{"Communications Port (COM7)", kBackground},
                                           Queued{"USB Serial Port (COM7)", 0},
                                           Queued{"USB Serial Port (COM7)", kBackground}),
                         [](const auto& test) {
                             return std::string(test.param.card[0] == 'U' ? "Usb" : "Serial") +
                                    (test.param.mode == kBackground ? "InTheBackground" : "");
                         });

class EndsTest : public ComponentTest {
protected:
    // 200 KB, for which the port's own time-out is 34 minutes.
    CountResult writeMuch() {
        return manager->DirectWriteByteData(much_.data(), static_cast<std::int32_t>(much_.size()));
    }
    // The port takes nothing; a write that is left alone takes its whole time-out.
    void stall() { comm.writesTake(2048500ms); }

    const std::vector<std::uint8_t> much_ = std::vector<std::uint8_t>(204800, 'x');
};

struct Ending {
    const char* name;
    std::function<void(CVeCmdManager&)> make;
};

class EndOfADirectWrite : public EndsTest, public ::testing::WithParamInterface<Ending> {};

TEST_P(EndOfADirectWrite, DoesNotWaitForAPortThatTakesNothing) {
    open();
    stall();
    auto caller = platform.spawn([&] {
        const CountResult written = writeMuch();
        EXPECT_EQ(written.code, 0x10u);
        EXPECT_EQ(written.count, 0);
    });
    platform.advance(700);
    const auto before = platform.elapsed();
    GetParam().make(*manager);
    EXPECT_EQ(platform.elapsed() - before, 500);  // the rest that a closed port is given
    EXPECT_TRUE(caller->join(0));
    EXPECT_FALSE(comm.isOpen());
}

INSTANTIATE_TEST_SUITE_P(
    Ways, EndOfADirectWrite,
    ::testing::Values(Ending{"ResetCmdManager", [](CVeCmdManager& m) { EXPECT_EQ(m.ResetCmdManager(0), 0u); }},
                      Ending{"ProprietaryCloseComPort",
                             [](CVeCmdManager& m) { EXPECT_EQ(m.ProprietaryCloseComPort(0), 0u); }},
                      Ending{"FinalRelease", [](CVeCmdManager& m) { m.FinalRelease(); }}),
    [](const auto& test) { return test.param.name; });

TEST_F(EndsTest, AnOpenInBetweenDoesNotTakeTheEndOfADirectWriteAway) {
    open();
    auto exchange = platform.spawn([&] { EXPECT_EQ(manager->ReadE2PObject(0x1234, 2).code, 0x4004u); });
    platform.advance(10);
    auto opener = platform.spawn([&] { EXPECT_EQ(manager->InitCmdManager(0), 0u); });
    platform.advance(10);
    auto writer = platform.spawn([&] { EXPECT_EQ(writeMuch().code, 0x10u); });
    platform.advance(10);
    stall();
    const auto before = platform.elapsed();
    EXPECT_EQ(manager->ResetCmdManager(0), 0u);
    EXPECT_EQ(platform.elapsed() - before, 1000);  // two rests: the opener's and its own
    for (Thread* thread : {exchange.get(), opener.get(), writer.get()}) EXPECT_TRUE(thread->join(0));
    EXPECT_FALSE(comm.isOpen());
}

// The reader sees the stop event as well, ends and resets it.
TEST_F(EndsTest, TheReadersEndDoesNotTakeTheEndOfAnExchangeAway) {
    open();
    manager->SwitchOperateMode(kBackground, 0);
    platform.advance(100);
    comm.feed("x");  // ends the reader's rest: it now waits for its next pass
    platform.advance(1);
    auto caller = platform.spawn([&] { EXPECT_EQ(manager->ReadE2PObject(0x1234, 2).code, 0x4004u); });
    platform.advance(1);
    const auto before = platform.elapsed();
    EXPECT_EQ(manager->ResetCmdManager(0), 0u);
    EXPECT_EQ(platform.elapsed() - before, 500);
    EXPECT_TRUE(caller->join(0));
}

// The stop event is up for the reader, which ends as soon as its listener is through.
TEST_F(EndsTest, WhileTheReaderEndsAListenersExchangeSendsNoByte) {
    platform.withPort(7, "Communications Port (COM7)");
    open();
    std::optional<Code> sent;
    listener->onEvent = [&](const std::string&) {
        platform.clock().sleep(100);
        if (!sent) sent = manager->SendNormalAtCmd(0, "AT");
    };
    manager->SwitchOperateMode(1, 0);
    platform.advance(2);
    comm.feed(confirmation(1));
    platform.advance(20);
    ASSERT_EQ(listener->texts().size(), 1u);
    comm.clearWritten();
    EXPECT_EQ(manager->SwitchOperateMode(0, 0), 0u);
    EXPECT_EQ(sent, Code::Stopped);
    EXPECT_EQ(comm.written(), "");
    EXPECT_EQ(manager->SendNormalAtCmd(0, "AT"), 0u);
    EXPECT_EQ(comm.written(), "AT\r");
}

// Between its close and its open the port is closed for half a second.
TEST_F(EndsTest, WhetherThePortIsOpenIsToldWhenTheCallUnderWayIsOver) {
    open();
    auto opener = platform.spawn([&] { EXPECT_EQ(manager->InitCmdManager(0), 0u); });
    platform.advance(250);
    ASSERT_FALSE(comm.isOpen());
    const auto before = platform.elapsed();
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
    EXPECT_EQ(platform.elapsed() - before, 250);
    EXPECT_TRUE(opener->join(0));
}

}  // namespace
}  // namespace mova
