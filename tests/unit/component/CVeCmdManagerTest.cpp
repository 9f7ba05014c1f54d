// Defaults, settings, creation and release of the command manager.
#include "unit/component/ComponentFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CVeCmdManagerTest : public ComponentTest {
protected:
    // What an exchange without an answer takes: the time-out behind it.
    std::int64_t silence(std::function<Code()> request) {
        const auto before = platform.elapsed();
        EXPECT_EQ(request(), 0x4004u);
        return platform.elapsed() - before;
    }
    std::int64_t rfTimeout() {
        manager->SwitchOperateMode(3, 0);  // with an answer terminator; without, a single pass ends the wait
        return silence([&] { return manager->RfGeneralTestReq(5, 0x0102); });
    }
    std::int64_t e2pTimeout() {
        return silence([&] { return manager->ReadE2PObject(1, 1).code; });
    }
};

// --- creation and defaults

TEST_F(CVeCmdManagerTest, FreshObjectHasItsDefaults) {
    EXPECT_EQ(manager->get_CommPortId(), 1);
    EXPECT_EQ(manager->get_BaudRate(), 115200);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 0);
    EXPECT_EQ(manager->GetDeviceHandle(), -1);
    EXPECT_EQ(manager->GetCmpVersion(1), "<MovaCmdSvr Ver 1.8.6>");
    EXPECT_EQ(readers(), 0u);
}

TEST_F(CVeCmdManagerTest, Option2IsTheDateAndEveryOtherTheBanner) {
    EXPECT_EQ(manager->GetCmpVersion(2), "Thursday, February 29, 2024 12:30:00");
    for (const std::int32_t option : {-1, 0, 1, 3, 99}) {
        EXPECT_EQ(manager->GetCmpVersion(option), "<MovaCmdSvr Ver 1.8.6>") << option;
    }
}

TEST(CreationTest, IntroducesItselfInTheDebugChannelAndTouchesNoPort) {
    ScriptedPlatform platform;
    platform.withDebugViewer();
    platform.withPort(1);
    const CVeCmdManager manager(platform);
    EXPECT_THAT(platform.datagrams().texts(),
                ElementsAre("MovaCmdSvr: <MovaCmdSvr Ver 1.8.6>", "MovaCmdSvr: C:\\Station\\MovaCmdSvr.dll",
                            "MovaCmdSvr: Thursday, February 29, 2024 12:30:00"));
    EXPECT_THAT(platform.journal().serial({Op::MakeTransfer}), IsEmpty());
    EXPECT_EQ(platform.files().count(), 0u);
}

TEST(CreationTest, SucceedsEvenWithoutItsEvents) {
    ScriptedPlatform platform;
    platform.withDebugViewer();
    platform.withPort(1);
    platform.failures().fail(Op::MakeEvent).always();
    CVeCmdManager manager(platform);
    EXPECT_EQ(manager.get_CommPortId(), 1);
    EXPECT_EQ(manager.InitCmdManager(0), 0u);
    EXPECT_EQ(manager.IsCommDeviceOpen(), 1);
}

TEST_F(CVeCmdManagerTest, AssignTimeoutConstantBounds) {
    open();
    const auto window = [](std::int64_t measured) { return measured / 20 * 20; };  // the exchange's own few ms
    EXPECT_EQ(window(e2pTimeout()), 4000);
    manager->AssignTimeoutConstant(4, 0);
    EXPECT_EQ(window(e2pTimeout()), 500);
    manager->AssignTimeoutConstant(4, 200000);
    EXPECT_EQ(window(e2pTimeout()), 200000);
    manager->AssignTimeoutConstant(4, 200001);
    EXPECT_EQ(window(e2pTimeout()), 500);
    manager->AssignTimeoutConstant(4, 1000);
    manager->AssignTimeoutConstant(4, -1);
    EXPECT_EQ(window(e2pTimeout()), 500);
    manager->AssignTimeoutConstant(4, 1);
    EXPECT_EQ(window(e2pTimeout()), 0);
}

TEST_F(CVeCmdManagerTest, OtherTimeoutOptionsChangeNothing) {
    open();
    for (const std::int32_t option : {-1, 0, 7, 100}) manager->AssignTimeoutConstant(option, 50);
    EXPECT_EQ(rfTimeout() / 20 * 20, 1000);
    EXPECT_EQ(e2pTimeout() / 20 * 20, 4000);
}

TEST_F(CVeCmdManagerTest, TimeoutThreeIsThatOfRfRequests) {
    open();
    manager->AssignTimeoutConstant(3, 3000);
    EXPECT_EQ(rfTimeout() / 20 * 20, 3000);
    EXPECT_EQ(e2pTimeout() / 20 * 20, 4000);
}

TEST_F(CVeCmdManagerTest, SetGeneralParamDoesNothing) {
    open();
    platform.journal().clear();
    manager->SetGeneralParam(1, 2, 3, 4, 5, 6);
    manager->SetGeneralParam(0xFFFFFFFF, 0, 0, -1, -1, -1);
    EXPECT_THAT(platform.journal().texts(), IsEmpty());
    EXPECT_THAT(debugTexts(), IsEmpty());
    EXPECT_EQ(manager->get_CommPortId(), 7);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
}

// --- port number, baud rate, device type

TEST_F(CVeCmdManagerTest, PortNumberOfAClosedPortIsTakenAndShownInThePrefix) {
    manager->put_CommPortId(12);
    EXPECT_EQ(manager->get_CommPortId(), 12);
    manager->ResetCmdManager(0);
    EXPECT_THAT(debugTexts("MovaCmdSvr:(COM12) "), ElementsAre("Close Device", "Close Device Success"));
    manager->put_CommPortId(-3);
    EXPECT_EQ(manager->get_CommPortId(), -3);
}

TEST_F(CVeCmdManagerTest, PortNumberOfAnOpenPortStaysYetThePrefixIsRewrittenAndTheDriverLookedUpAgain) {
    platform.withPort(1);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);  // under the prefix of the object's creation
    manager->put_CommPortId(9);
    EXPECT_EQ(manager->get_CommPortId(), 1);
    platform.datagrams().clear();
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    auto texts = debugTexts("MovaCmdSvr:(COM1) ");
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "Card Type: 1\nDriver Name: Communications Port (COM1)"), 1);
    platform.datagrams().clear();
    EXPECT_EQ(manager->InitCmdManager(0), 0u);  // known by now
    texts = debugTexts("MovaCmdSvr:(COM1) ");
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "Card Type: 1\nDriver Name: Communications Port (COM1)"), 0);
    EXPECT_EQ(manager->ResetCmdManager(0), 0u);
    manager->put_CommPortId(9);
    EXPECT_EQ(manager->get_CommPortId(), 9);
}

TEST_F(CVeCmdManagerTest, AnotherDeviceTypeShowsEmptyParenthesesInThePrefix) {
    manager->SetCommDeviceType(2, 0, 0);
    manager->ResetCmdManager(0);
    manager->put_CommPortId(5);
    manager->ResetCmdManager(0);
    EXPECT_THAT(debugTexts("MovaCmdSvr:() "),
                ElementsAre("Close Device", "Close Device Success", "Close Device", "Close Device Success"));
    EXPECT_EQ(manager->get_CommPortId(), 5);  // stored all the same
}

TEST_F(CVeCmdManagerTest, BaudRateIsUsedAtTheNextOpen) {
    open();
    manager->put_BaudRate(9600);
    EXPECT_EQ(manager->get_BaudRate(), 9600);
    EXPECT_EQ(comm.lineSettings.baudRate, 115200u);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    EXPECT_EQ(comm.lineSettings.baudRate, 9600u);
    EXPECT_EQ(debugTexts().front(), "Open Device:0,9600");
}

TEST_F(CVeCmdManagerTest, SetCommDeviceTypeTakesPortAndBaudRateOnlyForTheSerialType) {
    EXPECT_EQ(manager->SetCommDeviceType(1, 5, 9600), 0u);
    EXPECT_EQ(manager->get_CommPortId(), 1);
    EXPECT_EQ(manager->get_BaudRate(), 115200);
    EXPECT_EQ(manager->SetCommDeviceType(0, 5, 9600), 0u);
    EXPECT_EQ(manager->get_CommPortId(), 5);
    EXPECT_EQ(manager->get_BaudRate(), 9600);
    EXPECT_EQ(manager->SetCommDeviceType(0, 0, 0), 0u);
    EXPECT_EQ(manager->get_CommPortId(), 5);
    EXPECT_EQ(manager->get_BaudRate(), 9600);
    EXPECT_EQ(manager->SetCommDeviceType(0, -1, -1), 0u);
    EXPECT_EQ(manager->get_CommPortId(), 5);
    EXPECT_EQ(manager->get_BaudRate(), 9600);
    EXPECT_EQ(manager->SetCommDeviceType(-1, 8, 300), 0u);
    EXPECT_EQ(manager->get_CommPortId(), 5);
}

TEST_F(CVeCmdManagerTest, SetCommDeviceTypeBringsTheTimeoutsBack) {
    open();
    manager->AssignTimeoutConstant(3, 60);
    manager->AssignTimeoutConstant(4, 60);
    manager->SetCommDeviceType(0, 0, 0);
    EXPECT_EQ(rfTimeout() / 20 * 20, 1000);
    EXPECT_EQ(e2pTimeout() / 20 * 20, 4000);
}

TEST_F(CVeCmdManagerTest, SetCommDeviceTypeForcesANewDriverLookup) {
    open();
    manager->SetCommDeviceType(0, 0, 0);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    EXPECT_EQ(count("Card Type: 6\nDriver Name: USB Serial Port (COM7)"), 1);
}

// --- another device type

TEST_F(CVeCmdManagerTest, AnotherDeviceTypeOpensWithoutTouchingAPort) {
    manager->SetCommDeviceType(1, 5, 9600);
    platform.journal().clear();
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    EXPECT_EQ(manager->ProprietaryOpenComPort(0), 0u);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 0);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_THAT(platform.journal().only({Op::KeyOpen}), IsEmpty());
    EXPECT_THAT(debugTexts("MovaCmdSvr:() "), ElementsAre("Open Device:5,115200", "Open Device Success",
                                                          "Open Device:5,115200", "Open Device Success"));
}

TEST_F(CVeCmdManagerTest, AnotherDeviceTypeHasNoHandle) {
    open();
    EXPECT_EQ(manager->GetDeviceHandle(), 0x100);
    manager->SetCommDeviceType(1, 0, 0);
    EXPECT_EQ(manager->SetDeviceHandle(5), 0x4001u);
    EXPECT_FALSE(manager->GetDeviceHandle().has_value());
    EXPECT_EQ(manager->IsCommDeviceOpen(), 0);
}

// --- handles from outside

TEST_F(CVeCmdManagerTest, HandleIsGivenOnceAndRefusedWhileOpen) {
    EXPECT_EQ(manager->SetDeviceHandle(0x1234), 0u);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
    EXPECT_EQ(manager->GetDeviceHandle(), 0x1234);
    EXPECT_EQ(manager->SetDeviceHandle(0x5678), 0x4346u);
    EXPECT_EQ(manager->GetDeviceHandle(), 0x1234);
    // The manager's own field stays invalid: the port number may still be changed.
    manager->put_CommPortId(7);
    EXPECT_EQ(manager->get_CommPortId(), 7);
}

// --- release

TEST_F(CVeCmdManagerTest, ReleaseOfAClosedObjectOnlySaysSo) {
    manager->put_CommPortId(7);
    manager->FinalRelease();
    EXPECT_THAT(debugTexts(), ElementsAre("FinalRelease"));
    manager->FinalRelease();
    manager.reset();
    EXPECT_THAT(debugTexts(), ElementsAre("FinalRelease"));
}

TEST_F(CVeCmdManagerTest, ReleaseClosesThePortInItsOrder) {
    open();
    manager.reset();
    EXPECT_THAT(debugTexts(), ElementsAre("Close Device", " ### Attempt to Close Com Port!! Handle: 0x100",
                                          " ### Close Com Port Success!!", "Close Device Success", "FinalRelease"));
    EXPECT_FALSE(comm.isOpen());
}

TEST_F(CVeCmdManagerTest, ReleaseTracesThePendingTextFirst) {
    open();
    manager->SwitchOperateMode(5, 0);
    comm.feed("RING\r\n+CREG");
    platform.advance(20);
    platform.datagrams().clear();
    manager.reset();
    EXPECT_THAT(debugTexts(),
                ElementsAre("AT-Purge RING\r\n+CREG", "Close Device", " ### Attempt to Close Com Port!! Handle: 0x100",
                            " ### Close Com Port Success!!", "Close Device Success", "FinalRelease"));
    EXPECT_EQ(readers(), 0u);
}

TEST_F(CVeCmdManagerTest, ReleaseWhoseCloseFailsSaysSoAndTheDeviceTriesOnceMore) {
    open();
    platform.serial().setErrorText(31, "not functioning\r\n");
    platform.failures().fail(Op::Close).error(31);
    manager.reset();
    EXPECT_THAT(debugTexts(),
                ElementsAre("Close Device", " ### Attempt to Close Com Port!! Handle: 0x100",
                            " ### Close Com Port Error : not functioning\r\n(31)", "Close Device Fail", "FinalRelease",
                            " ### Attempt to Close Com Port!! Handle: 0x100", " ### Close Com Port Success!!"));
    EXPECT_FALSE(comm.isOpen());
}

TEST_F(CVeCmdManagerTest, ReleaseUnderAnotherDeviceTypeLeavesTheClosingToTheDevicesOwnEnd) {
    open();
    manager->SetCommDeviceType(1, 0, 0);
    manager.reset();
    EXPECT_THAT(
        debugTexts("MovaCmdSvr:() "),
        ElementsAre("FinalRelease", " ### Attempt to Close Com Port!! Handle: 0x100", " ### Close Com Port Success!!"));
    EXPECT_FALSE(comm.isOpen());
}

TEST_F(CVeCmdManagerTest, ReleaseEndsTheReaderBeforeItReturns) {
    open();
    manager->SwitchOperateMode(2, 0);
    EXPECT_EQ(readers(), 1u);
    manager->FinalRelease();
    EXPECT_EQ(readers(), 0u);
    EXPECT_EQ(listener->ended.size(), 1u);
}

TEST_F(CVeCmdManagerTest, ReleaseEndsTheReaderAlsoWithoutAnOpenPort) {
    manager->put_CommPortId(7);
    manager->SwitchOperateMode(1, 0);
    EXPECT_EQ(readers(), 1u);
    manager.reset();
    EXPECT_EQ(readers(), 0u);
    EXPECT_THAT(debugTexts(), ElementsAre("FinalRelease"));
}

TEST_F(CVeCmdManagerTest, ReleaseEndsAnObjectWhoseThreadTheEventRefused) {
    manager.reset();
    platform.failures().fail(Op::MakeEvent).always();
    manager = std::make_unique<CVeCmdManager>(platform, listener);
    platform.failures().clear();
    open();
    manager->SwitchOperateMode(2, 0);  // its first wait fails and ends it
    platform.settle();
    EXPECT_EQ(readers(), 0u);
    manager.reset();
    EXPECT_FALSE(comm.isOpen());
}

// Frames as the services' own tests have them.
TEST_F(CVeCmdManagerTest, HciActionHasATextWithTheCodesOfTheReplysChecksAndNoneWithTheOthers) {
    open();
    const auto hci = [&](std::int32_t option, const std::string& request, const std::string& answer) {
        comm.expect(request + "\r").reply("*MOVA=ACK\r\n" + answer + "OK\r\n", 5ms);
        return manager->HciAction(option, "0102");
    };
    TextResult result = hci(4, "AT*MOVA=0900A001010200040102AC", "*MOVA=0900A0000102000500CC63\r\n");
    EXPECT_EQ(result.code, 0x4203u);
    EXPECT_EQ(result.text, "00CC");
    result = hci(2, "AT*MOVA=0700A00101000002A5", "*MOVA=0900A0000102000201CC65\r\n");
    EXPECT_EQ(result.code, 0xD303u);
    EXPECT_EQ(result.text, "01CC");
    result = hci(4, "AT*MOVA=0900A001010200040102AC", "");
    EXPECT_EQ(result.code, 0x4203u);
    EXPECT_EQ(result.text, "");
    result = hci(0, "AT*MOVA=0900A001010200000102A8", "");
    EXPECT_EQ(result.code, 0u);
    EXPECT_EQ(result.text, "");
    EXPECT_EQ(manager->HciAction(6, "0102").text, std::nullopt);
    comm.expect("AT*MOVA=0900A001010200040102AC\r");  // no answer at all
    result = manager->HciAction(4, "0102");
    EXPECT_EQ(result.code, 0x4004u);
    EXPECT_EQ(result.text, std::nullopt);
    comm.expect("AT*MOVA=0A00B0010121000200AABB88\r").reply("*MOVA=ACK\r\nOK\r\n", 5ms);
    result = manager->WiFiAction(0x21, "AABB");
    EXPECT_EQ(result.code, 0x4203u);
    EXPECT_EQ(result.text, std::nullopt);
}

TEST_F(CVeCmdManagerTest, SinkFailuresOfTheStatusTextsChangeNothing) {
    platform.failures().fail(Op::DatagramWrite).always();
    open();
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
}

// --- log file and trace

TEST_F(CVeCmdManagerTest, WithoutASetLogFilePathNoLogFileIsCreated) {
    open();
    comm.onWrite([&](std::string_view) { comm.feed("OK\r\n"); });
    manager->SendNormalAtCmd(0, "AT");
    manager->GetNormalAtResult(2);
    manager->SendNormalAtCmd(0, "");
    manager->FetchQueuedCnfTextItem();
    EXPECT_EQ(platform.files().count(), 0u);
    EXPECT_EQ(platform.failures().calls(Op::FileOpen), 0u);
}

TEST_F(CVeCmdManagerTest, AfterSetLogFilePathAnAtCommandAppendsAnAtLineWithSend) {
    open();
    platform.clock().setLocalTime({2024, 3, 5, 9, 7, 2, 45});
    manager->Set_Log_File_Path("C:\\logs\\a.log");
    EXPECT_FALSE(platform.files().exists("C:\\logs\\a.log"));
    manager->SendNormalAtCmd(0, "AT");
    EXPECT_EQ(platform.files().content("C:\\logs\\a.log"), "[2024/03/05-09:07:02::045][00001]\t[AT] Send: AT\r\n");
}

TEST_F(CVeCmdManagerTest, SetLogFilePathWithAnEmptyTextStopsFileLogging) {
    open();
    manager->Set_Log_File_Path("C:\\logs\\a.log");
    manager->Set_Log_File_Path("");
    manager->SendNormalAtCmd(0, "AT");
    EXPECT_EQ(platform.files().count(), 0u);
}

TEST_F(CVeCmdManagerTest, ActivateMovaLoggingStartsAndStopsTheTraceFile) {
    manager->put_CommPortId(7);
    const std::string once = "Close Device\t\t\t\t[T:3]\nClose Device Success\t\t\t\t[T:3]\n";
    EXPECT_EQ(manager->ActivateMovaLogging("D:\\t.log", platform.clock().tickCount() - 3, 1), 0u);
    manager->ResetCmdManager(0);
    EXPECT_EQ(platform.files().content("D:\\t.log"), once);
    EXPECT_EQ(manager->ActivateMovaLogging("D:\\t.log", 0, 0), 0u);
    manager->ResetCmdManager(0);
    EXPECT_EQ(platform.files().content("D:\\t.log"), once);
    platform.files().deny("D:\\t.log");
    platform.files().deny("c:\\TempMova.Log");
    EXPECT_EQ(manager->ActivateMovaLogging("D:\\t.log", 0, 1), 0x1002u);
}

}  // namespace
}  // namespace mova
