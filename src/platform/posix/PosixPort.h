// A PosixPort is one open terminal device and what is remembered of it because the device itself cannot: flags of the
// line settings without a counterpart, time-outs, queue sizes, error counts.
//
// Operations return errno, 0 for success. They may be called from several threads; the descriptor closes when the
// last user lets go of the object, so that no number is reused under a call that is under way.
#pragma once
#include <linux/serial.h>

#include <memory>
#include <string>

#include "platform/SerialDriver.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PosixThreading.h"

namespace mova {

enum class PortWait { Ready, Stopped, TimedOut, Closed, Failed };

class PosixPort {
public:
    // open() opens the device for this process alone (EBUSY while another has it) and makes it raw. When the result is
    // null, error says why.
    static std::shared_ptr<PosixPort> open(const std::string& device, int& error);
    // adopt() takes a terminal that somebody else opened: it is used as it is set, without waiting in reads and writes.
    static std::shared_ptr<PosixPort> adopt(int descriptor, int& error);
    ~PosixPort();
    PosixPort(const PosixPort&) = delete;
    PosixPort& operator=(const PosixPort&) = delete;

    int descriptor() const { return device_.get(); }
    // From now on the device goes with this object; waits for it end.
    void beginClose();
    bool isClosing() { return closing_.isSet(); }

    int setQueueSizes(std::uint32_t input, std::uint32_t output);
    int setTimeouts(const PortTimeouts& timeouts);
    PortTimeouts timeouts() const;
    int properties(PortProperties& out) const;
    int lineSettings(LineSettings& out) const;
    int setLineSettings(const LineSettings& settings);
    int setEventMask(std::uint32_t mask) const;  // nobody waits for port events: there is nothing to keep
    int clearErrors(std::uint32_t& errorBits, PortStatus* status);
    int purge(std::uint32_t what) const;
    int control(LineControl function) const;
    int modemStatus(std::uint32_t& out) const;

    // readQueued() takes what is queued, at once; these are 0 bytes when nothing is.
    int readQueued(void* buffer, std::uint32_t capacity, std::uint32_t& bytes) const;
    // writeSome() gives the device what it takes at once, which may be nothing.
    int writeSome(const void* data, std::uint32_t length, std::uint32_t& bytes) const;
    // waitFor() waits until the device is ready for `events`, as poll names them (a hang-up counts as ready). The stop
    // event, if given, goes before readiness.
    PortWait waitFor(short events, PosixEvent* stop, Deadline deadline);

private:
    PosixPort(int descriptor, bool owned);
    int presence() const;  // EIO when the device has hung up
    void raiseAndDropLines(std::uint32_t flags) const;
    std::uint32_t newErrors();

    FileDescriptor device_;
    bool owned_;
    bool countsErrors_;
    PosixEvent closing_;
    mutable Mutex mutex_;
    LineSettings remembered_ MOVA_GUARDED_BY(mutex_);
    PortTimeouts timeouts_ MOVA_GUARDED_BY(mutex_);
    std::uint32_t inputQueue_ MOVA_GUARDED_BY(mutex_);
    std::uint32_t outputQueue_ MOVA_GUARDED_BY(mutex_);
    serial_icounter_struct counts_ MOVA_GUARDED_BY(mutex_){};
};

}  // namespace mova
