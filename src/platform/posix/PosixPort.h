// A PosixPort is one open port: a terminal (TerminalPort) or one on another machine (RemotePort). Here stands what both
// have: what is remembered of a port because the device itself cannot, and how its news are waited for.
//
// Operations return errno, 0 for success, and EIO once the device has hung up. They may be called from several threads;
// the port closes when the last user lets go of the object, so that no number is reused under a call that is under way.
#pragma once
#include <poll.h>

#include "platform/SerialDriver.h"
#include "platform/posix/PosixThreading.h"

namespace mova {

enum class PortWait { Ready, Stopped, TimedOut, Closed, Failed };

class PosixPort {
public:
    virtual ~PosixPort() = default;
    PosixPort(const PosixPort&) = delete;
    PosixPort& operator=(const PosixPort&) = delete;

    virtual int descriptor() const = 0;  // by which the process knows the port
    // From now on the device goes with this object; waits for it end.
    virtual void beginClose() { closing_.set(); }
    bool isClosing() { return closing_.isSet(); }

    int setQueueSizes(std::uint32_t input, std::uint32_t output);
    int setTimeouts(const PortTimeouts& timeouts);
    PortTimeouts timeouts() const;
    int properties(PortProperties& out) const;
    int setEventMask(std::uint32_t mask) const;  // nobody waits for port events: there is nothing to keep
    virtual int lineSettings(LineSettings& out) const = 0;
    virtual int setLineSettings(const LineSettings& settings) = 0;
    virtual int clearErrors(std::uint32_t& errorBits, PortStatus* status) = 0;
    virtual int purge(std::uint32_t what) = 0;
    virtual int control(LineControl function) = 0;
    virtual int modemStatus(std::uint32_t& out) const = 0;

    // readQueued() takes what is queued, at once; these are 0 bytes when nothing is.
    virtual int readQueued(void* buffer, std::uint32_t capacity, std::uint32_t& bytes) = 0;
    // writeSome() gives the device what it takes at once, which may be nothing.
    virtual int writeSome(const void* data, std::uint32_t length, std::uint32_t& bytes) = 0;
    // waitFor() waits until the device is ready for `events`, as poll names them (a hang-up counts as ready). The stop
    // event, if given, goes before readiness.
    PortWait waitFor(short events, PosixEvent* stop, Deadline deadline);

protected:
    PosixPort();
    virtual int presence() const = 0;                  // EIO when the device has hung up
    virtual pollfd readiness(short events) const = 0;  // what to poll for it

    mutable Mutex mutex_;
    // What the device has no place for: flags of the line settings without a counterpart.
    LineSettings remembered_ MOVA_GUARDED_BY(mutex_);

private:
    PosixEvent closing_;
    PortTimeouts timeouts_ MOVA_GUARDED_BY(mutex_);
    std::uint32_t inputQueue_ MOVA_GUARDED_BY(mutex_);
    std::uint32_t outputQueue_ MOVA_GUARDED_BY(mutex_);
};

}  // namespace mova
