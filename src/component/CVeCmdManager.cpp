#include "mova/CVeCmdManager.h"

#include <algorithm>

#include "atchannel/OperatingMode.h"
#include "component/Rooms.h"
#include "base/HexText.h"
#include "platform/Platform.h"

namespace mova {

namespace {

// A reader thread that is held up by a listener is not waited for longer; it holds what it touches.
constexpr std::uint32_t kReaderEndWait = 2000;

TextResult toResult(TextReply reply) {
    TextResult result{reply.code, std::nullopt};
    if (reply.code == code::Success) result.text = std::move(reply.data);
    return result;
}

RangeResult toResult(E2pRequests::RangeReply reply, bool withText) {
    RangeResult result;
    result.code = reply.code;
    if (reply.lengthKnown) result.length = reply.length;
    if (withText && reply.code == code::Success) result.text = std::move(reply.data);
    return result;
}

QueuedItem toItem(AnswerChannel::Item item) { return {item.remained, item.length, 0, std::move(item.data)}; }

void awaitReader(Rooms& rooms) {
    rooms.reader.awaitEnd(kReaderEndWait, [&rooms] { rooms.tellListener(&ConfirmationEvents::letCallsIn); });
}

std::int32_t toCount(std::uint32_t bytes) { return static_cast<std::int32_t>(bytes); }

}  // namespace

CVeCmdManager::CVeCmdManager(std::shared_ptr<ConfirmationEvents> events)
    : CVeCmdManager(nativePlatform(), std::move(events)) {}

CVeCmdManager::CVeCmdManager(Platform& platform, std::shared_ptr<ConfirmationEvents> events)
    : rooms_(std::make_shared<Rooms>(platform, std::move(events))) {}

CVeCmdManager::~CVeCmdManager() { FinalRelease(); }

void CVeCmdManager::FinalRelease() {
    if (released_) return;
    released_ = true;
    rooms_->reader.requestEnd();
    {
        const Tenure tenure(rooms_);
        const PendingText& pending = rooms_->answers.pending();
        if (!pending.empty()) rooms_->trace.record(TraceKind::Purged, pending.text());
        rooms_->port.closeAtEnd();
    }
    awaitReader(*rooms_);
    rooms_->debug.post("FinalRelease");
}

// --- port and lifecycle

std::int32_t CVeCmdManager::get_BaudRate() const {
    const Tenure tenure(rooms_);
    return rooms_->port.baudRate();
}

void CVeCmdManager::put_BaudRate(std::int32_t baudRate) {
    const Tenure tenure(rooms_);
    rooms_->port.setBaudRate(baudRate);
}

std::int32_t CVeCmdManager::get_CommPortId() const {
    const Tenure tenure(rooms_);
    return rooms_->port.portNumber();
}

void CVeCmdManager::put_CommPortId(std::int32_t port) {
    const Tenure tenure(rooms_);
    rooms_->port.setPortNumber(port);
}

std::uint32_t CVeCmdManager::InitCmdManager(std::uint32_t) {
    const Tenure tenure(rooms_);
    rooms_->answers.clearQueue(AnswerChannel::Purge::Yes);
    rooms_->port.markInitialised();
    return ProprietaryOpenComPort(0);
}

std::uint32_t CVeCmdManager::ProprietaryOpenComPort(std::int32_t) {
    const Tenure tenure(rooms_);
    const std::uint32_t opened = rooms_->port.open();
    return opened == code::Success && !rooms_->session.synchronous ? startReader() : opened;
}

std::uint32_t CVeCmdManager::startReader() { return Rooms::startReader(rooms_); }

std::uint32_t CVeCmdManager::ResetCmdManager(std::uint32_t) { return closePort(); }

std::uint32_t CVeCmdManager::ProprietaryCloseComPort(std::int32_t) { return closePort(); }

std::uint32_t CVeCmdManager::closePort() {
    rooms_->reader.requestStop();
    rooms_->port.stopEvent().set();  // before the lock: it ends the wait of whoever holds it
    const Tenure tenure(rooms_);
    rooms_->answers.clearQueue(AnswerChannel::Purge::Yes);
    return rooms_->port.close();
}

std::int32_t CVeCmdManager::IsCommDeviceOpen() const {
    const Tenure tenure(rooms_);
    return rooms_->port.isSerial() && rooms_->port.device().isOpen() ? 1 : 0;
}

std::optional<std::int32_t> CVeCmdManager::GetDeviceHandle() const {
    const Tenure tenure(rooms_);
    if (!rooms_->port.isSerial()) return std::nullopt;
    return static_cast<std::int32_t>(rooms_->port.device().handle());
}

std::uint32_t CVeCmdManager::SetDeviceHandle(std::int32_t lHandle) {
    const Tenure tenure(rooms_);
    return rooms_->port.isSerial() ? rooms_->port.device().setHandle(lHandle) : code::NotSerial;
}

std::uint32_t CVeCmdManager::SetCommDeviceType(std::int16_t sDeviceType, std::int32_t lDevicePara1,
                                               std::int32_t lDevicePara2) {
    struct Default {
        std::int32_t option;
        std::int32_t milliseconds;
    };
    constexpr Default kDefaults[] = {{1, 1000}, {2, 1000}, {3, 1000}, {4, 4000}, {5, 1500}};  // 6 keeps its value
    const Tenure tenure(rooms_);
    rooms_->port.setDeviceType(sDeviceType, lDevicePara1, lDevicePara2);
    for (const Default& timeout : kDefaults) AssignTimeoutConstant(timeout.option, timeout.milliseconds);
    return code::Success;
}

void CVeCmdManager::AssignTimeoutConstant(std::int32_t lOption, std::int32_t lMiliSecTimeout) {
    const Tenure tenure(rooms_);
    rooms_->session.setTimeout(lOption, lMiliSecTimeout);
}

// Kept on purpose as a method that does nothing.
void CVeCmdManager::SetGeneralParam(std::uint32_t, std::uint32_t, std::uint32_t, std::int32_t, std::int32_t,
                                    std::int32_t) {}

std::string CVeCmdManager::GetCmpVersion(std::int32_t lOption) const {
    constexpr std::int32_t kBuildText = 2;
    return lOption == kBuildText ? rooms_->version.build : rooms_->version.version;
}

// --- RF tests

std::uint32_t CVeCmdManager::RfGeneralTestReq(std::uint8_t bytServiceType, std::uint16_t ushIndex) {
    const Tenure tenure(rooms_);
    return rooms_->rf.generalTest(bytServiceType, ushIndex);
}

std::uint32_t CVeCmdManager::RfChangeParamReq(std::uint8_t bytReq, std::uint8_t bytAccess, std::uint16_t ushIndex,
                                              std::uint16_t ushParam) {
    const Tenure tenure(rooms_);
    return rooms_->rf.changeParameter(bytReq, bytAccess, ushIndex, ushParam);
}

std::uint32_t CVeCmdManager::RfChangeTableReq(std::uint8_t bytReq, std::uint8_t bytAccess, std::uint16_t ushIndex,
                                              std::uint16_t ushLength,
                                              std::optional<std::span<const std::uint8_t>> array) {
    const Tenure tenure(rooms_);
    return rooms_->rf.changeTable(bytReq, bytAccess, ushIndex, ushLength, array);
}

std::uint32_t CVeCmdManager::RfTestCaseReq(std::uint8_t bytReq, std::uint8_t bytAccess) {
    const Tenure tenure(rooms_);
    return rooms_->rf.testCase(bytReq, bytAccess);
}

std::uint32_t CVeCmdManager::VbRfVarReq(std::int32_t lReqType, std::uint8_t bytReq, const std::string& parameter) {
    const Tenure tenure(rooms_);
    return rooms_->rf.byText(lReqType, bytReq, parameter);
}

// --- confirmation queue

QueuedItem CVeCmdManager::FetchQueuedCnfItem() {
    const Tenure tenure(rooms_);
    return toItem(rooms_->answers.fetchBytes());
}

QueuedItem CVeCmdManager::FetchQueuedCnfTextItem() {
    const Tenure tenure(rooms_);
    return toItem(rooms_->answers.fetchText());
}

void CVeCmdManager::ClearQueue() {
    const Tenure tenure(rooms_);
    rooms_->answers.ClearQueue();
}

// --- AT channel

std::uint32_t CVeCmdManager::SendNormalAtCmd(std::int32_t, const std::string& command) {
    const Tenure tenure(rooms_);
    return rooms_->at.SendNormalAtCmd(command);
}

AtResult CVeCmdManager::GetNormalAtResult(std::int32_t lOption) {
    const Tenure tenure(rooms_);
    AtChannel::Collected collected = rooms_->at.GetNormalAtResult(lOption);
    return {collected.code, static_cast<std::int32_t>(collected.text.size()), std::move(collected.text)};
}

std::uint32_t CVeCmdManager::SetAtCmdProperty(std::uint32_t ulPropertyId, std::uint32_t ulParam) {
    const Tenure tenure(rooms_);
    return rooms_->properties.set(ulPropertyId, ulParam);
}

std::uint32_t CVeCmdManager::SwitchOperateMode(std::uint32_t ulOption, std::uint32_t) {
    const std::shared_ptr<Rooms> rooms = rooms_;  // a listener that is let in may end this object
    {
        const Tenure tenure(rooms);
        setOperatingMode(rooms->session, ulOption);
        if (!rooms->session.synchronous) {
            Rooms::startReader(rooms);  // deliberate: a failure is not told
            return code::Success;
        }
    }
    // The stop event must be down again before the caller's next exchange, which it would end.
    rooms->reader.requestStop();
    awaitReader(*rooms);
    const Tenure tenure(rooms);
    rooms->answers.clearQueue(AnswerChannel::Purge::No);
    rooms->answers.discardInput();
    return code::Success;
}

TextResult CVeCmdManager::SpecificInfo(std::int32_t lOption, std::int32_t iAccess, const std::string& parameter) {
    const Tenure tenure(rooms_);
    DeviceInfo::Info info = rooms_->info.ask(lOption, iAccess, parameter);
    return {info.code, std::move(info.text)};
}

// --- E2P objects

TextResult CVeCmdManager::ReadE2PObject(std::int32_t objectId, std::int32_t record) {
    const Tenure tenure(rooms_);
    return toResult(rooms_->e2p.request(E2pCommand::Read, objectId, record));
}

TextResult CVeCmdManager::WriteE2PObject(std::int32_t objectId, std::int32_t record, const std::string& hexText) {
    const Tenure tenure(rooms_);
    return toResult(rooms_->e2p.request(E2pCommand::Write, objectId, record, hexText));
}

TextResult CVeCmdManager::SendE2PPasswd(std::int32_t objectId, std::int32_t record, const std::string& hexText) {
    const Tenure tenure(rooms_);
    return toResult(rooms_->e2p.request(E2pCommand::Password, objectId, record, hexText));
}

TextResult CVeCmdManager::SendAuthReq(std::int32_t objectId, std::int32_t record) {
    const Tenure tenure(rooms_);
    return toResult(rooms_->e2p.request(E2pCommand::AuthenticationRequest, objectId, record));
}

TextResult CVeCmdManager::SendAuthKey(std::int32_t objectId, std::int32_t record, const std::string& hexText) {
    const Tenure tenure(rooms_);
    return toResult(rooms_->e2p.request(E2pCommand::AuthenticationKey, objectId, record, hexText));
}

TextResult CVeCmdManager::SendSerialNumber(std::int32_t objectId, std::int32_t record, const std::string& hexText) {
    const Tenure tenure(rooms_);
    return toResult(rooms_->e2p.request(E2pCommand::SerialNumber, objectId, record, hexText));
}

TextResult CVeCmdManager::SendHashReq(std::int32_t objectId, std::int32_t record) {
    const Tenure tenure(rooms_);
    return toResult(rooms_->e2p.request(E2pCommand::HashRequest, objectId, record));
}

TextResult CVeCmdManager::SendLockOtp(std::int32_t lOption, std::int32_t lRecord) {
    const Tenure tenure(rooms_);
    return toResult(rooms_->e2p.request(E2pCommand::LockOtp, lOption, lRecord));
}

RangeResult CVeCmdManager::ReadE2PObjectEx(std::int32_t objectId, std::int32_t record, std::int32_t startPos,
                                           std::int32_t length) {
    const Tenure tenure(rooms_);
    return toResult(rooms_->e2p.readRange(objectId, record, startPos, length), true);
}

RangeResult CVeCmdManager::WriteE2PObjectEx(std::int32_t objectId, std::int32_t record, std::int32_t startPos,
                                            std::int32_t length, const std::string& hexText) {
    const Tenure tenure(rooms_);
    return toResult(rooms_->e2p.writeRange(objectId, record, startPos, length, hexText), false);
}

// --- Bluetooth controller and WiFi

TextResult CVeCmdManager::HciAction(std::int32_t lOption, const std::string& hexCommand) {
    const Tenure tenure(rooms_);
    return toResult(rooms_->actions.hci(lOption, hexCommand));
}

TextResult CVeCmdManager::WiFiAction(std::uint8_t bytCmd, const std::string& hexParameter) {
    const Tenure tenure(rooms_);
    return toResult(rooms_->actions.wifi(bytCmd, hexParameter));
}

// --- raw port access

CountResult CVeCmdManager::DirectWriteHexData(const std::string& hexText, std::int32_t lDataToWrite) {
    const Tenure tenure(rooms_);
    std::uint32_t written = 0;
    const std::uint32_t result = rooms_->direct.writeHex(hexText, lDataToWrite, written);
    return {result, toCount(written)};
}

ReadResult CVeCmdManager::DirectReadHexData(std::int32_t lDataToRead) {
    const Tenure tenure(rooms_);
    std::string bytes;
    ReadResult result;
    result.code = rooms_->direct.read(lDataToRead, bytes);
    if (!bytes.empty()) {
        result.count = static_cast<std::int32_t>(bytes.size());
        result.data = encodeHex(bytes);
    }
    return result;
}

std::int32_t CVeCmdManager::DirectQueryDataInQueue() {
    const Tenure tenure(rooms_);
    return toCount(rooms_->direct.waiting());
}

CountResult CVeCmdManager::DirectWriteAsciiData(std::span<const std::uint8_t> array, std::int32_t lDataToWrite) {
    const Tenure tenure(rooms_);
    std::uint32_t written = 0;
    rooms_->direct.writeArray(array, lDataToWrite, written);
    return {code::Success, toCount(written)};
}

CountResult CVeCmdManager::DirectReadAsciiData(std::span<std::uint8_t> array, std::int32_t lDataToRead) {
    const Tenure tenure(rooms_);
    const auto room =
        static_cast<std::int32_t>(std::min(array.size(), static_cast<std::size_t>(std::max(lDataToRead, 0))));
    std::string bytes;
    CountResult result;
    if (room < 1) {  // nowhere to read to: the port's availability is told all the same
        if (lDataToRead > 0) rooms_->port.makeAvailable(HandsetPort::OpenTest::Device, result.code);
        return result;
    }
    result.code = rooms_->direct.read(room, bytes);
    std::copy(bytes.begin(), bytes.end(), array.begin());
    result.count = static_cast<std::int32_t>(bytes.size());
    return result;
}

CountResult CVeCmdManager::DirectWriteByteData(const std::uint8_t* pbytBuf, std::int32_t lDataToWrite) {
    if (lDataToWrite < 1 || !pbytBuf) return {};
    const Tenure tenure(rooms_);
    std::uint32_t written = 0;
    const std::uint32_t result = rooms_->direct.writeBytes(pbytBuf, lDataToWrite, written);
    return {result, toCount(written)};
}

std::optional<std::string> CVeCmdManager::RetriveComPortData(std::int32_t lOption, std::int32_t lPollingDuration) {
    const Tenure tenure(rooms_);
    return rooms_->direct.collect(lOption, lPollingDuration);
}

// --- modem lines

std::uint32_t CVeCmdManager::SetCommSignal(std::int32_t iIndex, std::int32_t bValue) {
    const Tenure tenure(rooms_);
    return rooms_->port.device().setSignal(iIndex, bValue != 0);
}

std::int32_t CVeCmdManager::DetectCommSignal(std::int32_t iIndex) {
    const Tenure tenure(rooms_);
    std::int32_t value = 0;
    rooms_->port.device().detectSignal(iIndex, value);
    return value;
}

void CVeCmdManager::SwitchCommFlowControlMode(std::int32_t lFlowControlMode) {
    const Tenure tenure(rooms_);
    rooms_->port.switchFlowControlMode(lFlowControlMode);
}

// --- logging

std::uint32_t CVeCmdManager::ActivateMovaLogging(const std::string& fileName, std::uint32_t ulStartTick,
                                                 std::uint32_t pulParamError) {
    return rooms_->trace.activate(fileName, ulStartTick, pulParamError);
}

void CVeCmdManager::Set_Log_File_Path(const std::string& path) {
    const Tenure tenure(rooms_);
    rooms_->session.logFilePath = path;
}

}  // namespace mova
