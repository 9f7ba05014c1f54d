#include "platform/win32/Win32SerialDriver.h"

#include <bit>
#include <cstddef>

#include "platform/win32/OwnedHandle.h"
#include "platform/win32/Win32InputWatch.h"
#include "platform/win32/Win32Threading.h"

namespace mova {

namespace {

static_assert(sizeof(LineSettings) == sizeof(DCB) && offsetof(LineSettings, xonLimit) == offsetof(DCB, XonLim) &&
              offsetof(LineSettings, byteSize) == offsetof(DCB, ByteSize) &&
              offsetof(LineSettings, stopBits) == offsetof(DCB, StopBits) &&
              offsetof(LineSettings, eventChar) == offsetof(DCB, EvtChar));
static_assert(sizeof(PortTimeouts) == sizeof(COMMTIMEOUTS) &&
              offsetof(PortTimeouts, readConstant) == offsetof(COMMTIMEOUTS, ReadTotalTimeoutConstant) &&
              offsetof(PortTimeouts, writeConstant) == offsetof(COMMTIMEOUTS, WriteTotalTimeoutConstant));
static_assert(sizeof(PortProperties) == sizeof(COMMPROP) &&
              offsetof(PortProperties, maxBaud) == offsetof(COMMPROP, dwMaxBaud) &&
              offsetof(PortProperties, settableData) == offsetof(COMMPROP, wSettableData) &&
              offsetof(PortProperties, currentRxQueue) == offsetof(COMMPROP, dwCurrentRxQueue));
static_assert(sizeof(PortStatus) == sizeof(COMSTAT) && offsetof(PortStatus, inQueue) == offsetof(COMSTAT, cbInQue) &&
              offsetof(PortStatus, outQueue) == offsetof(COMSTAT, cbOutQue));
static_assert(kInfinite == INFINITE);

constexpr DWORD kOverlappedAttributes = FILE_FLAG_OVERLAPPED | FILE_ATTRIBUTE_NORMAL;

// This is the thread's last failure. It is not in the runtime's thread storage, which opens handles that stay behind
// with every host thread when the module goes.
class LastFailure {
public:
    LastFailure() noexcept = default;
    ~LastFailure() { TlsFree(slot_); }
    LastFailure(const LastFailure&) = delete;
    LastFailure& operator=(const LastFailure&) = delete;

    void set(DWORD error) const { TlsSetValue(slot_, reinterpret_cast<void*>(std::uintptr_t{error})); }
    DWORD get() const { return static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(TlsGetValue(slot_))); }

private:
    const DWORD slot_ = TlsAlloc();
};

const LastFailure lastFailure;

HANDLE handleOf(PortHandle port) { return reinterpret_cast<HANDLE>(port); }

bool fail(DWORD error) {
    lastFailure.set(error);
    return false;
}

bool report(BOOL succeeded) { return succeeded || fail(GetLastError()); }

// Wine makes each wait for port events in a thread of its own that its loader does not forget when it has ended: the
// next module that comes with thread storage of its own brings the process down.
bool waitsForPortEventsAreSafe() {
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") == nullptr;
}

// A transfer that the port's time-out ended is reported as a success by some systems and as this error by others. In
// both cases its count says how far it came.
bool endedByTimeout() { return GetLastError() == ERROR_TIMEOUT; }

bool reportTransfer(BOOL succeeded) { return succeeded || endedByTimeout() || fail(GetLastError()); }

}  // namespace

// A Win32Transfer is the system's transfer record and its completion event.
class Win32SerialDriver::Win32Transfer final : public Transfer {
public:
    // Every transfer that the driver is given is one that it made.
    static Win32Transfer& of(Transfer& transfer) { return static_cast<Win32Transfer&>(transfer); }

    Win32Transfer() = default;
    ~Win32Transfer() override { cancel(); }
    Win32Transfer(const Win32Transfer&) = delete;
    Win32Transfer& operator=(const Win32Transfer&) = delete;

    // The transfer is complete with nothing, without the system.
    BeginResult answerEmpty() {
        prepare();
        state_ = State::Empty;
        return BeginResult::Complete;
    }

    // call hands the record to the system.
    template <class Call>
    BeginResult begin(HANDLE port, Call call) {
        prepare();
        port_ = port;
        const bool complete = call(&record_) || endedByTimeout();
        if (!complete && GetLastError() != ERROR_IO_PENDING) {
            fail(GetLastError());
            return BeginResult::Failed;
        }
        state_ = State::Begun;
        return complete ? BeginResult::Complete : BeginResult::Pending;
    }

    WaitResult await(Win32Event* stop, DWORD milliseconds) {
        if (state_ == State::Empty) return WaitResult::Signalled;
        const HANDLE handles[] = {completion_.handle(), stop != nullptr ? stop->handle() : nullptr};
        switch (waitForFirst({handles, std::size_t{stop != nullptr ? 2U : 1U}}, milliseconds)) {
            case WAIT_OBJECT_0: return WaitResult::Signalled;
            case WAIT_OBJECT_0 + 1: return WaitResult::Stopped;
            case WAIT_TIMEOUT: return WaitResult::TimedOut;
            default: fail(GetLastError()); return WaitResult::Failed;
        }
    }

    bool finish(HANDLE port, std::uint32_t& bytes) {
        bytes = 0;
        if (state_ == State::Idle) return fail(ERROR_INVALID_PARAMETER);
        if (state_ == State::Empty) return true;
        DWORD count = 0;
        const bool succeeded = reportTransfer(GetOverlappedResult(port, &record_, &count, FALSE));
        bytes = count;
        return succeeded;
    }

    // CancelIo only asks; the system may use record and buffer until the transfer has really ended.
    void cancel() {
        if (!isPending()) return;
        CancelIo(port_);
        DWORD count = 0;
        do {
            GetOverlappedResult(port_, &record_, &count, TRUE);
        } while (isPending());
    }

private:
    enum class State { Idle, Empty, Begun };

    bool isPending() const { return state_ == State::Begun && !HasOverlappedIoCompleted(&record_); }

    void prepare() {
        cancel();
        state_ = State::Idle;  // the event is reset by the system when it takes the record
        record_ = {};
        record_.hEvent = completion_.handle();
    }

    Win32Event completion_;
    OVERLAPPED record_{};
    HANDLE port_ = nullptr;
    State state_ = State::Idle;
};

PortHandle Win32SerialDriver::open(const std::string& path, bool overlapped) {
    const HANDLE port = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    overlapped ? kOverlappedAttributes : 0, nullptr);
    report(port != INVALID_HANDLE_VALUE);
    return reinterpret_cast<PortHandle>(port);
}

// The wait for bytes ends first: until then the system writes to its record.
bool Win32SerialDriver::close(PortHandle port) {
    if (const auto watch = stopWatching(port)) watch->end();
    return report(CloseHandle(handleOf(port)));
}

std::shared_ptr<Win32InputWatch> Win32SerialDriver::watchOf(PortHandle port) {
    const LockGuard guard(mutex_);
    const auto watch = watches_.find(port);
    return watch != watches_.end() ? watch->second : nullptr;
}

std::shared_ptr<Win32InputWatch> Win32SerialDriver::stopWatching(PortHandle port) {
    const LockGuard guard(mutex_);
    const auto watch = watches_.extract(port);
    return watch.empty() ? nullptr : std::move(watch.mapped());
}

// Without memory there is no watch, and awaitInput() fails.
void Win32SerialDriver::startWatching(PortHandle port) noexcept {
    try {
        const auto watch = std::make_shared<Win32InputWatch>(handleOf(port));
        const LockGuard guard(mutex_);
        watches_.try_emplace(port, watch);
    } catch (const std::bad_alloc&) {
        static_cast<void>(stopWatching(port));
    }
}

bool Win32SerialDriver::setQueueSizes(PortHandle port, std::uint32_t input, std::uint32_t output) {
    return report(SetupComm(handleOf(port), input, output));
}

bool Win32SerialDriver::setTimeouts(PortHandle port, const PortTimeouts& timeouts) {
    auto record = std::bit_cast<COMMTIMEOUTS>(timeouts);
    return report(SetCommTimeouts(handleOf(port), &record));
}

bool Win32SerialDriver::properties(PortHandle port, PortProperties& out) {
    COMMPROP record{};
    if (!report(GetCommProperties(handleOf(port), &record))) return false;
    out = std::bit_cast<PortProperties>(record);
    return true;
}

bool Win32SerialDriver::lineSettings(PortHandle port, LineSettings& out) {
    auto record = std::bit_cast<DCB>(out);
    if (!report(GetCommState(handleOf(port), &record))) return false;
    out = std::bit_cast<LineSettings>(record);
    return true;
}

bool Win32SerialDriver::setLineSettings(PortHandle port, const LineSettings& settings) {
    auto record = std::bit_cast<DCB>(settings);
    return report(SetCommState(handleOf(port), &record));
}

bool Win32SerialDriver::setEventMask(PortHandle port, std::uint32_t mask) {
    if ((mask & kEventMaskRxChar) == 0) {
        if (const auto watch = stopWatching(port)) watch->end();
    }
    if (!report(SetCommMask(handleOf(port), mask))) return false;
    if ((mask & kEventMaskRxChar) != 0 && waitsForPortEventsAreSafe()) startWatching(port);
    return true;
}

bool Win32SerialDriver::clearErrors(PortHandle port, std::uint32_t& errorBits, PortStatus* status) {
    DWORD errors = 0;
    COMSTAT record{};
    if (!report(ClearCommError(handleOf(port), &errors, status != nullptr ? &record : nullptr))) return false;
    const auto watch = watchOf(port);
    errorBits = errors | (watch ? watch->takeErrors() : 0);
    if (status != nullptr) *status = std::bit_cast<PortStatus>(record);
    return true;
}

bool Win32SerialDriver::purge(PortHandle port, std::uint32_t what) { return report(PurgeComm(handleOf(port), what)); }

bool Win32SerialDriver::control(PortHandle port, LineControl function) {
    return report(EscapeCommFunction(handleOf(port), static_cast<DWORD>(function)));
}

bool Win32SerialDriver::modemStatus(PortHandle port, std::uint32_t& out) {
    DWORD status = 0;
    if (!report(GetCommModemStatus(handleOf(port), &status))) return false;
    out = status;
    return true;
}

std::unique_ptr<Transfer> Win32SerialDriver::makeTransfer() { return std::make_unique<Win32Transfer>(); }

BeginResult Win32SerialDriver::beginRead(PortHandle port, Transfer& transfer, void* buffer, std::uint32_t capacity) {
    auto& read = Win32Transfer::of(transfer);
    // The port's time-outs ask for a read that ends at once, also with nothing queued. Not every system keeps to that:
    // where the empty read would stay pending until a byte comes, it is answered here. The error bits that this call
    // clears were reported just before the read. When it fails the read goes ahead and fails by itself.
    DWORD errors = 0;
    COMSTAT status{};
    if (ClearCommError(handleOf(port), &errors, &status) && status.cbInQue == 0) return read.answerEmpty();
    return read.begin(handleOf(port), [&](OVERLAPPED* record) {
        return ReadFile(handleOf(port), buffer, capacity, nullptr, record) != FALSE;
    });
}

BeginResult Win32SerialDriver::beginWrite(PortHandle port, Transfer& transfer, const void* data, std::uint32_t length) {
    return Win32Transfer::of(transfer).begin(handleOf(port), [&](OVERLAPPED* record) {
        return WriteFile(handleOf(port), data, length, nullptr, record) != FALSE;
    });
}

WaitResult Win32SerialDriver::await(Transfer& transfer, Event* stop, std::uint32_t milliseconds) {
    return Win32Transfer::of(transfer).await(Win32Event::of(stop), milliseconds);
}

bool Win32SerialDriver::finish(PortHandle port, Transfer& transfer, std::uint32_t& bytes) {
    return Win32Transfer::of(transfer).finish(handleOf(port), bytes);
}

void Win32SerialDriver::cancel(PortHandle, Transfer& transfer) { Win32Transfer::of(transfer).cancel(); }

void Win32SerialDriver::cancelAll(PortHandle port) { report(CancelIo(handleOf(port))); }

WaitResult Win32SerialDriver::awaitInput(PortHandle port, Event* event, std::uint32_t milliseconds) {
    const auto watch = watchOf(port);
    if (watch) return watch->await(Win32Event::of(event), milliseconds);
    fail(ERROR_INVALID_HANDLE);
    return WaitResult::Failed;
}

bool Win32SerialDriver::read(PortHandle port, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) {
    DWORD count = 0;
    const bool succeeded = reportTransfer(ReadFile(handleOf(port), buffer, capacity, &count, nullptr));
    bytes = count;
    return succeeded;
}

bool Win32SerialDriver::write(PortHandle port, const void* data, std::uint32_t length, std::uint32_t& bytes) {
    DWORD count = 0;
    const bool succeeded = reportTransfer(WriteFile(handleOf(port), data, length, &count, nullptr));
    bytes = count;
    return succeeded;
}

std::uint32_t Win32SerialDriver::lastError() { return lastFailure.get(); }

std::string Win32SerialDriver::errorText(std::uint32_t error) {
    constexpr DWORD kFlags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
    constexpr DWORD kLanguage = 0x400;  // the user's default
    char* buffer = nullptr;
    // With ALLOCATE_BUFFER the parameter is the address of the pointer, by an old convention of the call.
    const DWORD length =
        FormatMessageA(kFlags, nullptr, error, kLanguage, reinterpret_cast<char*>(&buffer), 0, nullptr);
    const std::unique_ptr<char, decltype(&LocalFree)> text(buffer, &LocalFree);
    return std::string(buffer != nullptr ? buffer : "", length);
}

}  // namespace mova
