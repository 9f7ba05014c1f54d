#include "mova/CVeCmdManager.h"

#include <algorithm>
#include <optional>

#include "atchannel/OperatingMode.h"
#include "base/HexText.h"
#include "component/Core.h"
#include "device/StopEvent.h"
#include "mova/Options.h"
#include "platform/Platform.h"

namespace mova {

namespace {

// A reader thread that is held up by a listener is not waited for longer; it holds what it touches.
constexpr std::uint32_t kReaderEndWait = 2000;

MOVA_EXCLUDES(portLockRole) void awaitReader(Core& core) {
    core.reader.awaitEnd(kReaderEndWait, [&core] { core.tellListener(&ConfirmationEvents::letCallsIn); });
}

std::int32_t toCount(std::uint32_t bytes) { return static_cast<std::int32_t>(bytes); }

}  // namespace

CVeCmdManager::CVeCmdManager(std::shared_ptr<ConfirmationEvents> events)
    : CVeCmdManager(nativePlatform(), std::move(events)) {}

CVeCmdManager::CVeCmdManager(Platform& platform, std::shared_ptr<ConfirmationEvents> events)
    : core_(std::make_shared<Core>(platform, std::move(events))) {}

CVeCmdManager::~CVeCmdManager() { FinalRelease(); }

void CVeCmdManager::FinalRelease() {
    if (released_) return;
    released_ = true;
    core_->reader.requestEnd();
    const StopEvent::End end(core_->port.stopEvent(), StopEvent::End::Stays::Yes);  // before the lock
    {
        const PortLock lock(core_);
        const PendingText& pending = core_->answers.pending();
        if (!pending.empty()) core_->trace.record(TraceKind::Purged, pending.text());
        core_->port.closeAtEnd();
    }
    awaitReader(*core_);
    core_->debug.post("FinalRelease");
}

// --- port and lifecycle

std::int32_t CVeCmdManager::get_BaudRate() const {
    const PortLock lock(core_);
    return core_->port.baudRate();
}

void CVeCmdManager::put_BaudRate(std::int32_t baudRate) {
    const PortLock lock(core_);
    core_->port.setBaudRate(baudRate);
}

std::int32_t CVeCmdManager::get_CommPortId() const {
    const PortLock lock(core_);
    return core_->port.portNumber();
}

void CVeCmdManager::put_CommPortId(std::int32_t port) {
    const PortLock lock(core_);
    core_->port.setPortNumber(port);
}

Code CVeCmdManager::InitCmdManager(std::uint32_t) {
    const PortLock lock(core_);
    core_->answers.dropRecords(Answers::Purge::Yes);
    core_->port.markInitialised();
    return ProprietaryOpenComPort(0);
}

Code CVeCmdManager::ProprietaryOpenComPort(std::int32_t) {
    const PortLock lock(core_);
    const Code opened = core_->port.open();
    return opened == Code::Success && !core_->session.synchronous ? Core::startReader(core_) : opened;
}

Code CVeCmdManager::ResetCmdManager(std::uint32_t) { return closePort(); }

Code CVeCmdManager::ProprietaryCloseComPort(std::int32_t) { return closePort(); }

Code CVeCmdManager::closePort() {
    core_->reader.requestStop();
    // Before the lock: what its holder does ends, and what waits for the lock before this is not begun.
    const StopEvent::End end(core_->port.stopEvent(), StopEvent::End::Stays::Yes);
    const PortLock lock(core_);
    core_->answers.dropRecords(Answers::Purge::Yes);
    return core_->port.close();
}

std::int32_t CVeCmdManager::IsCommDeviceOpen() const {
    const PortLock lock(core_);
    return core_->port.isSerial() && core_->port.device().isOpen() ? 1 : 0;
}

std::optional<std::int32_t> CVeCmdManager::GetDeviceHandle() const {
    const PortLock lock(core_);
    if (!core_->port.isSerial()) return std::nullopt;
    return static_cast<std::int32_t>(core_->port.device().handle());
}

Code CVeCmdManager::SetDeviceHandle(std::int32_t handle) {
    const PortLock lock(core_);
    return core_->port.isSerial() ? core_->port.device().setHandle(handle) : Code::NotSerial;
}

Code CVeCmdManager::SetCommDeviceType(std::int16_t type, std::int32_t port, std::int32_t baudRate) {
    constexpr std::int32_t kReset = 5;  // 6 keeps its value
    const PortLock lock(core_);
    core_->port.setDeviceType(type, port, baudRate);
    for (std::int32_t option = 1; option <= kReset; ++option) {
        const std::uint32_t first = Session::kFirstTimeouts[static_cast<std::size_t>(option - 1)];
        AssignTimeoutConstant(option, static_cast<std::int32_t>(first));
    }
    return Code::Success;
}

void CVeCmdManager::AssignTimeoutConstant(std::int32_t option, std::int32_t milliseconds) {
    const PortLock lock(core_);
    core_->session.setTimeout(option, milliseconds);
}

// Kept on purpose as a method that does nothing.
void CVeCmdManager::SetGeneralParam(std::uint32_t, std::uint32_t, std::uint32_t, std::int32_t, std::int32_t,
                                    std::int32_t) {}

std::string CVeCmdManager::GetCmpVersion(std::int32_t option) const {
    return option == number(CmpVersion::Build) ? core_->version.build : core_->version.version;
}

// --- operating modes

Code CVeCmdManager::SwitchOperateMode(std::uint32_t mode, std::uint32_t) {
    const std::shared_ptr<Core> core = core_;  // a listener that is let in may end this object
    {
        const PortLock lock(core);
        setOperatingMode(core->session, mode);
        if (!core->session.synchronous) {
            static_cast<void>(Core::startReader(core));  // deliberate: a failure is not told
            return Code::Success;
        }
    }
    {
        // The stop event must be down again before the caller's next exchange, which it would end.
        std::optional<StopEvent::End> end;
        if (core->reader.isRecorded()) end.emplace(core->port.stopEvent(), StopEvent::End::Stays::No);
        core->reader.requestStop();
        awaitReader(*core);
    }
    const PortLock lock(core);
    // A listener has kept it, or has called this: it ends as soon as the listener is through, without the event.
    if (core->reader.isRecorded()) core->port.stopEvent().reset();
    core->answers.dropRecords(Answers::Purge::No);
    core->answers.discardInput();
    return Code::Success;
}

// --- raw port access

CountResult CVeCmdManager::DirectWriteHexData(const std::string& hexText, std::int32_t count) {
    const PortLock lock(core_);
    std::uint32_t written = 0;
    const Code result = core_->direct.writeHex(hexText, count, written);
    return {result, toCount(written)};
}

ReadResult CVeCmdManager::DirectReadHexData(std::int32_t count) {
    const PortLock lock(core_);
    std::string bytes;
    ReadResult result;
    result.code = core_->direct.read(count, bytes);
    if (!bytes.empty()) {
        result.count = static_cast<std::int32_t>(bytes.size());
        result.data = encodeHex(bytes);
    }
    return result;
}

std::int32_t CVeCmdManager::DirectQueryDataInQueue() {
    const PortLock lock(core_);
    return toCount(core_->direct.waiting());
}

CountResult CVeCmdManager::DirectWriteAsciiData(std::span<const std::uint8_t> array, std::int32_t count) {
    const PortLock lock(core_);
    std::uint32_t written = 0;
    core_->direct.writeArray(array, count, written);
    return {Code::Success, toCount(written)};
}

CountResult CVeCmdManager::DirectReadAsciiData(std::span<std::uint8_t> array, std::int32_t count) {
    const PortLock lock(core_);
    const auto capacity =
        static_cast<std::int32_t>(std::min(array.size(), static_cast<std::size_t>(std::max(count, 0))));
    std::string bytes;
    CountResult result;
    if (capacity < 1) {  // nowhere to read to: the port's availability is told all the same
        if (count > 0) core_->port.makeAvailable(HandsetPort::OpenTest::Device, result.code);
        return result;
    }
    result.code = core_->direct.read(capacity, bytes);
    std::copy(bytes.begin(), bytes.end(), array.begin());
    result.count = static_cast<std::int32_t>(bytes.size());
    return result;
}

CountResult CVeCmdManager::DirectWriteByteData(const std::uint8_t* bytes, std::int32_t count) {
    if (count < 1 || !bytes) return {};
    const PortLock lock(core_);
    std::uint32_t written = 0;
    const Code result = core_->direct.writeBytes(bytes, count, written);
    return {result, toCount(written)};
}

std::optional<std::string> CVeCmdManager::RetriveComPortData(std::int32_t option, std::int32_t milliseconds) {
    const PortLock lock(core_);
    return core_->direct.collect(option, milliseconds);
}

// --- modem lines

Code CVeCmdManager::SetCommSignal(std::int32_t index, std::int32_t value) {
    const PortLock lock(core_);
    return core_->port.device().setSignal(index, value != 0);
}

std::int32_t CVeCmdManager::DetectCommSignal(std::int32_t index) {
    const PortLock lock(core_);
    std::int32_t value = 0;
    static_cast<void>(core_->port.device().detectSignal(index, value));  // a failure reads as 0
    return value;
}

void CVeCmdManager::SwitchCommFlowControlMode(std::int32_t mode) {
    const PortLock lock(core_);
    core_->port.switchFlowControlMode(mode);
}

// --- logging

Code CVeCmdManager::ActivateMovaLogging(const std::string& fileName, std::uint32_t startTick, std::uint32_t request) {
    return core_->trace.activate(fileName, startTick, request);
}

void CVeCmdManager::Set_Log_File_Path(const std::string& path) {
    const PortLock lock(core_);
    core_->log.setPath(path);
}

}  // namespace mova
