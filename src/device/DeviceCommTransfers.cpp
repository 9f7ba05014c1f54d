// The transfers of DeviceComm: reads and writes, each ended by its time-out, the stop event or its completion.
#include <string_view>

#include "base/HexText.h"
#include "device/DeviceComm.h"

namespace mova {

namespace {

// A transfer that is under way. It is cancelled on every way out but its completion: the buffer is the caller's and
// must not be written to later.
class PendingTransfer {
public:
    PendingTransfer(SerialDriver& serial, PortHandle port, Transfer& transfer)
        : serial_(serial), port_(port), transfer_(transfer) {}
    ~PendingTransfer() {
        if (!completed_) serial_.cancel(port_, transfer_);
    }
    PendingTransfer(const PendingTransfer&) = delete;
    PendingTransfer& operator=(const PendingTransfer&) = delete;

    WaitResult await(Event* stop, std::uint32_t milliseconds) {
        const WaitResult result = serial_.await(transfer_, stop, milliseconds);
        completed_ = result == WaitResult::Signalled;
        return result;
    }

private:
    SerialDriver& serial_;
    const PortHandle port_;
    Transfer& transfer_;
    bool completed_ = false;
};

}  // namespace

Code DeviceComm::ReadData(void* buffer, std::int32_t capacity, std::uint32_t& bytesRead) {
    bytesRead = 0;
    if (!isOpen() || capacity < 1) return Code::NotOpen;
    ClearDeviceError();  // deliberate: the transfer goes ahead even when the errors would not clear
    const auto size = static_cast<std::uint32_t>(capacity);
    const Code result = overlapped_ ? overlappedRead(buffer, size, bytesRead) : blockingRead(buffer, size, bytesRead);
    if (result == Code::Success && traceReceive_ && bytesRead > 0) {
        message("DC Recv: %s", encodeHex(std::string_view(static_cast<const char*>(buffer), bytesRead)).c_str());
    }
    return result;
}

Code DeviceComm::overlappedRead(void* buffer, std::uint32_t capacity, std::uint32_t& bytesRead) {
    const BeginResult begun = serial_.beginRead(handle_, *reading_, buffer, capacity);
    if (begun == BeginResult::Failed) return closeAfter("ReadFile Error", Code::ReadFailed);
    if (begun == BeginResult::Pending) {
        PendingTransfer pending(serial_, handle_, *reading_);
        switch (pending.await(stop_, readTimeout_)) {
            case WaitResult::Stopped: message("Get Stop Event in ReadData"); return Code::Stopped;
            case WaitResult::TimedOut: message("Read Timeout"); return Code::NoAnswer;
            case WaitResult::Failed: return Code::WaitFailed;
            case WaitResult::Signalled: break;
        }
    }
    if (!serial_.finish(handle_, *reading_, bytesRead)) {
        bytesRead = 0;
        reportLastError(
            "ReadFile Get Overlapped Result Error");  // deliberate: unlike the write side the port stays open
        return Code::ReadFailed;
    }
    return Code::Success;
}

Code DeviceComm::blockingRead(void* buffer, std::uint32_t capacity, std::uint32_t& bytesRead) {
    if (serial_.read(handle_, buffer, capacity, bytesRead)) return Code::Success;
    bytesRead = 0;
    return closeAfter("ReadFile Error", Code::ReadFailed);
}

WaitResult DeviceComm::awaitInput(std::uint32_t milliseconds) {
    return isOpen() ? serial_.awaitInput(handle_, stop_, milliseconds) : WaitResult::Failed;
}

Code DeviceComm::WriteData(const void* data, std::uint32_t length, std::uint32_t& bytesWritten, Before before) {
    bytesWritten = 0;
    if (!isOpen() || static_cast<std::int32_t>(length) < 0) return Code::NotOpen;
    if (before == Before::LookAtErrors) ClearDeviceError();
    const Code result =
        overlapped_ ? overlappedWrite(data, length, bytesWritten) : blockingWrite(data, length, bytesWritten);
    if (result == Code::Success && traceSend_ && bytesWritten > 0) {
        message("DC Send: %s", encodeHex(std::string_view(static_cast<const char*>(data), bytesWritten)).c_str());
    }
    return result;
}

Code DeviceComm::overlappedWrite(const void* data, std::uint32_t length, std::uint32_t& bytesWritten) {
    const BeginResult begun = serial_.beginWrite(handle_, *writing_, data, length);
    if (begun == BeginResult::Failed) return closeAfter("WriteFile Error", Code::WriteFailed);
    if (begun == BeginResult::Pending) {
        PendingTransfer pending(serial_, handle_, *writing_);
        switch (pending.await(stop_, writeTimeout_)) {
            case WaitResult::Stopped: message("Get Stop Event in WriteData"); return Code::Stopped;
            case WaitResult::TimedOut: message("Write Timeout"); return Code::WriteTimeout;
            case WaitResult::Failed: return Code::WaitFailed;
            case WaitResult::Signalled: break;
        }
    }
    if (!serial_.finish(handle_, *writing_, bytesWritten)) {
        bytesWritten = 0;
        return closeAfter("WriteFile Get Overlapped Result Error", Code::WriteFailed);
    }
    if (bytesWritten < length) {
        fileMessage("Desired Write: %d, Real Write: %d", static_cast<int>(length), static_cast<int>(bytesWritten));
        static_cast<void>(CloseDevice());  // what the caller is told is the short write, not what became of the port
        platform_.clock.sleep(kPauseBeforeReopen);
        fileMessage("Try to Re-Open Device");
        static_cast<void>(OpenDevice());
        return Code::ShortWrite;
    }
    return Code::Success;
}

Code DeviceComm::blockingWrite(const void* data, std::uint32_t length, std::uint32_t& bytesWritten) {
    if (!serial_.write(handle_, data, length, bytesWritten)) {
        bytesWritten = 0;
        return closeAfter("WriteFile Error", Code::WriteFailed);
    }
    if (bytesWritten < length) {  // deliberate: unlike the overlapped mode, no reopening and nothing to the file
        message("Desired Write: %d, Real Write: %d", static_cast<int>(length), static_cast<int>(bytesWritten));
        static_cast<void>(CloseDevice());
        return Code::ShortWrite;
    }
    return Code::Success;
}

Code DeviceComm::closeAfter(const char* prefix, Code result) {
    reportLastError(prefix);
    static_cast<void>(CloseDevice());  // the failure before it is told
    return result;
}

}  // namespace mova
