// The requests to the handset, and the confirmations that come back.
#include "component/Core.h"
#include "mova/CVeCmdManager.h"

namespace mova {

namespace {

TextResult toResult(TextReply reply) {
    TextResult result{reply.code, std::nullopt};
    if (reply.code == Code::Success) result.text = std::move(reply.data);
    return result;
}

RangeResult toResult(E2pRequests::RangeReply reply, bool withText) {
    RangeResult result;
    result.code = reply.code;
    if (reply.lengthKnown) result.length = reply.length;
    if (withText && reply.code == Code::Success) result.text = std::move(reply.data);
    return result;
}

QueuedItem toItem(Answers::Item item) { return {item.remained, item.length, 0, std::move(item.data)}; }

}  // namespace

// --- RF tests

Code CVeCmdManager::RfGeneralTestReq(std::uint8_t service, std::uint16_t index) {
    const PortLock lock(core_);
    return core_->rf.generalTest(service, index);
}

Code CVeCmdManager::RfChangeParamReq(std::uint8_t request, std::uint8_t access, std::uint16_t index,
                                     std::uint16_t parameter) {
    const PortLock lock(core_);
    return core_->rf.changeParameter(request, access, index, parameter);
}

Code CVeCmdManager::RfChangeTableReq(std::uint8_t request, std::uint8_t access, std::uint16_t index,
                                     std::uint16_t length, std::optional<std::span<const std::uint8_t>> array) {
    const PortLock lock(core_);
    return core_->rf.changeTable(request, access, index, length, array);
}

Code CVeCmdManager::RfTestCaseReq(std::uint8_t request, std::uint8_t access) {
    const PortLock lock(core_);
    return core_->rf.testCase(request, access);
}

Code CVeCmdManager::VbRfVarReq(std::int32_t kind, std::uint8_t request, const std::string& parameter) {
    const PortLock lock(core_);
    return core_->rf.byText(kind, request, parameter);
}

// --- confirmation queue

QueuedItem CVeCmdManager::FetchQueuedCnfItem() {
    const PortLock lock(core_);
    return toItem(core_->answers.fetchBytes());
}

QueuedItem CVeCmdManager::FetchQueuedCnfTextItem() {
    const PortLock lock(core_);
    return toItem(core_->answers.fetchText());
}

void CVeCmdManager::ClearQueue() {
    const PortLock lock(core_);
    core_->answers.takeInAndStartAfresh();
}

// --- AT channel

Code CVeCmdManager::SendNormalAtCmd(std::int32_t, const std::string& command) {
    const PortLock lock(core_);
    return core_->at.sendPassThrough(command);
}

AtResult CVeCmdManager::GetNormalAtResult(std::int32_t option) {
    const PortLock lock(core_);
    AtCommands::Collected collected = core_->at.collect(option);
    return {collected.code, static_cast<std::int32_t>(collected.text.size()), std::move(collected.text)};
}

Code CVeCmdManager::SetAtCmdProperty(std::uint32_t id, std::uint32_t parameter) {
    const PortLock lock(core_);
    return core_->properties.set(id, parameter);
}

TextResult CVeCmdManager::SpecificInfo(std::int32_t option, std::int32_t access, const std::string& parameter) {
    const PortLock lock(core_);
    DeviceInfo::Reply reply = core_->info.ask(option, access, parameter);
    return {reply.code, std::move(reply.text)};
}

// --- E2P objects

TextResult CVeCmdManager::ReadE2PObject(std::int32_t object, std::int32_t record) {
    const PortLock lock(core_);
    return toResult(core_->e2p.request(E2pCommand::Read, object, record));
}

TextResult CVeCmdManager::ReadWholeE2PObject(std::int32_t object, std::int32_t record) {
    const PortLock lock(core_);
    return toResult(core_->e2p.readWhole(object, record));
}

TextResult CVeCmdManager::WriteE2PObject(std::int32_t object, std::int32_t record, const std::string& hexText) {
    const PortLock lock(core_);
    return toResult(core_->e2p.request(E2pCommand::Write, object, record, hexText));
}

TextResult CVeCmdManager::SendE2PPasswd(std::int32_t object, std::int32_t record, const std::string& hexText) {
    const PortLock lock(core_);
    return toResult(core_->e2p.request(E2pCommand::Password, object, record, hexText));
}

TextResult CVeCmdManager::SendAuthReq(std::int32_t object, std::int32_t record) {
    const PortLock lock(core_);
    return toResult(core_->e2p.request(E2pCommand::AuthenticationRequest, object, record));
}

TextResult CVeCmdManager::SendAuthKey(std::int32_t object, std::int32_t record, const std::string& hexText) {
    const PortLock lock(core_);
    return toResult(core_->e2p.request(E2pCommand::AuthenticationKey, object, record, hexText));
}

TextResult CVeCmdManager::SendSerialNumber(std::int32_t object, std::int32_t record, const std::string& hexText) {
    const PortLock lock(core_);
    return toResult(core_->e2p.request(E2pCommand::SerialNumber, object, record, hexText));
}

TextResult CVeCmdManager::SendHashReq(std::int32_t object, std::int32_t record) {
    const PortLock lock(core_);
    return toResult(core_->e2p.request(E2pCommand::HashRequest, object, record));
}

TextResult CVeCmdManager::SendLockOtp(std::int32_t option, std::int32_t record) {
    const PortLock lock(core_);
    return toResult(core_->e2p.request(E2pCommand::LockOtp, option, record));
}

RangeResult CVeCmdManager::ReadE2PObjectEx(std::int32_t object, std::int32_t record, std::int32_t start,
                                           std::int32_t length) {
    const PortLock lock(core_);
    return toResult(core_->e2p.readRange(object, record, start, length), true);
}

RangeResult CVeCmdManager::WriteE2PObjectEx(std::int32_t object, std::int32_t record, std::int32_t start,
                                            std::int32_t length, const std::string& hexText) {
    const PortLock lock(core_);
    return toResult(core_->e2p.writeRange(object, record, start, length, hexText), false);
}

// --- Bluetooth controller and WiFi

TextResult CVeCmdManager::HciAction(std::int32_t option, const std::string& hexCommand) {
    const PortLock lock(core_);
    TextReply reply = core_->actions.hci(option, hexCommand);
    // Deliberate: the codes of the reply's checks come with its data; what ends the action before has none.
    if (reply.code == Code::WrongCommandEcho || reply.code == Code::HciStatus)
        return {reply.code, std::move(reply.data)};
    return toResult(std::move(reply));
}

TextResult CVeCmdManager::WiFiAction(std::uint8_t command, const std::string& hexParameter) {
    const PortLock lock(core_);
    return toResult(core_->actions.wifi(command, hexParameter));
}

}  // namespace mova
