// The plain model of a command manager: what each call has to ask of the port, to write, to file and to give back,
// told in the simplest way and without a line of the component's own code. It is led through a tape: where the outcome
// is the port's or the clock's (bytes that came, a call that failed, the time), it takes what the tape says; everything
// else it knows beforehand, and says so when the tape, a result or an event is another.
#pragma once
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "oracle/Engine.h"
#include "oracle/Tape.h"

namespace mova::oracle {

constexpr std::uint32_t kNoAnswer = 0x4004;
constexpr std::uint32_t kStopped = 0x10;
constexpr std::uint32_t kWaitFailed = 0x3006;

struct Mismatch : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class PlainModel {
public:
    enum class Stop { Down, Up, Unknown };
    enum class Reader { None, Runs, Ending, Unknown };

    PlainModel(Tape& tape, bool usb) : tape_(tape), usb_(usb) {}

    // Each takes the call's holds of the port's lock from the tape and gives the result that the call must have, as
    // text.
    std::string init();
    std::string openPort();
    std::string closePort();
    std::string switchMode(std::uint32_t option);
    std::string setTimeout(int option, std::int32_t milliseconds);
    std::string isOpen();
    std::string sendAt(const std::string& command);
    std::string getAt(int option);
    std::string property(std::uint32_t id, std::uint32_t parameter);
    std::string rf(unsigned service, unsigned access, unsigned index, const std::string& data);
    std::string e2p(unsigned command, unsigned object, unsigned record, const std::string& data);
    std::string e2pReadRange(unsigned object, unsigned record, int start, int length);
    std::string e2pWriteRange(unsigned object, unsigned record, int start, int length, const std::string& data);
    std::string hci(int option, const std::string& command);
    std::string wifi(unsigned command, const std::string& parameter);
    std::string info(int option, int access, const std::string& value);
    std::string fetch(bool asText);
    std::string clear();
    std::string writeHex(const std::string& hex, int count);
    std::string writeArray(const std::string& bytes, int count);
    std::string readHex(int count);
    std::string waiting();
    std::string collect(int duration);
    std::string finalRelease();

    void otherThreads();        // what the reader thread has done meanwhile
    void checkEvents();         // after all that was done: what was raised is what was to be raised
    void nothingOutstanding();  // every thread has come to rest: nothing is left to be raised
    void readerIsGone() { reader_ = Reader::None; }  // seen from outside

    void startTicksAt(std::uint32_t ticks) { firstTick_ = ticks; }
    Reader reader() const { return reader_; }
    Stop stop() const { return stop_; }
    bool synchronous() const { return synchronous_; }
    bool unsolicited() const { return unsolicited_; }
    bool isDeviceOpen() const { return device_; }
    const std::vector<Record>& queue() const { return queue_; }
    std::uint64_t exchanges() const { return exchanges_; }
    std::uint64_t recordsMade() const { return recordsMade_; }
    // Everything that the engine read from the port, in order.
    void onTold(std::function<void(const std::string&)> listener) { onTold_ = std::move(listener); }
    void onRead(std::function<void(std::string_view)> listener) { onRead_ = std::move(listener); }

private:
    // tape
    void enter();
    void leave();
    void letGoToRaise();
    const Happening& take(Act act);
    bool comes(Act act) const;
    [[noreturn]] void wrong(const std::string& what) const;
    std::uint32_t ticks() const { return static_cast<std::uint32_t>(now_ / 1000) + firstTick_; }
    void pause(std::uint32_t milliseconds);
    bool idle(std::uint32_t milliseconds);
    bool stopSeen();
    void checkStop(bool seen);
    void stoppedInTransfer();

    // device
    bool clearErrors(std::uint32_t* waiting);
    std::uint32_t openDevice();
    std::uint32_t setUp();
    std::uint32_t closeDevice();
    std::uint32_t read(std::uint32_t capacity, std::string& bytes);
    std::uint32_t write(const std::string& bytes, std::uint32_t& written, bool looksAtErrors = true);

    // port
    std::uint32_t open();
    std::uint32_t startReader();
    std::uint32_t objectWrite(const std::string& bytes, std::uint32_t& written, bool looksAtErrors = true);
    std::uint32_t pacedWrite(const std::string& bytes, std::uint32_t limit);
    bool readable();

    // answers
    std::uint32_t run(std::uint32_t milliseconds, const std::string& terminators);
    void finish(Record record);
    void file(const Record& record);
    void trace(std::string text) { traced_.push_back(std::move(text)); }
    void clearQueue(bool purge);
    void discardInput();
    void clearQueueAndPort();
    bool isQueued(unsigned kind) const;
    Record fetchKind(unsigned kind);

    // requests
    std::uint32_t sendText(unsigned family, const std::string& message);
    std::uint32_t at(const std::string& command);
    std::uint32_t wake();
    std::uint32_t e2pRequest(unsigned command, unsigned object, unsigned record, const std::string& data,
                             std::string& reply);
    std::uint32_t readRange(unsigned object, unsigned record, int start, int length, std::string& part);
    std::uint32_t writeRange(unsigned object, unsigned record, int start, int& length, const std::string& data,
                             bool& known);

    Tape& tape_;
    const bool usb_;
    LockHold hold_;
    std::size_t next_ = 0;
    bool onReader_ = false;
    std::uint64_t now_ = 0;
    std::vector<std::string> traced_;
    std::deque<Raised> toBeRaised_;  // in the order in which their records were completed, whichever thread raises
    bool readerLetGo_ = false;       // the reader thread's next hold is the rest of one that it let go of

    std::uint32_t firstTick_ = 0;

    bool initialised_ = false;
    bool handle_ = false;  // the manager's own copy
    bool device_ = false;
    bool openFlag_ = false;
    Stop stop_ = Stop::Down;
    Reader reader_ = Reader::None;

    bool synchronous_ = true;
    bool unsolicited_ = false;
    std::string terminator_;
    std::uint32_t timeouts_[7] = {0, 1000, 1000, 1000, 4000, 1500, 10000};

    Engine engine_;
    std::vector<Record> queue_;
    std::uint64_t exchanges_ = 0;
    std::uint64_t recordsMade_ = 0;
    std::function<void(std::string_view)> onRead_;
    std::function<void(const std::string&)> onTold_;  // each confirmation that an event told
};

// Results as the model and the conversation write them.
std::string resultText(std::uint32_t code);
std::string resultText(std::uint32_t code, const std::optional<std::string>& text);
std::string resultText(std::uint32_t code, std::int64_t count, const std::optional<std::string>& text);

}  // namespace mova::oracle
