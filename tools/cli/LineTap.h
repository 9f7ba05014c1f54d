// Stands between the command manager and the serial driver and notes, while it is told to listen, what passes. The
// manager's codes do not tell of a confirmation that it dropped as damaged or took for another; the bytes do.
//
// It also sees the port go away. Then it ends the wait that is under way: the manager's waits for an answer would last
// their time on a port that is gone.
#pragma once
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "cli/LineTalk.h"
#include "platform/SerialDriver.h"

namespace mova::cli {

// Beside the notes only this is added: the wait for a transfer ends with Ctrl-C as it does with the stop event. Every
// call goes on to the driver as it is. Any thread may use it.
class LineTap final : public SerialDriver {
public:
    // The longest answer of the protocol, 255 segments, is far shorter; what lies beyond is not noted.
    static constexpr std::size_t kMostNoted = std::size_t{1} << 20;

    explicit LineTap(SerialDriver& driver) : driver_(driver) {}

    void listen();     // from now on, anew
    LineTalk heard();  // what has passed since
    LineTalk take();   // the same, and forgets it
    bool failed();     // the port could not be read since then: it is gone
    void rest();       // notes nothing more, and forgets

    // The port has failed since it was opened, or closed itself because of that.
    bool isGone();
    // The same, and asks the port first, which nobody else may be doing meanwhile.
    bool looksGone();
    // The lines that the program has set by itself, and not the opening of the port.
    std::optional<bool> chosen(LineControl raise);
    // Of the open port, at once; the manager has it for the next opening.
    bool changeBaudRate(std::uint32_t rate);

    std::string portName(std::int64_t number) const override { return driver_.portName(number); }
    PortHandle open(const std::string& path, bool overlapped) override;
    bool close(PortHandle port) override;
    bool setQueueSizes(PortHandle port, std::uint32_t input, std::uint32_t output) override {
        return driver_.setQueueSizes(port, input, output);
    }
    bool setTimeouts(PortHandle port, const PortTimeouts& timeouts) override {
        return driver_.setTimeouts(port, timeouts);
    }
    bool properties(PortHandle port, PortProperties& out) override { return driver_.properties(port, out); }
    bool lineSettings(PortHandle port, LineSettings& out) override { return driver_.lineSettings(port, out); }
    bool setLineSettings(PortHandle port, const LineSettings& settings) override {
        return driver_.setLineSettings(port, settings);
    }
    bool setEventMask(PortHandle port, std::uint32_t mask) override { return driver_.setEventMask(port, mask); }
    bool clearErrors(PortHandle port, std::uint32_t& errorBits, PortStatus* status) override;
    bool purge(PortHandle port, std::uint32_t what) override { return driver_.purge(port, what); }
    bool control(PortHandle port, LineControl function) override;
    bool modemStatus(PortHandle port, std::uint32_t& out) override { return driver_.modemStatus(port, out); }

    std::unique_ptr<Transfer> makeTransfer() override { return driver_.makeTransfer(); }
    BeginResult beginRead(PortHandle port, Transfer& transfer, void* buffer, std::uint32_t capacity) override;
    BeginResult beginWrite(PortHandle port, Transfer& transfer, const void* data, std::uint32_t length) override;
    WaitResult await(Transfer& transfer, Event* stop, std::uint32_t milliseconds) override;
    bool finish(PortHandle port, Transfer& transfer, std::uint32_t& bytes) override;
    void cancel(PortHandle port, Transfer& transfer) override { driver_.cancel(port, transfer); }
    void cancelAll(PortHandle port) override { driver_.cancelAll(port); }
    WaitResult awaitInput(PortHandle port, Event* event, std::uint32_t milliseconds) override;

    bool read(PortHandle port, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) override;
    bool write(PortHandle port, const void* data, std::uint32_t length, std::uint32_t& bytes) override;

    std::uint32_t lastError() override { return driver_.lastError(); }
    std::string errorText(std::uint32_t error) override { return driver_.errorText(error); }

private:
    bool noteFailure(bool good);
    void noteStop(Event* stop);
    void noteSent(const void* data, std::size_t length);
    void noteReceived(const void* data, std::size_t length);

    SerialDriver& driver_;

    std::mutex mutex_;  // guards all below
    bool listening_ = false;
    bool failed_ = false;
    std::size_t noted_ = 0;  // bytes
    LineTalk talk_;
    std::map<const Transfer*, const void*> buffers_;  // of the reads that have begun
    PortHandle port_ = kInvalidPort;
    bool gone_ = false;
    Event* stop_ = nullptr;               // ends the wait that was last begun; of the open port's owner
    std::uint32_t errorsSeen_ = 0;        // by a look, and still to be told to the manager
    std::map<LineControl, bool> chosen_;  // by the function that raises the line
};

}  // namespace mova::cli
