// The open and close procedures with everything they say, and what they leave behind.
#include "unit/component/ComponentFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OpenCloseTest : public ComponentTest {
protected:
    OpenCloseTest() { manager->SetCommDeviceType(0, 7, 9600); }
    void clear() { platform.datagrams().clear(); }
};

constexpr const char* kOpenTrace = "Open Device:7,9600";
constexpr const char* kCard = "Card Type: 6\nDriver Name: USB Serial Port (COM7)";
constexpr const char* kDriver = "Get Driver Name: USB Serial Port (COM7)";
constexpr const char* kAttempt = " ### Attempt to Open Com Port!! BaudRate: 9600";
constexpr const char* kCreate = "CreateFile DeviceName: \\\\.\\COM7";
constexpr const char* kOpened = "Open with Overlapped I/O Success!!!";
constexpr const char* kClosed = " ### Close Com Port Success!!";

// --- open

TEST_F(OpenCloseTest, InitCmdManagerOfAFreshObjectOpensThePortButStartsNoReader) {
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
    EXPECT_EQ(manager->GetDeviceHandle(), 0x100);
    EXPECT_EQ(readers(), 0u);
    EXPECT_THAT(listener->started, IsEmpty());
    EXPECT_THAT(debugTexts(), ElementsAre(kOpenTrace, kCard, kDriver, kAttempt, kCreate, kOpened,
                                          " ### Get Handle: 0x100", "Open Device Success"));
}

TEST_F(OpenCloseTest, OpenTraceShowsTheDeviceParameterNotThePortNumber) {
    manager->SetCommDeviceType(0, -4, 9600);
    manager->InitCmdManager(0);
    EXPECT_EQ(debugTexts().front(), "Open Device:-4,9600");
    EXPECT_EQ(comm.opens(), 1u);
}

TEST_F(OpenCloseTest, ProprietaryOpenComPortOpensTheSameWay) {
    EXPECT_EQ(manager->ProprietaryOpenComPort(99), 0u);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
    EXPECT_EQ(readers(), 0u);
    EXPECT_THAT(debugTexts(), ElementsAre(kOpenTrace, kCard, kDriver, kAttempt, kCreate, kOpened,
                                          " ### Get Handle: 0x100", "Open Device Success"));
}

TEST_F(OpenCloseTest, OnlyInitCmdManagerMakesTheObjectInitialised) {
    EXPECT_EQ(manager->ProprietaryOpenComPort(0), 0u);
    EXPECT_EQ(manager->DirectWriteHexData("41", 1).code, 0x4317u);
    manager->SetCommDeviceType(1, 0, 0);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);  // not for another device type
    manager->SetCommDeviceType(0, 0, 0);
    EXPECT_EQ(manager->DirectWriteHexData("41", 1).code, 0x4317u);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    EXPECT_EQ(manager->DirectWriteHexData("41", 1).code, 0u);
    EXPECT_EQ(comm.written(), "A");
}

TEST_F(OpenCloseTest, InitCmdManagerMarksTheObjectAlsoWhenTheOpenFails) {
    platform.failures().fail(Op::Open);
    EXPECT_EQ(manager->InitCmdManager(0), 0x4000u);
    EXPECT_EQ(manager->DirectWriteHexData("41", 1).code, 0u);  // reopens
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
}

TEST_F(OpenCloseTest, SecondInitCmdManagerClosesAndReopensAndNeverStartsASecondReader) {
    manager->SwitchOperateMode(2, 0);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    clear();
    const auto before = platform.elapsed();
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    EXPECT_EQ(platform.elapsed() - before, 500);
    EXPECT_EQ(comm.opens(), 2u);
    EXPECT_EQ(readers(), 1u);
    EXPECT_EQ(listener->started.size(), 1u);
    EXPECT_EQ(manager->GetDeviceHandle(), 0x104);
    EXPECT_THAT(debugTexts(),
                ElementsAre(kOpenTrace, " ### Attempt to Close Com Port!! Handle: 0x100", kClosed, kDriver, kAttempt,
                            kCreate, kOpened, " ### Get Handle: 0x104", "Open Device Success"));
}

TEST_F(OpenCloseTest, OpenThatFailsIsPassedThroughAndLeavesEverythingElse) {
    manager->SwitchOperateMode(2, 0);
    platform.failures().fail(Op::Open).error(5);
    EXPECT_EQ(manager->InitCmdManager(0), 0x4000u);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 0);
    EXPECT_EQ(manager->GetDeviceHandle(), -1);
    EXPECT_THAT(debugTexts(),
                ElementsAre(kOpenTrace, kCard, kDriver, kAttempt, kCreate, "Open with Overlapped I/O Fail!!!",
                            " ### Get Handle: 0xffffffff", "Open Device Fail"));
    platform.advance(100);
    EXPECT_EQ(readers(), 1u);
    EXPECT_EQ(comm.opens(), 0u);  // the reader does not open what was never open
}

TEST_F(OpenCloseTest, ReopenThatFailsLeavesTheOpenFlagSoThatTheReaderTriesAgain) {
    manager->SwitchOperateMode(2, 0);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    platform.failures().fail(Op::Open);
    EXPECT_EQ(manager->InitCmdManager(0), 0x4000u);
    EXPECT_EQ(count("Open Device Fail"), 1);
    platform.advance(20);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
    EXPECT_EQ(comm.opens(), 2u);
    EXPECT_EQ(readers(), 1u);
}

TEST_F(OpenCloseTest, ConfigurationCodesArePassedThrough) {
    struct Failing {
        Op op;
        std::uint32_t code;
    };
    for (const Failing& c : {Failing{Op::SetQueueSizes, 0x4003}, Failing{Op::SetTimeouts, 0x4003},
                             Failing{Op::Properties, 0x4002}, Failing{Op::GetLineSettings, 0x4002},
                             Failing{Op::SetLineSettings, 0x4003}, Failing{Op::SetEventMask, 0x4201}}) {
        platform.failures().fail(c.op).always();
        clear();
        EXPECT_EQ(manager->ProprietaryOpenComPort(0), c.code) << nameOf(c.op);
        EXPECT_EQ(debugTexts().back(), "Open Device Fail");
        EXPECT_EQ(manager->IsCommDeviceOpen(), 0);
        platform.failures().clear();
    }
}

TEST_F(OpenCloseTest, AbsentPortFailsWithoutBeingOpenedAndIsLookedUpAgainEveryTime) {
    manager->SetCommDeviceType(0, 8, 9600);
    platform.withPath("\\\\.\\COM8");  // it is there, but no device tree lists it
    EXPECT_EQ(manager->InitCmdManager(0), 0x4000u);
    EXPECT_EQ(manager->InitCmdManager(0), 0x4000u);
    const std::vector<std::string> one{"Open Device:8,9600",          "Card Type: -2\nDriver Name: ",
                                       "Get Driver Name: ",           "Open with Overlapped I/O Fail!!!",
                                       " ### Get Handle: 0xffffffff", "Open Device Fail"};
    std::vector<std::string> twice = one;
    twice.insert(twice.end(), one.begin(), one.end());
    EXPECT_EQ(debugTexts("MovaCmdSvr:(COM8) "), twice);
    EXPECT_EQ(platform.failures().calls(Op::Open), 0u);
}

TEST_F(OpenCloseTest, KnownDriverIsNotLookedUpAgain) {
    manager->ProprietaryOpenComPort(0);
    manager->ProprietaryCloseComPort(0);
    manager->ProprietaryOpenComPort(0);
    EXPECT_EQ(count(kCard), 1);
    EXPECT_EQ(count(kDriver), 2);  // the device asks for itself every time
}

TEST_F(OpenCloseTest, InitCmdManagerClearsTheQueueAndThePendingText) {
    manager->SwitchOperateMode(5, 0);
    manager->InitCmdManager(0);
    comm.feed(confirmation(0x55) + "OK\r\nRING\r\nhalf");
    platform.advance(20);
    clear();
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    const auto texts = debugTexts();
    ASSERT_GE(texts.size(), 3u);
    EXPECT_EQ(texts[0], "AT-Purge RING\r\nhalf");
    EXPECT_EQ(texts[1], "AT-Purge 0155*MOVA=0300015557\r\nOK");
    EXPECT_EQ(texts[2], kOpenTrace);
    EXPECT_THAT(fetchAll(), IsEmpty());
    comm.feed("\r\nOK\r\n");  // what was pending is gone
    platform.advance(20);
    EXPECT_EQ(count("AT-R ~OK"), 0);
    EXPECT_EQ(count("AT-R OK"), 1);
}

TEST_F(OpenCloseTest, ProprietaryOpenComPortLeavesTheQueue) {
    manager->SwitchOperateMode(2, 0);
    manager->InitCmdManager(0);
    comm.feed(confirmation(0x55));
    platform.advance(20);
    EXPECT_EQ(manager->ProprietaryOpenComPort(0), 0u);
    EXPECT_THAT(fetchAll(), ElementsAre("0155"));
}

// --- close

TEST_F(OpenCloseTest, CloseSaysWhatItDoes) {
    manager->InitCmdManager(0);
    clear();
    const auto before = platform.elapsed();
    EXPECT_EQ(manager->ResetCmdManager(0), 0u);
    EXPECT_EQ(platform.elapsed() - before, 500);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 0);
    EXPECT_EQ(manager->GetDeviceHandle(), -1);
    EXPECT_THAT(debugTexts(), ElementsAre("Close Device", " ### Attempt to Close Com Port!! Handle: 0x100", kClosed,
                                          "Close Device Success"));
}

TEST_F(OpenCloseTest, CloseOfAClosedPortSucceeds) {
    EXPECT_EQ(manager->ResetCmdManager(0), 0u);
    EXPECT_THAT(debugTexts(), ElementsAre("Close Device", "Close Device Success"));
    EXPECT_EQ(platform.failures().calls(Op::Close), 0u);
}

TEST_F(OpenCloseTest, CloseThatFailsKeepsThePortOpen) {
    manager->InitCmdManager(0);
    platform.serial().setErrorText(6, "bad handle");
    platform.failures().fail(Op::Close).error(6);
    clear();
    EXPECT_EQ(manager->ProprietaryCloseComPort(0), 0x4343u);
    EXPECT_THAT(debugTexts(), ElementsAre("Close Device", " ### Attempt to Close Com Port!! Handle: 0x100",
                                          " ### Close Com Port Error : bad handle(6)", "Close Device Fail"));
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
    EXPECT_EQ(manager->ProprietaryCloseComPort(0), 0u);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 0);
}

TEST_F(OpenCloseTest, CloseClearsTheQueueAndThePendingTextFirst) {
    manager->SwitchOperateMode(5, 0);
    manager->InitCmdManager(0);
    comm.feed(confirmation(1) + "OK\r\n");
    platform.advance(20);
    comm.feed(confirmation(2) + "OK\r\nRING");
    platform.advance(20);
    clear();
    EXPECT_EQ(manager->ResetCmdManager(0), 0u);
    EXPECT_THAT(
        debugTexts(),
        ElementsAre("AT-Purge RING", "AT-Purge 0101*MOVA=0300010103\r\nOK", "AT-Purge 0102*MOVA=0300010200\r\nOK",
                    "Close Device", " ### Attempt to Close Com Port!! Handle: 0x100", kClosed, "Close Device Success"));
    EXPECT_THAT(fetchAll(), IsEmpty());
}

TEST_F(OpenCloseTest, CloseDoesNotAskForTheDeviceType) {
    manager->InitCmdManager(0);
    manager->SetCommDeviceType(1, 0, 0);
    EXPECT_EQ(manager->ResetCmdManager(0), 0u);
    EXPECT_FALSE(comm.isOpen());
}

TEST(CloseTwinsTest, ResetCmdManagerAndProprietaryCloseComPortAreIndistinguishableAlsoInTheirTraceLines) {
    std::vector<std::string> texts[2];
    std::vector<std::string> calls[2];
    for (const int twin : {0, 1}) {
        ScriptedPlatform platform;
        ScriptedPort& comm = platform.withPort(7);
        platform.withDebugViewer();
        CVeCmdManager manager(platform);
        const auto close = [&] { return twin == 0 ? manager.ResetCmdManager(3) : manager.ProprietaryCloseComPort(5); };
        manager.put_CommPortId(7);
        manager.SwitchOperateMode(5, 0);
        EXPECT_EQ(manager.InitCmdManager(0), 0u);
        comm.feed("*MOVA=0300010103\r\nOK\r\nRING");
        platform.advance(20);
        platform.failures().fail(Op::Close);
        platform.datagrams().clear();
        platform.journal().clear();
        EXPECT_EQ(close(), 0x4343u);
        EXPECT_EQ(close(), 0u);
        EXPECT_EQ(close(), 0u);
        texts[twin] = platform.datagrams().texts();
        calls[twin] = platform.journal().texts();
        EXPECT_EQ(platform.elapsed(), 570);
    }
    EXPECT_EQ(texts[0].size(), 12u);  // 2 purged, 4 of the failure, 4 of the success, 2 of the last
    EXPECT_EQ(texts[0], texts[1]);
    EXPECT_EQ(calls[0], calls[1]);
}

TEST_F(OpenCloseTest, ObjectOpensAndClosesAnyNumberOfTimes) {
    manager->SwitchOperateMode(2, 0);
    for (unsigned round = 1; round <= 20; ++round) {
        EXPECT_EQ(manager->InitCmdManager(0), 0u);
        EXPECT_EQ(readers(), 1u);
        comm.feed(confirmation(round));
        platform.advance(10);
        EXPECT_THAT(fetchAll(), ElementsAre(number(round)));
        EXPECT_EQ(manager->ResetCmdManager(0), 0u);
        EXPECT_EQ(readers(), 0u);
    }
    EXPECT_EQ(listener->started.size(), 20u);
    EXPECT_EQ(listener->ended, listener->started);
}

// --- a port that goes away

TEST_F(OpenCloseTest, PortThatClosedItselfIsReopenedByTheNextExchange) {
    manager->InitCmdManager(0);
    platform.failures().fail(Op::BeginWrite);
    EXPECT_EQ(manager->SendNormalAtCmd(0, "AT"), 0x4341u);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 0);
    EXPECT_EQ(manager->GetNormalAtResult(2).code, 0u);  // its receive pass reopens
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
    EXPECT_EQ(manager->SendNormalAtCmd(0, "AT"), 0u);
    EXPECT_EQ(comm.written(), "AT\r");
}

TEST_F(OpenCloseTest, WriteAfterACloseReopensThePort) {
    manager->InitCmdManager(0);
    manager->ResetCmdManager(0);
    EXPECT_EQ(manager->SendNormalAtCmd(0, "AT"), 0u);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
    EXPECT_EQ(comm.written(), "AT\r");
}

TEST_F(OpenCloseTest, StopOfTheCloseEndsAnExchangeThatIsUnderWay) {
    manager->InitCmdManager(0);
    manager->SwitchOperateMode(3, 0);
    auto caller = platform.spawn([&] { EXPECT_EQ(manager->ReadE2PObject(1, 1).code, 0x4004u); });
    platform.advance(100);
    const auto before = platform.elapsed();
    EXPECT_EQ(manager->ResetCmdManager(0), 0u);
    EXPECT_EQ(platform.elapsed() - before, 500);  // the close
    EXPECT_TRUE(caller->join(10));
}

}  // namespace
}  // namespace mova
