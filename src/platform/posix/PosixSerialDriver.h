// PosixSerialDriver drives Linux terminals and, where a path is RemoteName's, ports of other machines. Port n is where
// PortLinks says; a port handle is the descriptor that PosixPort names. A handle of a terminal that somebody else opened
// is served as well, with that one's settings.
//
// Reads never pend. A write pends while the device's buffer is full; await() carries it on as room comes, and the
// write time-out (multiplier * length + constant, counted from the write's beginning; 0 is none) ends it short.
// Nothing moves outside these calls, so a cancelled or forgotten transfer touches neither buffer nor device.
// close() ends other threads' waits on the port; the device itself closes when their calls have returned.
// The stop event of a wait is one made by PosixThreading. Errors are errno values, kept per thread.
#pragma once
#include <map>
#include <memory>
#include <shared_mutex>

#include "platform/SerialDriver.h"
#include "platform/posix/PortLinks.h"
#include "platform/posix/PosixPort.h"

namespace mova {

class PosixSerialDriver final : public SerialDriver {
public:
    explicit PosixSerialDriver(PortLinks links);
    ~PosixSerialDriver() override;

    std::string portName(std::int64_t number) const override { return links_.nameOf(number); }
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

    // read() keeps to the port's read time-outs.
    bool read(PortHandle port, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) override;
    bool write(PortHandle port, const void* data, std::uint32_t length, std::uint32_t& bytes) override;

    std::uint32_t lastError() override;
    std::string errorText(std::uint32_t error) override;

private:
    class PosixTransfer;
    class PendingTransfers;

    std::string devicePath(const std::string& path) const;
    std::shared_ptr<PosixPort> known(PortHandle port);  // null when nothing was asked of it yet
    std::shared_ptr<PosixPort> find(PortHandle port);   // null and lastError() set when it is no terminal
    template <class Call>
    bool on(PortHandle port, Call call);

    const PortLinks links_;
    const std::shared_ptr<PendingTransfers> pending_;
    std::shared_mutex mutex_;  // guards the map; every call on every port of the process looks into it
    std::map<PortHandle, std::shared_ptr<PosixPort>> ports_;
};

}  // namespace mova
