// A simulated mobile handset on a serial line: a plain modern handset's AT answers, echo, the request protocol, sleep
// and wake, its own line rate, and faults on demand.
//
// A pure machine in the caller's time (microseconds): receive() takes what arrives, due() gives what has left the
// handset by now, nextDue() tells when to ask again. No threads, no clock; the same calls give the same bytes.
#pragma once
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "handset/Conversation.h"
#include "handset/Faults.h"
#include "handset/LineOut.h"
#include "handset/RequestProtocol.h"

namespace mova::handset {

// The answer to an AT command: information lines, then the result.
struct AtAnswer {
    std::vector<std::string> information;
    std::string result = "OK";
    std::uint64_t delayMicroseconds = 0;
};

struct Profile {
    std::string manufacturer = "ACME";
    std::string model = "AM-1";
    std::string revision = "4.2";
    std::vector<std::string> version = {"ACME AM-1", "SW 4.2.0 2026-03-01"};  // lines of "AT%V"
    std::string imei = "490154203237518";
    std::string signal = "21,99";
    std::string registration = "0,1";
    std::string operatorName = "0,0,\"TESTNET\"";
    std::string otp = "UNLOCKED";  // of "AT%OTP?"; empty: "ERROR"
    bool echo = true;
    unsigned baudRate = 115200;                      // 0: as fast as the machine
    std::uint64_t sleepAfterMicroseconds = 200'000;  // idle time until a handset in sleep mode falls asleep
    unsigned wakeFrames = 1;                         // that it takes to wake it
    std::map<std::string, AtAnswer> answers;         // to commands (in upper case) that are answered differently
};

class Handset {
public:
    using Log = std::function<void(std::uint64_t nowMicroseconds, LogKind kind, std::string_view text)>;

    explicit Handset(Profile profile = {});
    Handset(const Handset&) = delete;  // its parts refer to each other
    Handset& operator=(const Handset&) = delete;

    void receive(std::string_view bytes, std::uint64_t nowMicroseconds);
    std::string due(std::uint64_t nowMicroseconds);
    std::optional<std::uint64_t> nextDue() const;
    bool takeHangUp();  // true once after the fault of that name: the line's owner takes it down

    Profile& profile() { return profile_; }
    Faults& faults() { return faults_; }
    RequestProtocol& protocol() { return protocol_; }
    E2pStore& store() { return protocol_.store(); }
    void setBaudRate(unsigned baudRate);
    void setEcho(bool on) { profile_.echo = on; }
    // Numbered general confirmations from now on; 0: none.
    void setUnsolicitedInterval(std::uint64_t microseconds, std::uint64_t nowMicroseconds);
    void sendUnsolicited(std::uint64_t nowMicroseconds);
    // From now on what the conversation holds is answered from it, everything else as before.
    void replay(Conversation conversation, std::uint64_t nowMicroseconds);
    void setLog(Log log) { log_ = std::move(log); }
    bool isAsleep() const { return asleep_; }
    void lineLost();  // what was under way is gone

private:
    void command(const std::string& line);
    bool replayed(const std::string& line);
    std::optional<AtAnswer> atAnswer(const std::string& upper);
    void set(const std::string& name, const std::string& value);
    void send(std::string_view bytes, std::uint64_t whenMicroseconds);
    void sendAskedConfirmations();
    void sendConfirmation(std::uint64_t whenMicroseconds);
    void listenAsleep();
    void fallAsleep();
    void note(std::uint64_t when, LogKind kind, std::string_view text);
    void sendDueUnsolicited(std::uint64_t now);

    Profile profile_;
    Faults faults_;
    LineOut out_;
    RequestProtocol protocol_;
    std::optional<Conversation> conversation_;
    Log log_;
    std::string input_;
    std::uint64_t now_ = 0;         // microseconds; when the byte being handled had arrived
    std::uint64_t lineInFree_ = 0;  // nanoseconds
    std::uint64_t lastHeard_ = 0;
    bool sleepMode_ = false;
    bool asleep_ = false;
    unsigned wakeFramesSeen_ = 0;
    bool hangUp_ = false;
    unsigned confirmationsAsked_ = 0;
    std::uint64_t confirmationGap_ = 0;
    std::uint64_t unsolicitedInterval_ = 0;
    std::uint64_t nextUnsolicited_ = 0;
};

}  // namespace mova::handset
