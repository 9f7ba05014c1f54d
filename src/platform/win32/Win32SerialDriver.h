// Win32SerialDriver drives serial ports on Windows: every operation is the system's own call, its records handed
// through unchanged.
//
// The stop event of a wait is one made by Win32Threading. A transfer is begun, awaited and cancelled on one thread.
// A transfer that the port's own time-out ended is not a failure but a short one.
#pragma once
#include <map>

#include "platform/SerialDriver.h"

namespace mova {

class Win32InputWatch;

class Win32SerialDriver final : public SerialDriver {
public:
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

    // Ports that have received characters in their event mask are watched, from setEventMask() to close(); but not
    // under Wine, where this fails.
    WaitResult awaitInput(PortHandle port, Event* event, std::uint32_t milliseconds) override;

    bool read(PortHandle port, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) override;
    bool write(PortHandle port, const void* data, std::uint32_t length, std::uint32_t& bytes) override;

    std::uint32_t lastError() override;
    std::string errorText(std::uint32_t error) override;  // empty when the system has no text for it

private:
    class Win32Transfer;

    std::shared_ptr<Win32InputWatch> watchOf(PortHandle port);
    std::shared_ptr<Win32InputWatch> stopWatching(PortHandle port);
    void startWatching(PortHandle port) noexcept;

    Mutex mutex_;
    std::map<PortHandle, std::shared_ptr<Win32InputWatch>> watches_ MOVA_GUARDED_BY(mutex_);
};

}  // namespace mova
