// The scripted serial driver: ports by path, every call noted, every failure on demand. Handles count 0x100, 0x104, ...
// A port opens once at a time (error 5 for the second); an unknown path does not open (error 2); calls on a handle that
// is not open fail with error 6, on an unplugged one with the port's own error. A transfer that is begun anew or
// destroyed while pending fails the test: its buffer may still be written to.
#pragma once
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/SerialDriver.h"
#include "support/ScriptedPort.h"

namespace mova {

class ScriptedTransfer;

class ScriptedSerialDriver : public SerialDriver {
public:
    explicit ScriptedSerialDriver(ScriptedCore& core);
    ~ScriptedSerialDriver() override;

    ScriptedPort& add(const std::string& path);   // made when not there yet
    ScriptedPort& port(const std::string& path);  // of one that is there
    std::size_t openHandles() const { return handles_.size(); }
    std::size_t pendingTransfers() const;
    // The pauses of a driver that does not end them early: bytes end no wait, and there are no long ones.
    void setPlainPauses() { plainPauses_ = true; }
    void setErrorText(std::uint32_t error, std::string text) { errorTexts_[error] = std::move(text); }

    PortHandle open(const std::string& path, bool overlapped) override;
    bool close(PortHandle port) override;
    bool setQueueSizes(PortHandle port, std::uint32_t input, std::uint32_t output) override;
    bool setTimeouts(PortHandle port, const PortTimeouts& timeouts) override;
    bool properties(PortHandle port, PortProperties& out) override;
    bool lineSettings(PortHandle port, LineSettings& out) override;
    bool setLineSettings(PortHandle port, const LineSettings& settings) override;
    bool setEventMask(PortHandle port, std::uint32_t mask) override;
    bool clearErrors(PortHandle port, std::uint32_t& errorBits, PortStatus* status) override;
    bool purge(PortHandle port, std::uint32_t what) override;
    bool control(PortHandle port, LineControl function) override;
    bool modemStatus(PortHandle port, std::uint32_t& out) override;
    std::unique_ptr<Transfer> makeTransfer() override;
    BeginResult beginRead(PortHandle port, Transfer& transfer, void* buffer, std::uint32_t capacity) override;
    BeginResult beginWrite(PortHandle port, Transfer& transfer, const void* data, std::uint32_t length) override;
    WaitResult await(Transfer& transfer, Event* stop, std::uint32_t milliseconds) override;
    bool finish(PortHandle port, Transfer& transfer, std::uint32_t& bytes) override;
    void cancel(PortHandle port, Transfer& transfer) override;
    void cancelAll(PortHandle port) override;
    WaitResult awaitInput(PortHandle port, Event* event, std::uint32_t milliseconds) override;
    bool read(PortHandle port, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) override;
    bool write(PortHandle port, const void* data, std::uint32_t length, std::uint32_t& bytes) override;
    std::uint32_t lastError() override;
    std::string errorText(std::uint32_t error) override;

private:
    friend class ScriptedTransfer;

    struct Handle {
        ScriptedPort* port;
        bool overlapped;
        unsigned plugging;
    };
    struct InputWaiter {
        ScriptedPort* port;
        Signal arrived;
    };
    struct Call {
        ScriptedPort* port = nullptr;    // null: the call has failed
        std::optional<Failure> failure;  // of a kind that the call itself deals with
    };

    // The common beginning of a call on a handle: counted, noted, and failed when it is to fail.
    Call begin(Op op, PortHandle port, std::string_view text, std::string_view outcome = {});
    bool simple(Op op, PortHandle port, std::string_view text, ScriptedPort*& out);
    bool fail(std::uint32_t error);
    Call beginTransfer(Op op, PortHandle port, ScriptedTransfer& transfer, std::string_view text);
    void completeLater(ScriptedTransfer& transfer, VirtualTime when);
    void complete(ScriptedTransfer& transfer);
    void abort(ScriptedTransfer& transfer, std::uint32_t error);
    void portChanged(ScriptedPort& port);
    void watchPeer(ScriptedTransfer& transfer);
    void watchPeer(ScriptedPort& port);
    void endInputWaits(ScriptedPort& port);
    bool passBlocking(PortHandle handle, ScriptedPort& port, std::optional<VirtualTime> time);
    bool isDead(const Handle& handle) const { return handle.plugging != handle.port->plugging_; }

    ScriptedCore& core_;
    std::map<std::string, std::unique_ptr<ScriptedPort>> ports_;
    std::map<PortHandle, Handle> handles_;
    std::vector<ScriptedTransfer*> transfers_;
    std::vector<InputWaiter*> inputWaiters_;
    bool plainPauses_ = false;
    std::map<std::uint32_t, std::string> errorTexts_;
    PortHandle nextHandle_ = 0x100;
};

}  // namespace mova
