#include "platform/posix/RemotePort.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "platform/posix/RemoteModule.h"
#include "platform/posix/TermiosLine.h"

namespace mova {

namespace {

// As much as a terminal takes. A write that finds no room pends, and its time-out counts.
constexpr std::size_t kOutputRoom = 4096;
// Ten seconds of a line of a million baud. What nobody takes in that time is dropped, and counts as an overflow, as a
// terminal does it: the replies of the server come behind it and must get through.
constexpr std::size_t kInputRoom = 1 << 20;

bool isAsWanted(const LineSettings& actual, const LineSettings& wanted) {
    return isRate(actual.baudRate, wanted.baudRate) && actual.byteSize == wanted.byteSize &&
           actual.parity == wanted.parity && (actual.stopBits == 0) == (wanted.stopBits == 0);
}

}  // namespace

std::shared_ptr<PosixPort> RemotePort::open(const RemoteName& name, int& error) {
    RemoteLineEntry const entry = loadRemoteModule();
    if (entry == nullptr) {
        error = ELIBACC;
        return nullptr;
    }
    return open(
        name, [entry](RemoteLineUser& user) { return std::unique_ptr<RemoteLine>(entry(&user)); }, error);
}

std::shared_ptr<PosixPort> RemotePort::open(const RemoteName& name, const MakeLine& makeLine, int& error) {
    const std::shared_ptr<RemotePort> port(new RemotePort());
    if (port->descriptor() < 0 || port->roomForOutput_.descriptor() < 0) {
        error = EMFILE;
        return nullptr;
    }
    port->roomForOutput_.set();
    port->line_ = makeLine(*port);
    LineSettings settings;
    error = port->line_ ? port->line_->open(name.host.c_str(), name.port.c_str(), settings) : ENOMEM;
    if (error != 0) return nullptr;
    const LockGuard guard(port->mutex_);
    port->remembered_.baudRate = settings.baudRate;
    port->remembered_.byteSize = settings.byteSize;
    port->remembered_.parity = settings.parity;
    port->remembered_.stopBits = settings.stopBits;
    return port;
}

void RemotePort::beginClose() {
    PosixPort::beginClose();
    line_->beginClose();
}

int RemotePort::presence() const {
    const LockGuard guard(mutex_);
    return lost_ ? EIO : 0;
}

int RemotePort::sinceHangUp(int error) const { return error != 0 && presence() != 0 ? EIO : error; }

pollfd RemotePort::readiness(short events) const {
    return {(events & POLLOUT) != 0 ? roomForOutput_.descriptor() : inputReady_.descriptor(), POLLIN, 0};
}

int RemotePort::lineSettings(LineSettings& out) const {
    const LockGuard guard(mutex_);
    if (lost_) return EIO;
    out = remembered_;
    return 0;
}

int RemotePort::setLineSettings(const LineSettings& settings) {
    if (const int error = presence()) return error;
    if (!isPossible(settings)) return EINVAL;
    LineSettings before;
    if (const int error = lineSettings(before)) return error;
    LineSettings actual;
    if (const int error = line_->apply(settings, actual)) return sinceHangUp(error);
    if (!isAsWanted(actual, settings)) {
        line_->apply(before, actual);
        return EINVAL;
    }
    {
        const LockGuard guard(mutex_);
        remembered_ = settings;
        remembered_.length = sizeof settings;
        remembered_.baudRate = actual.baudRate;
    }
    // A refusal is ignored: pseudo-terminals and plain three-wire devices have no such lines.
    line_->tryControl((settings.flags & LineFlags::DtrControlMask) != 0 ? LineControl::SetDtr : LineControl::ClearDtr);
    const std::uint32_t rts = settings.flags & LineFlags::RtsControlMask;
    if (rts != LineFlags::RtsHandshake) line_->tryControl(rts != 0 ? LineControl::SetRts : LineControl::ClearRts);
    return presence();
}

int RemotePort::clearErrors(std::uint32_t& errorBits, PortStatus* status) {
    const LockGuard guard(mutex_);
    if (lost_) return EIO;
    errorBits = std::exchange(errors_, 0);
    if (status == nullptr) return 0;
    *status = {};
    status->inQueue = static_cast<std::uint32_t>(input_.size());
    status->outQueue = static_cast<std::uint32_t>(output_.size());
    return 0;
}

int RemotePort::purge(std::uint32_t what) {
    const bool input = (what & kPurgeRxClear) != 0;
    const bool output = (what & kPurgeTxClear) != 0;
    {
        const LockGuard guard(mutex_);
        if (lost_) return EIO;
        if (!input && !output) return 0;
        if (input) {
            ++purges_;
            input_.clear();
            inputReady_.reset();
        }
        if (output) {
            output_.clear();
            roomForOutput_.set();
        }
    }
    const int error = line_->purge(what);
    if (input) {
        const LockGuard guard(mutex_);
        --purges_;
    }
    return sinceHangUp(error);
}

int RemotePort::control(LineControl function) {
    if (const int error = presence()) return error;
    return sinceHangUp(line_->control(function));
}

int RemotePort::modemStatus(std::uint32_t& out) const {
    const LockGuard guard(mutex_);
    if (lost_) return EIO;
    out = modemLines_;
    return 0;
}

int RemotePort::readQueued(void* buffer, std::uint32_t capacity, std::uint32_t& bytes) {
    const LockGuard guard(mutex_);
    const std::size_t count = std::min<std::size_t>(capacity, input_.size());
    bytes = static_cast<std::uint32_t>(count);
    if (count == 0) return lost_ ? EIO : 0;
    std::memcpy(buffer, input_.data(), count);
    input_.erase(0, count);
    if (input_.empty() && !lost_) inputReady_.reset();
    return 0;
}

int RemotePort::writeSome(const void* data, std::uint32_t length, std::uint32_t& bytes) {
    bool first = false;
    {
        const LockGuard guard(mutex_);
        bytes = 0;
        if (lost_) return EIO;
        const std::size_t count = std::min<std::size_t>(length, kOutputRoom - output_.size());
        first = count != 0 && output_.empty();
        output_.append(static_cast<const char*>(data), count);
        if (output_.size() == kOutputRoom) roomForOutput_.reset();
        bytes = static_cast<std::uint32_t>(count);
    }
    if (first) line_->outputWaits();
    return 0;
}

void RemotePort::received(const char* bytes, std::size_t count) {
    const LockGuard guard(mutex_);
    if (purges_ != 0) return;
    std::size_t taken = std::min(count, kInputRoom - input_.size());
    try {
        input_.append(bytes, taken);
    } catch (const std::bad_alloc&) {  // nobody on this thread could be told
        taken = 0;
    }
    if (taken < count) errors_ |= LineError::InputOverflow;
    if (taken != 0) inputReady_.set();
}

std::size_t RemotePort::takeOutput(char* to, std::size_t capacity) {
    const LockGuard guard(mutex_);
    const std::size_t count = std::min(capacity, output_.size());
    if (count == 0) return 0;
    std::memcpy(to, output_.data(), count);
    output_.erase(0, count);
    roomForOutput_.set();
    return count;
}

void RemotePort::modemLines(std::uint32_t status) {
    const LockGuard guard(mutex_);
    modemLines_ = status;
}

void RemotePort::lineErrors(std::uint32_t errors) {
    const LockGuard guard(mutex_);
    errors_ |= errors;
}

void RemotePort::lost() {
    const LockGuard guard(mutex_);
    lost_ = true;
    inputReady_.set();
    roomForOutput_.set();
}

}  // namespace mova
