#include "atchannel/AtProperties.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "base/HexText.h"
#include "base/Text.h"
#include "mova/Options.h"

namespace mova {

namespace {

using Traced = AtCommands::Traced;

enum class Argument {
    None,
    Switch,  // "1" when the parameter is 1, else "0"
    Number,  // the parameter as "%d"
};

enum class Step {
    Plain,
    ThenWakeFrame,  // the frame's result replaces the command's
    AfterClearQueue,
    WakeSequence,
};

struct Row {
    std::uint32_t id;
    const char* command;
    Argument argument;
    Traced traced;
    std::string_view answers;  // empty: no wait, but a pause
    std::uint32_t milliseconds;
    Step step = Step::Plain;
};

constexpr std::uint32_t sends(Property property) { return number(property); }
constexpr std::uint32_t waits(Property property) { return number(property) + kPropertyWaits; }

constexpr std::string_view kOkOrError = AtCommands::kFinalResults;

// Deliberate: the trace flags of some pairs differ.
constexpr std::array kProperties{
    Row{sends(Property::Echo), "ATE", Argument::Switch, Traced::Yes, {}, 100},
    Row{sends(Property::Wake), "AT", Argument::None, Traced::No, {}, 100, Step::ThenWakeFrame},
    Row{sends(Property::UartSwap), "AT*UARTSWAP", Argument::None, Traced::No, {}, 100},
    Row{sends(Property::Call112), "ATD112;", Argument::None, Traced::Yes, {}, 100},
    Row{sends(Property::HangUp), "ATH", Argument::None, Traced::No, {}, 100},
    Row{sends(Property::FullFunction), "AT+CFUN=1", Argument::None, Traced::No, {}, 100},
    Row{sends(Property::RegisterAutomatically), "AT+COPS=0", Argument::None, Traced::No, {}, 100},
    Row{sends(Property::SleepModeOn), "AT*SLEEPMODE=1", Argument::None, Traced::Yes, {}, 100},
    Row{sends(Property::SleepModeOff), "AT*SLEEPMODE=0", Argument::None, Traced::Yes, {}, 100},
    Row{sends(Property::AutoAnswer), "ATS0=", Argument::Number, Traced::Yes, {}, 200},
    Row{sends(Property::SendJ), "<j", Argument::None, Traced::Yes, {}, 100},
    Row{sends(Property::Bypass), "AT*BYPASS=", Argument::Switch, Traced::Yes, {}, 100},
    Row{sends(Property::SendK), "<k", Argument::None, Traced::Yes, {}, 100},
    Row{sends(Property::BoardTest), "AT*BOARDTEST=", Argument::Switch, Traced::Yes, {}, 100},
    Row{waits(Property::Echo), "ATE", Argument::Switch, Traced::Yes, kOkOrError, 800},
    Row{waits(Property::Wake), "AT", Argument::None, Traced::Yes, {}, 0, Step::WakeSequence},
    Row{waits(Property::UartSwap), "AT*UARTSWAP", Argument::None, Traced::No, kOkOrError, 1500},
    Row{waits(Property::Call112), "ATD112;", Argument::None, Traced::Yes, kOkOrError, 8000},
    Row{waits(Property::HangUp), "ATH", Argument::None, Traced::No, kOkOrError, 1500},
    Row{waits(Property::FullFunction), "AT+CFUN=1", Argument::None, Traced::No, kOkOrError, 1500},
    Row{waits(Property::RegisterAutomatically), "AT+COPS=0", Argument::None, Traced::Yes, kOkOrError, 1500},
    Row{waits(Property::SleepModeOn), "AT*SLEEPMODE=1", Argument::None, Traced::Yes, kOkOrError, 1000},
    Row{waits(Property::SleepModeOff), "AT*SLEEPMODE=0", Argument::None, Traced::Yes, kOkOrError, 1000},
    Row{waits(Property::AutoAnswer), "ATS0=", Argument::Number, Traced::Yes, kOkOrError, 1000},
    Row{waits(Property::SendJ), "<j", Argument::None, Traced::Yes, ">j|OK", 100, Step::AfterClearQueue},
    Row{waits(Property::Bypass), "AT*BYPASS=", Argument::Switch, Traced::Yes, kOkOrError, 1000},
    Row{waits(Property::SendK), "<k", Argument::None, Traced::Yes, ">k", 100, Step::AfterClearQueue},
    Row{waits(Property::BoardTest), "AT*BOARDTEST=", Argument::Switch, Traced::Yes, kOkOrError, 1000},
};

std::string commandOf(const Row& property, std::uint32_t parameter) {
    std::string command = property.command;
    if (property.argument == Argument::Switch) command += parameter == 1 ? '1' : '0';
    if (property.argument == Argument::Number) command += format("%d", static_cast<int>(parameter));
    return command;
}

// "AT*", then the eight bytes that wake a silent channel; written raw.
constexpr std::string_view kWakeFrame("AT*\x02\x00\x03\x01\x00\x00\x0A\x0D", 11);
constexpr std::size_t kWakeHead = 3;
constexpr int kWakeAttempts = 3;
constexpr std::uint32_t kWakeWait = 150;
constexpr std::uint32_t kWakeFrameWait = 500;
constexpr std::uint32_t kWakePause = 1000;

}  // namespace

Code AtProperties::set(std::uint32_t id, std::uint32_t parameter) {
    const auto property =
        std::find_if(kProperties.begin(), kProperties.end(), [&](const Row& p) { return p.id == id; });
    if (property == kProperties.end()) return Code::UnknownProperty;
    if (property->step == Step::WakeSequence) return wake();
    if (property->step == Step::AfterClearQueue) commands_.answers().takeInAndStartAfresh();
    Code result = commands_.send(commandOf(*property, parameter), property->traced);
    if (property->step == Step::ThenWakeFrame) result = sendWakeFrame();
    if (property->answers.empty()) {
        platform_.clock.sleep(property->milliseconds);
    } else if (result == Code::Success) {
        result = commands_.answers().wait(property->milliseconds, property->answers);
    }
    return result;
}

Code AtProperties::sendWakeFrame() {
    return port_.pacedWrite(kWakeFrame.data(), static_cast<std::uint32_t>(kWakeFrame.size()),
                            session_.timeout(Timeout::AtWrite));
}

Code AtProperties::wake() {
    static_cast<void>(commands_.send("AT", Traced::Yes));  // deliberate: its result is not kept
    Code result = commands_.answers().wait(kWakeWait, kOkOrError);
    if (result != Code::NoAnswer) return result;
    for (int attempt = 0; attempt < kWakeAttempts; ++attempt) {
        const bool awake = attemptWake(result);
        platform_.clock.sleep(kWakePause);
        if (awake || result != Code::Success) break;
    }
    return result;
}

bool AtProperties::attemptWake(Code& result) {
    trace_.record(TraceKind::AtSent,
                  std::string(kWakeFrame.substr(0, kWakeHead)) + encodeHex(kWakeFrame.substr(kWakeHead)));
    result = sendWakeFrame();
    if (result != Code::Success) return false;
    static_cast<void>(commands_.answers().wait(kWakeFrameWait, kOkOrError));  // the "AT" that follows tells
    result = commands_.send("AT", Traced::Yes);
    return result == Code::Success && commands_.answers().wait(kWakeWait, kOkOrError) == Code::Success;
}

}  // namespace mova
