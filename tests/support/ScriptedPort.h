// One port of the scripted driver, as the test sees it: what arrives on it, what was written to it, how it behaves.
//
//     port.feed("OK\r\n");                       port.feedAt(250ms, "RING\r\n");
//     port.expect("AT\r").reply("AT\r\r\n", 5ms).reply("OK\r\n", 20ms);   // in this order, every byte accounted for
//     port.expect("AT+CSQ\r").replyInChunks("+CSQ: 9,99\r\n\r\nOK\r\n", 1);
//     port.whenever("ATZ\r").reply("OK\r\n");    // any number of times, in between
//     port.unplug();                             port.replug();
//
// A port with expectations fails the test when anything else is written, and when some are left at the end. A request
// may come in any number of writes. A reply's delay counts from the reply before it, the first from the request.
#pragma once
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/SerialDriver.h"
#include "support/PeerDevice.h"
#include "support/ScriptedCore.h"

namespace mova {

class ScriptedPort;

class Exchange {
public:
    explicit Exchange(std::string request) : request_(std::move(request)) {}

    Exchange& reply(std::string bytes, VirtualTime delay = VirtualTime(0));
    // size bytes at a time, the first after the delay, the others a gap apart.
    Exchange& replyInChunks(std::string_view bytes, std::size_t size, VirtualTime delay = VirtualTime(0),
                            VirtualTime gap = std::chrono::milliseconds(1));
    Exchange& perform(std::function<void()> action, VirtualTime delay = VirtualTime(0));

private:
    friend class ScriptedPort;
    struct Step {
        VirtualTime delay;
        std::string bytes;
        std::function<void()> action;
    };
    std::string request_;
    std::vector<Step> steps_;
};

class ScriptedPort {
public:
    struct Write {
        VirtualTime when;
        std::string bytes;
    };

    ScriptedPort(ScriptedCore& core, std::string path);
    ~ScriptedPort();
    ScriptedPort(const ScriptedPort&) = delete;
    ScriptedPort& operator=(const ScriptedPort&) = delete;

    const std::string& path() const { return path_; }
    bool isOpen() const { return open_; }
    unsigned opens() const { return opens_; }  // successful ones
    std::vector<std::string> calls(std::initializer_list<Op> without = {}) const;

    // Arriving bytes. What arrives while the port is closed or the cable is out is lost.
    void feed(std::string_view bytes);
    void feedAt(VirtualTime when, std::string bytes);
    void feedAfter(VirtualTime delay, std::string bytes);
    std::size_t waiting();                                            // arrived and not yet read
    void setReadCap(std::uint32_t bytes) { readCap_ = bytes; }        // at most so many per read, whatever waits
    void setInQueueCap(std::uint32_t bytes) { inQueueCap_ = bytes; }  // the status tells of at most so many

    // Written bytes, as they went out: at completion.
    const std::string& written() const { return written_; }
    const std::vector<Write>& writes() const { return writes_; }
    std::vector<std::string> writeTexts() const;
    void clearWritten();
    void onWrite(std::function<void(std::string_view)> callBack) { onWrite_ = std::move(callBack); }

    Exchange& expect(std::string request);
    Exchange& whenever(std::string request);
    bool conversationDone() const { return expected_.empty() && request_.empty(); }
    void forgetConversation();

    void attach(PeerDevice& peer) { peer_ = &peer; }
    void detach() { peer_ = nullptr; }
    // The peer has found something to say by itself: who waits for bytes is to look when it is due.
    void peerHasNews() {
        if (changed_) changed_();
    }

    // Timing: by default every transfer completes at once.
    void writesTake(VirtualTime each, VirtualTime perByte = VirtualTime(0));  // pending until then
    void readsTake(VirtualTime each) { readTime_ = each; }  // pending until then; 0: pending, and complete when awaited
    void transfersCompleteAtOnce();
    void emptyReadsPend(bool on) { emptyReadsPend_ = on; }  // a read with nothing queued is pending until a byte comes

    // Line and errors.
    LineSettings lineSettings;  // as the port has them; the component's settings come in here
    PortProperties properties;
    PortTimeouts timeouts;
    std::uint32_t inputQueue = 0;
    std::uint32_t outputQueue = 0;
    std::uint32_t eventMask = 0;
    std::uint32_t statusFlags = 0;
    void addErrorBits(std::uint32_t bits, unsigned passes = 1);              // of the next clearing passes
    void setStandingErrorBits(std::uint32_t bits) { standingBits_ = bits; }  // of every other pass
    void setModemStatus(std::uint32_t bits) { modemStatus_ = bits; }
    bool dtr() const { return dtr_; }
    bool rts() const { return rts_; }

    // The cable. Unplugged, pending transfers and every call on the open handle fail with this error (closing
    // succeeds) and the path does not open (error 2). A handle from before stays dead after replugging.
    void unplug(std::uint32_t error = 31);
    void replug();
    bool isPlugged() const { return plugged_; }

private:
    friend class ScriptedSerialDriver;

    void pullPeer();
    void deliver(std::string_view bytes);
    void converse(std::string_view bytes);
    bool fire(Exchange& exchange);
    std::uint32_t take(void* buffer, std::uint32_t capacity);
    std::uint32_t nextErrorBits();
    void drive(LineControl function);
    void driveFromSettings();
    std::optional<VirtualTime> writeTime(std::uint32_t length) const;

    ScriptedCore& core_;
    std::string path_;
    bool open_ = false;
    unsigned opens_ = 0;
    bool plugged_ = true;
    std::uint32_t unpluggedError_ = 31;
    unsigned plugging_ = 0;  // handles of an earlier plugging are dead
    Signal unplugged_;
    std::function<void()> changed_;  // the driver looks after pending transfers

    std::string incoming_;
    std::uint32_t readCap_ = 0xFFFFFFFF;
    std::uint32_t inQueueCap_ = 0xFFFFFFFF;
    std::string written_;
    std::vector<Write> writes_;
    std::function<void(std::string_view)> onWrite_;
    PeerDevice* peer_ = nullptr;

    std::list<Exchange> expected_;
    std::list<Exchange> standing_;
    bool converses_ = false;
    std::string request_;  // written and not yet a whole request

    std::optional<VirtualTime> writeTimeEach_;
    VirtualTime writeTimePerByte_{0};
    std::optional<VirtualTime> readTime_;
    bool emptyReadsPend_ = false;

    std::deque<std::uint32_t> errorBits_;
    std::uint32_t standingBits_ = 0;
    std::uint32_t modemStatus_ = 0;
    bool dtr_ = false;
    bool rts_ = false;
};

}  // namespace mova
