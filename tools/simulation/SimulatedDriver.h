// The serial driver of a system whose one port has a simulated handset at its other end. The cable is a null-modem one:
// the handset's CTS is our RTS, its DSR and carrier are our DTR.
//
// The handset is a machine in its caller's time, and so there is no thread: each call brings it up to now. A write is
// complete at once, and a read ends at once with what is there, whatever time-outs are set. Bytes come at the handset's
// own rate. Where the handset hangs up, the port is gone as one whose cable is pulled, and can be opened again after
// kAway.
#pragma once
#include <chrono>
#include <functional>

#include "handset/ProfileFile.h"
#include "platform/SerialDriver.h"
#include "simulation/SimulatedThreading.h"

namespace mova::simulation {

class SimulatedDriver final : public SerialDriver {
public:
    static constexpr std::chrono::seconds kAway{2};

    SimulatedDriver(Bell& bell, const handset::HandsetSetup& setup);

    bool isThere();
    void with(const std::function<void(handset::Handset&)>& action);

    std::string portName(std::int64_t number) const override;
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
    void cancel(PortHandle, Transfer&) override {}
    void cancelAll(PortHandle) override {}
    WaitResult awaitInput(PortHandle port, Event* event, std::uint32_t milliseconds) override;

    bool read(PortHandle port, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) override;
    bool write(PortHandle port, const void* data, std::uint32_t length, std::uint32_t& bytes) override;

    std::uint32_t lastError() override;
    std::string errorText(std::uint32_t error) override;

private:
    class SimulatedTransfer;

    bool isUp(PortHandle port);
    template <class Call>
    bool on(PortHandle port, Call call);
    void bringUpToNow();

    Bell& bell_;
    handset::Handset handset_;
    std::string arrived_;  // and not yet read
    PortHandle port_ = kInvalidPort;
    PortHandle lastPort_ = 0;
    bool hungUp_ = false;  // since the port was opened
    Moment backAt_;
    LineSettings settings_;
    bool dtr_ = false;
    bool rts_ = false;
};

}  // namespace mova::simulation
