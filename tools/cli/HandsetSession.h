// The port and the command manager behind it: opened when the first command needs them, and kept for the next.
#pragma once
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "cli/AnswerCheck.h"
#include "cli/Output.h"
#include "cli/PortTarget.h"
#include "cli/SessionPlatform.h"
#include "mova/CVeCmdManager.h"

namespace mova::cli {

struct SessionOptions {
    std::string port;  // empty: the only port there is
    std::int32_t baudRate = 115200;
    std::int32_t timeout = 0;  // milliseconds; 0: each command's own
    std::string traceFile;
    std::string logFile;
};

// What the options may be.
constexpr std::int32_t kLargestBaudRate = 12'000'000;
constexpr std::int32_t kLongestTimeout = 200'000;

// The confirmations that the background reading delivers, until somebody takes them: kMostHeldText of them at most, the
// newest.
class ConfirmationInbox final : public ConfirmationEvents {
public:
    void OnCpGetMovaCnf(std::int32_t lType, std::int32_t lParam, const std::string& text) override;
    std::deque<std::string> take();
    std::uint64_t takeDropped();  // how many had to go since the last call

private:
    std::mutex mutex_;
    std::deque<std::string> texts_;
    std::size_t held_ = 0;  // characters, and what each text takes by itself
    std::uint64_t dropped_ = 0;
};

class HandsetSession {
public:
    HandsetSession(const SessionOptions& options, Output& out) : options_(options), out_(out) {}
    ~HandsetSession();
    HandsetSession(const HandsetSession&) = delete;
    HandsetSession& operator=(const HandsetSession&) = delete;

    // Open; throws Failure. Of a lost port what whenLost() was given is asked to bring it back first.
    CVeCmdManager& handset();
    LineTap& line() { return system_->line; }  // of an open port
    ConfirmationInbox& inbox() { return *inbox_; }
    Clock& clock();
    const std::string& portName();  // of an open or lost port
    std::int32_t timeout(std::int32_t usual) const { return options_.timeout > 0 ? options_.timeout : usual; }
    // HCI actions set a time-out of their own; this brings back what the user chose.
    void applyTimeouts();
    // Throws Failure when the trace or the log has lost something since the last time, of which the component goes on
    // without saying so, or when a simulated handset's objects cannot be kept.
    void requireRecorded();
    void close();

    // --- a port that goes away and comes back

    bool isOpen() const { return handset_ != nullptr; }
    // Asks an open port, which no command uses meanwhile.
    bool looksGone() { return handset_ && system_->line.looksGone(); }
    // Closes a port that is gone; it stays the session's.
    void lose();
    bool isLost() const { return lost_; }
    // Opens a lost port again as it was: settings, lines, files. False: it is not back yet, or not ready yet. Throws
    // Failure of the files.
    bool reopen();
    // Returns once the port is open again, or throws. The result is what was told before.
    std::function<void()> whenLost(std::function<void()> comesBack);

    // The same for a program that ends: without the rest that a port is given before it is opened again.
    void closeAtEnd();

private:
    void open();
    Code openTarget();

    std::string chosenPort();  // told to the user

    const SessionOptions& options_;
    Output& out_;
    std::unique_ptr<PortTarget> target_;
    SessionPlatform* system_ = nullptr;
    std::shared_ptr<ConfirmationInbox> inbox_ = std::make_shared<ConfirmationInbox>();
    std::unique_ptr<CVeCmdManager> handset_;
    bool lost_ = false;
    std::function<void()> comesBack_;
};

// An operating mode for the time of a command; then the plain synchronous one again.
class ModeForNow {
public:
    static constexpr std::uint32_t kEvents = number(Mode::Events);
    static constexpr std::uint32_t kUntilOk = number(Mode::SynchronousOk);

    ModeForNow(CVeCmdManager& handset, std::uint32_t mode) : handset_(handset) {
        static_cast<void>(handset_.SwitchOperateMode(mode, 0));  // is always a success
    }
    ~ModeForNow() { static_cast<void>(handset_.SwitchOperateMode(number(Mode::Synchronous), 0)); }
    ModeForNow(const ModeForNow&) = delete;
    ModeForNow& operator=(const ModeForNow&) = delete;

private:
    CVeCmdManager& handset_;
};

// Listens to the line while a request is under way.
class Listening {
public:
    explicit Listening(HandsetSession& session) : line_(session.line()) { line_.listen(); }
    ~Listening() { line_.rest(); }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

    LineTalk talk() const { return line_.heard(); }
    // Holds what has come so far against what was asked.
    CheckedAnswer look(Wanted wanted = Wanted::Confirmation) const {
        if (line_.failed()) return {portFailed(), {}};
        return checkAnswer(line_.heard(), wanted);
    }

private:
    LineTap& line_;
};

}  // namespace mova::cli
