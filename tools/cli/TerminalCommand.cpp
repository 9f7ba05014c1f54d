#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>

#include "base/HexText.h"
#include "base/Text.h"
#include "cli/Cable.h"
#include "cli/Commands.h"
#include "cli/FileAccess.h"
#include "cli/StandardInput.h"
#include "cli/Terminal.h"
#include "cli/TerminalView.h"

namespace mova::cli {

namespace {

struct TerminalOptions {
    bool echo = false;
    bool stamps = false;
    bool hexadecimal = false;
    bool raw = false;
    bool noReconnect = false;
    std::string file;
    std::uint32_t quiet = 500;  // milliseconds
};

constexpr char kEscape = '\x14';  // Ctrl-T

std::string clockText(const LocalTime& t) {
    return format("%02d:%02d:%02d.%03d  ", t.hour, t.minute, t.second, t.millisecond);
}

struct FlowRow {
    FlowControl mode;
    const char* name;
};
constexpr std::array kFlows{FlowRow{FlowControl::None, "none"}, FlowRow{FlowControl::RtsCts, "RTS/CTS"},
                            FlowRow{FlowControl::XonXoff, "XON/XOFF"}};

const char* onOff(bool on) { return on ? "on" : "off"; }

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

class TerminalTalk {
public:
    TerminalTalk(Context& context, const TerminalOptions& options)
        : context_(context),
          options_(options),
          cable_(context, options.noReconnect ? Cable::Pulled::EndsIt : Cable::Pulled::IsMended),
          view_([&context] { return clockText(context.session.clock().localTime()); }) {
        view_.stamps = options.stamps;
        view_.hexadecimal = options.hexadecimal;
        view_.transparent = options.raw;
        cable_.tellBy([this](bool gone, const std::string& text) {
            say(text);
            if (!gone && flow_ > 0) applyFlow();
        });
    }

    void run() {
        context_.session.handset();
        if (!options_.file.empty()) startFile(options_.file);
        const bool watched = isTerminal(Stream::In);
        StandardInput input(StandardInput::Mode::Keys);  // before it is said that keys are taken
        if (watched) say(settings() + "; Ctrl-T ? shows the keys, Ctrl-T q ends");
        lastByte_ = context_.session.clock().tickCount();
        while (!ended_) {
            checkInterrupt();
            if (readerGone()) failFile("nobody reads the standard output any more");
            takeIn();
            takeTyped(input, watched);
        }
        write(view_.endLine());
    }

private:
    struct Key {
        char key;
        const char* does;
        void (TerminalTalk::*action)();
        bool needsPort;
    };
    static const std::array<Key, 11> kKeys;

    // --- what is shown

    void write(const std::string& shown) {
        context_.out.fragment(shown);
        if (!file_ || shown.empty()) return;
        std::fwrite(shown.data(), 1, shown.size(), file_.get());
        if (std::fflush(file_.get()) != 0) failFile(fileName_ + " cannot be written", "is the disk full?");
    }

    // On a line of its own; not in the file.
    void say(const std::string& text) {
        write(view_.endLine());
        context_.out.remark("-- " + text);
    }

    // --- the handset

    void takeIn() {
        constexpr std::int32_t kMost = 2048;
        constexpr std::uint32_t kSilence = 200;
        if (context_.session.isLost()) {
            cable_.look();
            return;
        }
        const std::uint32_t now = context_.session.clock().tickCount();
        const ReadResult got = context_.session.handset().DirectReadHexData(kMost);
        if (got.count > 0) {
            const std::string bytes = decodeHex(got.data.value_or(""));
            received_ += bytes.size();
            lastByte_ = now;
            write(view_.take(bytes));
        } else if (now - lastByte_ >= kSilence) {
            write(view_.rest());
        }
        takeCode(got.code, "the port could not be read");
    }

    void takeCode(Code code, const char* message) {
        if (context_.session.line().isGone() || (code != Code::Success && context_.session.looksGone())) {
            cable_.lose();
        } else {
            check(code, message);
        }
    }

    // In pieces, so that a port that takes nothing holds up neither keys nor what comes.
    void send(const std::string& bytes) {
        constexpr std::size_t kPiece = 64;
        for (std::size_t at = 0; at < bytes.size() && !context_.session.isLost(); at += kPiece) {
            const std::string piece = bytes.substr(at, kPiece);
            if (options_.echo != echoSwitched_) write(view_.take(echoOf(piece)));
            const CountResult sent = context_.session.handset().DirectWriteHexData(
                encodeHex(piece), static_cast<std::int32_t>(piece.size()));
            sent_ += static_cast<std::size_t>(std::max(sent.count, 0));
            if (sent.code == Code::ShortWrite || sent.code == Code::WriteTimeout) {
                say("the port takes nothing more: does flow control hold it?");
                return;
            }
            takeCode(sent.code, "the bytes were not written");
            takeIn();
        }
    }

    // A key that ends a line is to end it on the screen as well.
    std::string echoOf(const std::string& bytes) const {
        if (view_.hexadecimal || view_.transparent) return bytes;
        std::string shown;
        for (const char c : bytes) shown += c == '\r' ? "\r\n" : std::string(1, c);
        return shown;
    }

    // --- what is typed

    void takeTyped(StandardInput& input, bool watched) {
        constexpr std::uint32_t kPause = 5;
        Clock& clock = context_.session.clock();
        if (inputEnded_) {
            if (clock.tickCount() - lastByte_ >= options_.quiet) endAfterInput();
            return clock.sleep(kPause);
        }
        std::string bytes;
        const StandardInput::Outcome outcome = input.read(bytes, kPause);
        if (outcome == StandardInput::Outcome::Ended) {
            inputEnded_ = true;
            lastByte_ = clock.tickCount();
            if (watched) ended_ = true;  // the terminal has gone
        }
        if (watched) {
            takeKeys(bytes);
        } else if (!bytes.empty()) {
            cable_.await();
            send(options_.raw ? bytes : withReturns(bytes));
        }
    }

    void endAfterInput() {
        ended_ = true;
        if (context_.session.isLost()) check(Code::Success, portFailed(), "the terminal ended");
    }

    // Lines of a pipe end as those that are typed do.
    std::string withReturns(const std::string& bytes) {
        std::string lines;
        for (const char c : bytes) {
            if (c != '\n') {
                lines += c;
            } else if (lastPiped_ != '\r') {
                lines += '\r';
            }
            lastPiped_ = c;
        }
        return lines;
    }

    void takeKeys(const std::string& bytes) {
        std::string plain;
        const auto sendPlain = [&] { send(std::exchange(plain, {})); };
        for (const char c : bytes) {
            if (asking_) {
                takeDigit(c);
            } else if (std::exchange(escaped_, false)) {
                sendPlain();
                takeCommand(c);
            } else if (c == kEscape) {
                escaped_ = true;
            } else {
                plain += c;
            }
            if (ended_) return;
        }
        sendPlain();
    }

    void takeCommand(char c) {
        if (c == kEscape) return send(std::string(1, c));
        for (const Key& key : kKeys) {
            if (key.key != lowerCase(c)) continue;
            if (key.needsPort && context_.session.isLost()) return say("the port is gone");
            return (this->*key.action)();
        }
        say("Ctrl-T ? shows the keys");
    }

    void showKeys() {
        say("Ctrl-T and then");
        for (const Key& key : kKeys) context_.out.remark(format("   %c  %s", key.key, key.does));
        context_.out.remark("   Ctrl-T  sends Ctrl-T");
    }

    void end() { ended_ = true; }

    void switchEcho() {
        echoSwitched_ = !echoSwitched_;
        say(std::string("local echo ") + onOff(options_.echo != echoSwitched_));
    }
    void switchStamps() {
        view_.stamps = !view_.stamps;
        say(std::string("time stamps ") + onOff(view_.stamps));
    }
    void switchHexadecimal() {
        write(view_.endLine());
        view_.hexadecimal = !view_.hexadecimal;
        say(std::string("hexadecimal view ") + onOff(view_.hexadecimal));
    }

    void switchFile() {
        if (file_) {
            write(view_.endLine());
            file_.reset();
            return say(fileName_ + " is closed");
        }
        const LocalTime t = context_.session.clock().localTime();
        try {
            startFile(!options_.file.empty() ? options_.file
                                             : format("mova-terminal-%04d%02d%02d-%02d%02d%02d.txt", t.year, t.month,
                                                      t.day, t.hour, t.minute, t.second));
        } catch (const Failure& failure) {
            return say(failure.message);
        }
        say("what is shown goes to " + fileName_ + " as well");
    }

    void startFile(const std::string& name) {
        requireWritable(name, name);
        file_.reset(std::fopen(name.c_str(), "ab"));
        if (!file_) failFile(name + " cannot be written");
        fileName_ = name;
    }

    void askBaudRate() {
        write(view_.endLine());
        asking_ = true;
        digits_.clear();
        context_.out.fragment("-- baud rate, then Enter: ");
    }

    void takeDigit(char c) {
        constexpr std::size_t kMost = 8;
        constexpr char kBackspace = '\b';
        constexpr char kDelete = '\x7F';
        if (c >= '0' && c <= '9' && digits_.size() < kMost) {
            digits_ += c;
            context_.out.fragment(std::string_view(&c, 1));
        } else if ((c == kBackspace || c == kDelete) && !digits_.empty()) {
            digits_.pop_back();
            context_.out.fragment("\b \b");
        } else {
            asking_ = false;
            context_.out.fragment("\n");
            c == '\r' || c == '\n' ? changeBaudRate() : say("the baud rate stays");
        }
    }

    void changeBaudRate() {
        constexpr std::uint64_t kHighest = 12'000'000;
        const std::uint64_t rate = parseNumber(digits_).value_or(0);
        if (rate == 0 || rate > kHighest) return say("the baud rate stays");
        if (!context_.session.isLost() && !context_.session.line().changeBaudRate(static_cast<std::uint32_t>(rate))) {
            return say("the device does not take " + std::to_string(rate) + " baud");
        }
        context_.options.baudRate = static_cast<std::int32_t>(rate);
        if (context_.session.isOpen()) context_.session.handset().put_BaudRate(context_.options.baudRate);
        say(settings());
    }

    void switchFlow() {
        flow_ = (flow_ + 1) % kFlows.size();
        applyFlow();
        say(std::string("flow control ") + kFlows[flow_].name);
    }

    // The manager sets the rate and raises the lines with it.
    void applyFlow() {
        const bool dtr = isUp(LineControl::SetDtr);
        const bool rts = isUp(LineControl::SetRts);
        CVeCmdManager& handset = context_.session.handset();
        handset.SwitchCommFlowControlMode(number(kFlows[flow_].mode));
        static_cast<void>(
            context_.session.line().changeBaudRate(static_cast<std::uint32_t>(context_.options.baudRate)));
        if (!dtr) static_cast<void>(handset.SetCommSignal(number(OutputSignal::Dtr), 0));
        if (!rts) static_cast<void>(handset.SetCommSignal(number(OutputSignal::Rts), 0));
    }

    bool isUp(LineControl raise) { return context_.session.line().chosen(raise).value_or(true); }

    void switchDtr() { switchLine(OutputSignal::Dtr, LineControl::SetDtr, "DTR "); }
    void switchRts() { switchLine(OutputSignal::Rts, LineControl::SetRts, "RTS "); }
    void switchLine(OutputSignal signal, LineControl raise, const char* name) {
        const bool up = !isUp(raise);
        const Code code = context_.session.handset().SetCommSignal(number(signal), up ? 1 : 0);
        say(code == Code::Success ? name + std::string(onOff(up))
                                  : name + std::string("could not be set: has this port modem lines?"));
    }

    std::string settings() {
        return context_.session.portName() +
               format(" at %d baud, 8N1, flow control %s", context_.options.baudRate, kFlows[flow_].name);
    }

    void showState() {
        const auto lines =
            static_cast<std::uint32_t>(context_.session.handset().DetectCommSignal(number(InputSignal::WholeStatus)));
        const auto in = [&](std::uint32_t bit) { return onOff((lines & bit) != 0); };
        say(settings());
        say(format("DTR %s  RTS %s  CTS %s  DSR %s  RING %s  CARRIER %s", onOff(isUp(LineControl::SetDtr)),
                   onOff(isUp(LineControl::SetRts)), in(ModemStatus::Cts), in(ModemStatus::Dsr), in(ModemStatus::Ring),
                   in(ModemStatus::Rlsd)));
        say(format("%zu bytes sent, %zu received", sent_, received_));
    }

    Context& context_;
    const TerminalOptions& options_;
    Cable cable_;
    TerminalView view_;
    File file_{nullptr, std::fclose};
    std::string fileName_;
    std::size_t flow_ = 0;
    std::size_t sent_ = 0;
    std::size_t received_ = 0;
    std::uint32_t lastByte_ = 0;
    std::string digits_;
    char lastPiped_ = 0;
    bool echoSwitched_ = false;
    bool escaped_ = false;
    bool asking_ = false;
    bool inputEnded_ = false;
    bool ended_ = false;
};

const std::array<TerminalTalk::Key, 11> TerminalTalk::kKeys{
    Key{'?', "shows the keys", &TerminalTalk::showKeys, false},
    Key{'q', "ends", &TerminalTalk::end, false},
    Key{'e', "local echo on or off", &TerminalTalk::switchEcho, false},
    Key{'t', "time stamps on or off", &TerminalTalk::switchStamps, false},
    Key{'x', "hexadecimal view on or off", &TerminalTalk::switchHexadecimal, false},
    Key{'l', "log of what is shown on or off", &TerminalTalk::switchFile, false},
    Key{'b', "another baud rate", &TerminalTalk::askBaudRate, false},
    Key{'f', "flow control: none, RTS/CTS, XON/XOFF", &TerminalTalk::switchFlow, true},
    Key{'d', "DTR on or off", &TerminalTalk::switchDtr, true},
    Key{'r', "RTS on or off", &TerminalTalk::switchRts, true},
    Key{'s', "settings, lines and counts", &TerminalTalk::showState, true},
};

void talk(Context& context, const TerminalOptions& options) {
    if (context.out.isJson()) failUsage("a terminal has no JSON", "\"mova monitor\" and \"mova raw\" have");
    if (context.within == Within::Shell && !isTerminal(Stream::In)) {
        failUsage("the shell reads the standard input, and nothing is left for a terminal");
    }
    TerminalTalk(context, options).run();
}

}  // namespace

void describeTerminal(CLI::App& command, Context& context) {
    auto o = std::make_shared<TerminalOptions>();
    command.description("A terminal: what is typed goes to the handset, what it says is shown; Ctrl-T q ends");
    command.add_flag("-e,--echo", o->echo, "show what is typed: for a handset that does not echo");
    command.add_flag("--time", o->stamps, "begin each line with its time");
    command.add_flag("-x,--hex", o->hexadecimal, "show bytes as hexadecimal digits");
    command.add_option("--save", o->file, "append what is shown to this file as well")->type_name("FILE");
    command.add_flag(
        "--raw", o->raw,
        "all bytes as they are: what the handset sends may drive the terminal, and the line ends of a pipe "
        "are not turned into carriage returns");
    addNumber(
        command, "--quiet", o->quiet, 4'000'000,
        "end so many milliseconds after the standard input has ended and the handset has said nothing more (500)");
    addNoReconnect(command, o->noReconnect);
    command.footer(
        "Every key goes to the handset as it is, Ctrl-C and Ctrl-Z too, but Ctrl-T, which is followed by one more:\n"
        "  ?  shows the keys             b  another baud rate\n"
        "  q  ends                       f  flow control: none, RTS/CTS, XON/XOFF\n"
        "  e  local echo                 d  DTR on or off\n"
        "  t  time stamps                r  RTS on or off\n"
        "  x  hexadecimal view           s  settings, lines and counts\n"
        "  l  log of what is shown       Ctrl-T  sends Ctrl-T\n"
        "Control characters of the handset are shown as escapes. A log that --save does not name is made in the folder "
        "that the terminal was started in. From a pipe lines end with a carriage return, as Enter sends it, and there "
        "are no keys.");
    whenRun(command, context, [&context, o] { talk(context, *o); });
}

}  // namespace mova::cli
