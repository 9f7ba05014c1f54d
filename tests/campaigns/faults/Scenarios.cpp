#include "campaigns/faults/Scenarios.h"

#include <algorithm>
#include <span>

#include "logging/MyDebugMsg.h"

namespace mova {

namespace {

using M = CVeCmdManager;
using S = Station;
using Codes = Scenario::Codes;

const Codes kOpening{0x3005, 0x4000, 0x4002, 0x4003, 0x4201};
// Writes and reads open the port when it is closed.
const Codes kWriting{0x0010, 0x3006, 0x4000, 0x4002, 0x4003, 0x4005, 0x4010, 0x4201, 0x4341};
const Codes kReading{0x0010, 0x3006, 0x4000, 0x4002, 0x4003, 0x4004, 0x4201, 0x4340};
// A write, then a wait for the answer.
const Codes kAsking{0x0010, 0x3006, 0x4000, 0x4002, 0x4003, 0x4004, 0x4005, 0x4010, 0x4201, 0x4341};
// The same with a reply to check: one that is missing, lacks segments, or makes no flash status record.
const Codes kObject{0x0010, 0x3006, 0x4000, 0x4002, 0x4003, 0x4004, 0x4005,
                    0x4010, 0x4201, 0x4203, 0x4207, 0x4341, 0xB340};
const Codes kHci{0x0010, 0x3006, 0x4000, 0x4002, 0x4003, 0x4004, 0x4005, 0x4010, 0x4201, 0x4203, 0x4341, 0xD303};

constexpr std::array<std::uint8_t, 3> kCommand{0x41, 0x54, 0x0D};

void openAndClose(S& s) {
    s.manager->InitCmdManager(0);
    s.manager->ResetCmdManager(0);
    s.pass(20);
}

void queueTwo(S& s) {
    s.sendUnsolicited();
    s.pass(20);
    s.manager->RfTestCaseReq(7, 1);
    s.pass(20);
}

void sendCommand(S& s) {
    s.manager->SendNormalAtCmd(0, "AT+CSQ");
    s.pass(20);
}

// longest: what the method itself may wait, and for the failure at most 500 ms after a close, 500 ms before a
// reopening, 1000 ms for a configuration that is tried again and 100 ms for a debug viewer that is looked for twice.
// E2P and WiFi requests wait 500 ms at this station for "*MOVA=ACK" and as long for "OK", HCI actions 4000 ms (option
// 1: 10000 ms); RF requests 1000 ms and a tenth of it; AT commands up to 1500 ms for the write, properties as their
// table says; a change of mode up to 2000 ms for the reader's end; the object's end the same, 500 ms for the close, and
// up to 1110 ms for the end of the search for a viewer.
std::vector<Scenario> makeScenarios() {
    return {
        Scenario("get_BaudRate", 2100,
                 [](M& m, S&) {
                     m.get_BaudRate();
                     return 0u;
                 }),
        Scenario("put_BaudRate", 2100,
                 [](M& m, S&) {
                     m.put_BaudRate(9600);
                     return 0u;
                 }),
        Scenario("get_CommPortId", 2100,
                 [](M& m, S&) {
                     m.get_CommPortId();
                     return 0u;
                 }),
        Scenario("put_CommPortId, open", 2100,
                 [](M& m, S&) {
                     m.put_CommPortId(7);
                     return 0u;
                 }),
        Scenario("put_CommPortId, closed", 2100,
                 [](M& m, S&) {
                     m.put_CommPortId(7);
                     return 0u;
                 })
            .closed(),
        Scenario("AssignTimeoutConstant", 2100,
                 [](M& m, S&) {
                     m.AssignTimeoutConstant(3, 1000);
                     return 0u;
                 }),
        Scenario("SetGeneralParam", 2100,
                 [](M& m, S&) {
                     m.SetGeneralParam(1, 2, 3, 4, 5, 6);
                     return 0u;
                 }),
        Scenario("GetCmpVersion", 2100,
                 [](M& m, S&) {
                     m.GetCmpVersion(2);
                     return 0u;
                 }),
        Scenario("SetCommDeviceType, serial", 2100, [](M& m, S&) { return m.SetCommDeviceType(0, 7, 115200); }),
        Scenario("SetCommDeviceType, other and back", 2200,
                 [](M& m, S& s) {
                     m.SetCommDeviceType(1, 0, 0);
                     s.pass(10);
                     return m.SetCommDeviceType(0, 7, 115200);
                 }),
        Scenario("IsCommDeviceOpen", 2100,
                 [](M& m, S&) {
                     m.IsCommDeviceOpen();
                     return 0u;
                 }),
        Scenario("GetDeviceHandle", 2100,
                 [](M& m, S&) {
                     m.GetDeviceHandle();
                     return 0u;
                 }),
        Scenario("SetDeviceHandle, closed", 2100, [](M& m, S& s) { return m.SetDeviceHandle(s.lend()); }).closed(),
        Scenario("SetDeviceHandle, open", 2100, [](M& m, S&) { return m.SetDeviceHandle(5); }).good(0x4346),
        Scenario("CVeCmdManager", 8000,
                 [](M&, S& s) {
                     s.manager.reset();
                     s.make();
                     return 0u;
                 })
            .made(),
        Scenario("~CVeCmdManager, closed", 6100,
                 [](M&, S& s) {
                     s.manager.reset();
                     return 0u;
                 })
            .closed()
            .then(Afterwards::Remake),
        Scenario("~CVeCmdManager, open", 6100,
                 [](M&, S& s) {
                     s.manager.reset();
                     return 0u;
                 })
            .then(Afterwards::Remake),
        Scenario("FinalRelease, open", 6100,
                 [](M& m, S&) {
                     m.FinalRelease();
                     return 0u;
                 })
            .then(Afterwards::Remake),
        Scenario("FinalRelease, half a line pending", 6100,
                 [](M& m, S&) {
                     m.FinalRelease();
                     return 0u;
                 })
            .before([](S& s) {
                s.port.feed("half a line that has no end");
                s.pass(20);
            })
            .then(Afterwards::Remake),
        Scenario("InitCmdManager, closed", 2100, [](M& m, S&) { return m.InitCmdManager(0); })
            .orCodes(kOpening)
            .closed(),
        Scenario("InitCmdManager, open", 2600, [](M& m, S&) { return m.InitCmdManager(0); })
            .orCodes(kOpening)
            .then(Afterwards::Reopen),
        Scenario("ProprietaryOpenComPort, closed", 2100, [](M& m, S&) { return m.ProprietaryOpenComPort(0); })
            .orCodes(kOpening)
            .closed(),
        Scenario("ProprietaryOpenComPort, open", 2600, [](M& m, S&) { return m.ProprietaryOpenComPort(0); })
            .orCodes(kOpening)
            .then(Afterwards::Reopen),
        Scenario("ResetCmdManager, open", 2600, [](M& m, S&) { return m.ResetCmdManager(0); })
            .orCodes({0x4343})
            .then(Afterwards::Reopen),
        Scenario("ResetCmdManager, closed", 2600, [](M& m, S&) { return m.ResetCmdManager(0); })
            .orCodes({0x4343})
            .closed(),
        Scenario("ProprietaryCloseComPort, answers waiting", 2600,
                 [](M& m, S&) { return m.ProprietaryCloseComPort(0); })
            .orCodes({0x4343})
            .before([](S& s) {
                s.sendUnsolicited();
                s.port.feed("half a line that has no end");
                s.pass(20);
            })
            .then(Afterwards::Reopen),
        Scenario("SwitchOperateMode, synchronous", 4200, [](M& m, S&) { return m.SwitchOperateMode(3, 0); })
            .then(Afterwards::SetMode),
        Scenario("SwitchOperateMode, background", 2100, [](M& m, S&) { return m.SwitchOperateMode(5, 0); })
            .then(Afterwards::SetMode),
        Scenario("SwitchOperateMode, background without terminator", 2100,
                 [](M& m, S&) { return m.SwitchOperateMode(2, 0); })
            .then(Afterwards::SetMode),
        Scenario("SwitchOperateMode, events", 2100, [](M& m, S&) { return m.SwitchOperateMode(1, 0); })
            .then(Afterwards::SetMode),
        Scenario("SwitchOperateMode, default", 4200, [](M& m, S&) { return m.SwitchOperateMode(0, 0); })
            .then(Afterwards::SetMode),
        Scenario("SwitchOperateMode, there and back", 4200,
                 [](M& m, S& s) {
                     m.SwitchOperateMode(5, 0);
                     s.pass(20);
                     m.SwitchOperateMode(3, 0);
                     return m.SwitchOperateMode(5, 0);
                 })
            .then(Afterwards::SetMode),
        Scenario("SwitchOperateMode, closed", 2100, [](M& m, S&) { return m.SwitchOperateMode(5, 0); }).closed(),
        Scenario("RfGeneralTestReq", 3200, [](M& m, S&) { return m.RfGeneralTestReq(5, 0x0102); }).orCodes(kAsking),
        Scenario("RfGeneralTestReq, byte by byte", 3200, [](M& m, S&) { return m.RfGeneralTestReq(5, 0x0102); })
            .orCodes(kAsking)
            .plainCard(),
        Scenario("RfGeneralTestReq, closed", 3200, [](M& m, S&) { return m.RfGeneralTestReq(5, 0x0102); })
            .orCodes(kAsking)
            .closed()
            .before(openAndClose),
        Scenario("RfChangeParamReq", 3200, [](M& m, S&) { return m.RfChangeParamReq(1, 2, 3, 0xABCD); })
            .orCodes(kAsking),
        Scenario("RfChangeTableReq, three segments", 3200,
                 [](M& m, S&) {
                     const std::vector<std::uint8_t> table(250, 0x33);
                     return m.RfChangeTableReq(1, 2, 3, 250, std::span(table));
                 })
            .orCodes(kAsking),
        Scenario("RfChangeTableReq, no array", 2100,
                 [](M& m, S&) { return m.RfChangeTableReq(1, 2, 3, 250, std::nullopt); })
            .good(0x3001),
        Scenario("RfTestCaseReq", 3200, [](M& m, S&) { return m.RfTestCaseReq(7, 1); }).orCodes(kAsking),
        Scenario("VbRfVarReq, table", 3200,
                 [](M& m, S&) { return m.VbRfVarReq(2, 1, "2,3,20,000102030405060708090A0B0C0D0E0F10111213"); })
            .orCodes(kAsking),
        Scenario("VbRfVarReq, parameter", 3200, [](M& m, S&) { return m.VbRfVarReq(1, 1, "2,3,4"); }).orCodes(kAsking),
        Scenario("FetchQueuedCnfItem", 2100,
                 [](M& m, S&) {
                     m.FetchQueuedCnfItem();
                     return 0u;
                 })
            .before(queueTwo),
        Scenario("FetchQueuedCnfTextItem", 2100,
                 [](M& m, S&) {
                     m.FetchQueuedCnfTextItem();
                     return 0u;
                 })
            .before(queueTwo),
        Scenario("ClearQueue", 2100,
                 [](M& m, S&) {
                     m.ClearQueue();
                     return 0u;
                 })
            .before(queueTwo),
        Scenario("SendNormalAtCmd", 3600, [](M& m, S&) { return m.SendNormalAtCmd(0, "AT+CSQ"); }).orCodes(kWriting),
        Scenario("SendNormalAtCmd, byte by byte", 3600, [](M& m, S&) { return m.SendNormalAtCmd(0, "AT+CSQ"); })
            .orCodes(kWriting)
            .plainCard(),
        Scenario("SendNormalAtCmd, empty", 2100, [](M& m, S&) { return m.SendNormalAtCmd(0, ""); }).good(0x2007),
        Scenario("GetNormalAtResult, of a command", 3700,
                 [](M& m, S& s) {
                     const Code sent = m.SendNormalAtCmd(0, "AT%V");
                     s.pass(10);
                     return sent != 0 ? sent : m.GetNormalAtResult(2).code;
                 })
            .good(0, 0x4014, 0x4014)
            .orCodes(kWriting),
        Scenario("GetNormalAtResult, option 0", 2100, [](M& m, S&) { return m.GetNormalAtResult(0).code; })
            .good(0, 0x4014, 0x4014)
            .before(sendCommand),
        Scenario("GetNormalAtResult, option 1", 2100, [](M& m, S&) { return m.GetNormalAtResult(1).code; })
            .good(0, 0x4014, 0x4014)
            .before(sendCommand),
        Scenario("GetNormalAtResult, option 2", 2100, [](M& m, S&) { return m.GetNormalAtResult(2).code; })
            .good(0, 0x4014, 0x4014)
            .before(sendCommand),
        Scenario("SetAtCmdProperty 1", 3700, [](M& m, S&) { return m.SetAtCmdProperty(1, 1); }).orCodes(kWriting),
        Scenario("SetAtCmdProperty 2", 5200, [](M& m, S&) { return m.SetAtCmdProperty(2, 0); }).orCodes(kWriting),
        Scenario("SetAtCmdProperty 10", 3800, [](M& m, S&) { return m.SetAtCmdProperty(10, 5); }).orCodes(kWriting),
        Scenario("SetAtCmdProperty 50", 2100, [](M& m, S&) { return m.SetAtCmdProperty(50, 0); }).good(0x3001),
        Scenario("SetAtCmdProperty 101", 4400, [](M& m, S&) { return m.SetAtCmdProperty(101, 1); }).orCodes(kAsking),
        Scenario("SetAtCmdProperty 102", 9100, [](M& m, S&) { return m.SetAtCmdProperty(102, 0); }).orCodes(kAsking),
        Scenario("SetAtCmdProperty 102, silence", 12100, [](M& m, S&) { return m.SetAtCmdProperty(102, 0); })
            .orCodes(kAsking)
            .before([](S& s) { s.port.detach(); }),
        Scenario("SetAtCmdProperty 104", 11600, [](M& m, S&) { return m.SetAtCmdProperty(104, 0); }).orCodes(kAsking),
        Scenario("SetAtCmdProperty 111", 3700, [](M& m, S&) { return m.SetAtCmdProperty(111, 0); }).orCodes(kAsking),
        Scenario("SpecificInfo, version", 5100, [](M& m, S&) { return m.SpecificInfo(0, 0, "").code; })
            .orCodes(kAsking),
        Scenario("SpecificInfo, IMEI", 5100, [](M& m, S&) { return m.SpecificInfo(2, 0, "").code; }).orCodes(kAsking),
        Scenario("SpecificInfo, OTP status", 5100, [](M& m, S&) { return m.SpecificInfo(10, 0, "").code; })
            .orCodes(kAsking),
        Scenario("SpecificInfo, field 1 read", 3100, [](M& m, S&) { return m.SpecificInfo(1, 0, "").code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("SpecificInfo, field 3 written", 3100, [](M& m, S&) { return m.SpecificInfo(3, 1, "SERIAL1").code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("SpecificInfo, field 8 written", 3100, [](M& m, S&) { return m.SpecificInfo(8, 1, "1,2,3").code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("SpecificInfo, flash status read", 3100, [](M& m, S&) { return m.SpecificInfo(9, 0, "1").code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("SpecificInfo, flash status started", 3100, [](M& m, S&) { return m.SpecificInfo(9, 1, "0").code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("SpecificInfo, unknown", 2100, [](M& m, S&) { return m.SpecificInfo(11, 0, "").code; }).good(0x4305),
        Scenario("ReadE2PObject", 3100, [](M& m, S&) { return m.ReadE2PObject(0x1234, 1).code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("ReadWholeE2PObject", 3100, [](M& m, S&) { return m.ReadWholeE2PObject(0x1234, 1).code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("ReadE2PObject, byte by byte", 3100, [](M& m, S&) { return m.ReadE2PObject(0x1234, 1).code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject)
            .plainCard(),
        Scenario("ReadE2PObject, five segments", 3100, [](M& m, S&) { return m.ReadE2PObject(0x2000, 1).code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("WriteE2PObject, five segments", 3100,
                 [](M& m, S&) { return m.WriteE2PObject(0x2000, 1, std::string(1000, '7')).code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("WriteE2PObject, closed", 3100,
                 [](M& m, S&) { return m.WriteE2PObject(0x1234, 1, "0102ABCDEF").code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject)
            .closed()
            .before(openAndClose),
        Scenario("SendE2PPasswd", 3100, [](M& m, S&) { return m.SendE2PPasswd(1, 1, "AABB").code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("SendAuthReq", 3100, [](M& m, S&) { return m.SendAuthReq(1, 1).code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("SendAuthKey", 3100, [](M& m, S&) { return m.SendAuthKey(1, 1, "AABB").code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("SendSerialNumber", 3100, [](M& m, S&) { return m.SendSerialNumber(1, 1, "AABB").code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("SendHashReq", 3100, [](M& m, S&) { return m.SendHashReq(1, 1).code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("SendLockOtp", 3100, [](M& m, S&) { return m.SendLockOtp(1, 1).code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("ReadE2PObjectEx", 3100, [](M& m, S&) { return m.ReadE2PObjectEx(0x1234, 1, 2, 4).code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("WriteE2PObjectEx", 3100, [](M& m, S&) { return m.WriteE2PObjectEx(0x1234, 1, 2, 4, "02AB").code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("HciAction, option 0", 10100, [](M& m, S&) { return m.HciAction(0, "0102").code; })
            .good(0)  // also where the confirmation was an event: nothing reads as option 0
            .orCodes(kObject),
        Scenario("HciAction, option 1", 22100, [](M& m, S&) { return m.HciAction(1, "").code; })
            .good(0, 0, 0x4203)
            .orCodes(kHci),
        Scenario("HciAction, unknown", 2100, [](M& m, S&) { return m.HciAction(6, "").code; }).good(0x4305),
        Scenario("WiFiAction", 3100, [](M& m, S&) { return m.WiFiAction(0x21, "AABB").code; })
            .good(0, 0, 0x4203)
            .orCodes(kObject),
        Scenario("DirectWriteHexData", 2100, [](M& m, S&) { return m.DirectWriteHexData("41540D", 3).code; })
            .orCodes(kWriting),
        Scenario("DirectWriteHexData, closed", 2100, [](M& m, S&) { return m.DirectWriteHexData("41540D", 3).code; })
            .orCodes(kWriting)
            .closed()
            .before(openAndClose),
        Scenario("DirectReadHexData", 2100, [](M& m, S&) { return m.DirectReadHexData(4).code; })
            .orCodes(kReading)
            .before([](S& s) { s.port.feed("ABCDEF"); }),
        Scenario("DirectReadHexData, closed", 2100, [](M& m, S&) { return m.DirectReadHexData(4).code; })
            .orCodes(kReading)
            .closed()
            .before(openAndClose),
        Scenario("DirectQueryDataInQueue", 2100,
                 [](M& m, S&) {
                     m.DirectQueryDataInQueue();
                     return 0u;
                 })
            .before([](S& s) { s.port.feed("ABCDEF"); }),
        Scenario("DirectWriteAsciiData", 2100, [](M& m, S&) { return m.DirectWriteAsciiData(kCommand, 3).code; }),
        Scenario("DirectReadAsciiData", 2100,
                 [](M& m, S&) {
                     std::array<std::uint8_t, 4> bytes{};
                     return m.DirectReadAsciiData(bytes, 4).code;
                 })
            .orCodes(kReading)
            .before([](S& s) { s.port.feed("ABCDEF"); }),
        Scenario("DirectWriteByteData", 2100, [](M& m, S&) { return m.DirectWriteByteData(kCommand.data(), 3).code; })
            .orCodes(kWriting),
        Scenario("RetriveComPortData, at once", 2300,
                 [](M& m, S&) {
                     m.RetriveComPortData(3, 200);
                     return 0u;
                 })
            .before([](S& s) { s.port.feed("ABCDEF"); }),
        Scenario("RetriveComPortData, later", 2300,
                 [](M& m, S&) {
                     m.RetriveComPortData(3, 200);
                     return 0u;
                 })
            .before([](S& s) { s.port.feedAfter(100ms, "ABCDEF"); }),
        Scenario("RetriveComPortData, nothing", 2200,
                 [](M& m, S&) {
                     m.RetriveComPortData(3, 100);
                     return 0u;
                 }),
        Scenario("SetCommSignal", 2200, [](M& m, S&) { return m.SetCommSignal(1, 1); }).orCodes({0x4344}),
        Scenario("DetectCommSignal", 2100,
                 [](M& m, S&) {
                     m.DetectCommSignal(-1);
                     return 0u;
                 }),
        Scenario("SwitchCommFlowControlMode", 2100,
                 [](M& m, S&) {
                     m.SwitchCommFlowControlMode(2);
                     return 0u;
                 }),
        Scenario("ActivateMovaLogging, start", 2100,
                 [](M& m, S&) { return m.ActivateMovaLogging("C:\\logs\\other.log", 0, 1); })
            .orCodes({0x1002}),
        Scenario("ActivateMovaLogging, stop", 2100, [](M& m, S&) { return m.ActivateMovaLogging("", 0, 0); }),
        Scenario("Set_Log_File_Path", 2100,
                 [](M& m, S&) {
                     m.Set_Log_File_Path("C:\\logs\\another handset.log");
                     return 0u;
                 }),
        Scenario("reader, confirmations", 2200,
                 [](M&, S& s) {
                     for (int i = 0; i < 3; ++i) {
                         s.sendUnsolicited();
                         s.pass(20);
                     }
                     return 0u;
                 }),
        Scenario("viewer, vanishes and appears", 6500,
                 [](M& m, S& s) {
                     s.aside([&] { s.platform.datagrams().vanish(MyDebugMsg::kMailslotName); });
                     m.ClearQueue();
                     s.aside([&] { s.platform.withDebugViewer(); });
                     s.pass(2100);
                     m.ClearQueue();
                     return 0u;
                 }),
    };
}

}  // namespace

bool Scenario::allows(std::uint32_t code, std::uint32_t mode) const {
    return code == goodIn(mode) || std::find(codes_.begin(), codes_.end(), code) != codes_.end();
}

void Scenario::prepare(Station& station) const {
    if (start_ == Start::Open) station.open();
    if (start_ == Start::Closed) station.manager->SwitchOperateMode(station.mode(), 0);
    if (prepare_) prepare_(station);
}

const std::vector<Scenario>& scenarios() {
    static const std::vector<Scenario> all = makeScenarios();
    return all;
}

}  // namespace mova
