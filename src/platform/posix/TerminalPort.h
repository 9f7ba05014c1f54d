// A TerminalPort is one open terminal device of this machine.
#pragma once
#include <linux/serial.h>

#include <memory>
#include <string>

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PosixPort.h"

namespace mova {

class TerminalPort final : public PosixPort {
public:
    // open() opens the device for this process alone (EBUSY while another has it) and makes it raw. When the result is
    // null, error says why.
    static std::shared_ptr<PosixPort> open(const std::string& device, int& error);
    // adopt() takes a terminal that somebody else opened: it is used as it is set, without waiting in reads and writes.
    static std::shared_ptr<PosixPort> adopt(int descriptor, int& error);
    ~TerminalPort() override;

    int descriptor() const override { return device_.get(); }
    void beginClose() override;
    int lineSettings(LineSettings& out) const override;
    int setLineSettings(const LineSettings& settings) override;
    int clearErrors(std::uint32_t& errorBits, PortStatus* status) override;
    int purge(std::uint32_t what) override;
    int control(LineControl function) override;
    int modemStatus(std::uint32_t& out) const override;
    int readQueued(void* buffer, std::uint32_t capacity, std::uint32_t& bytes) override;
    int writeSome(const void* data, std::uint32_t length, std::uint32_t& bytes) override;

private:
    TerminalPort(int descriptor, bool owned);
    int presence() const override;
    pollfd readiness(short events) const override { return {descriptor(), events, 0}; }
    void raiseAndDropLines(std::uint32_t flags) const;
    std::uint32_t newErrors();

    FileDescriptor device_;
    bool owned_;
    bool countsErrors_;
    serial_icounter_struct counts_ MOVA_GUARDED_BY(mutex_){};
};

}  // namespace mova
