#include "atchannel/AtProperties.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "base/HexText.h"
#include "base/Text.h"

namespace mova {

namespace {

using Traced = AtChannel::Traced;

enum class Argument {
    None,
    Switch,  // "1" when the parameter is 1, else "0"
    Number,  // the parameter as "%d"
};

enum class Step {
    Plain,
    ThenWakeFrame,    // the frame's result replaces the command's
    AfterClearQueue,
    WakeSequence,
};

struct Property {
    std::uint32_t id;
    const char* command;
    Argument argument;
    Traced traced;
    std::string_view answers;  // empty: no wait, but a pause
    std::uint32_t milliseconds;
    Step step = Step::Plain;
};

constexpr std::string_view kOkOrError = AtChannel::kFinalResults;

// Deliberate: the trace flags of some pairs differ.
constexpr std::array kProperties{
    Property{1, "ATE", Argument::Switch, Traced::Yes, {}, 100},
    Property{2, "AT", Argument::None, Traced::No, {}, 100, Step::ThenWakeFrame},
    Property{3, "AT*UARTSWAP", Argument::None, Traced::No, {}, 100},
    Property{4, "ATD112;", Argument::None, Traced::Yes, {}, 100},
    Property{5, "ATH", Argument::None, Traced::No, {}, 100},
    Property{6, "AT+CFUN=1", Argument::None, Traced::No, {}, 100},
    Property{7, "AT+COPS=0", Argument::None, Traced::No, {}, 100},
    Property{8, "AT*SLEEPMODE=1", Argument::None, Traced::Yes, {}, 100},
    Property{9, "AT*SLEEPMODE=0", Argument::None, Traced::Yes, {}, 100},
    Property{10, "ATS0=", Argument::Number, Traced::Yes, {}, 200},
    Property{11, "<j", Argument::None, Traced::Yes, {}, 100},
    Property{12, "AT*BYPASS=", Argument::Switch, Traced::Yes, {}, 100},
    Property{13, "<k", Argument::None, Traced::Yes, {}, 100},
    Property{14, "AT*BOARDTEST=", Argument::Switch, Traced::Yes, {}, 100},
    Property{101, "ATE", Argument::Switch, Traced::Yes, kOkOrError, 800},
    Property{102, "AT", Argument::None, Traced::Yes, {}, 0, Step::WakeSequence},
    Property{103, "AT*UARTSWAP", Argument::None, Traced::No, kOkOrError, 1500},
    Property{104, "ATD112;", Argument::None, Traced::Yes, kOkOrError, 8000},
    Property{105, "ATH", Argument::None, Traced::No, kOkOrError, 1500},
    Property{106, "AT+CFUN=1", Argument::None, Traced::No, kOkOrError, 1500},
    Property{107, "AT+COPS=0", Argument::None, Traced::Yes, kOkOrError, 1500},
    Property{108, "AT*SLEEPMODE=1", Argument::None, Traced::Yes, kOkOrError, 1000},
    Property{109, "AT*SLEEPMODE=0", Argument::None, Traced::Yes, kOkOrError, 1000},
    Property{110, "ATS0=", Argument::Number, Traced::Yes, kOkOrError, 1000},
    Property{111, "<j", Argument::None, Traced::Yes, ">j|OK", 100, Step::AfterClearQueue},
    Property{112, "AT*BYPASS=", Argument::Switch, Traced::Yes, kOkOrError, 1000},
    Property{113, "<k", Argument::None, Traced::Yes, ">k", 100, Step::AfterClearQueue},
    Property{114, "AT*BOARDTEST=", Argument::Switch, Traced::Yes, kOkOrError, 1000},
};

std::string commandOf(const Property& property, std::uint32_t parameter) {
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

std::uint32_t AtProperties::set(std::uint32_t id, std::uint32_t parameter) {
    const auto property =
        std::find_if(kProperties.begin(), kProperties.end(), [&](const Property& p) { return p.id == id; });
    if (property == kProperties.end()) return code::UnknownProperty;
    if (property->step == Step::WakeSequence) return wake();
    if (property->step == Step::AfterClearQueue) channel_.answers().ClearQueue();
    std::uint32_t result = channel_.send(commandOf(*property, parameter), property->traced);
    if (property->step == Step::ThenWakeFrame) result = sendWakeFrame();
    if (property->answers.empty()) {
        platform_.clock.sleep(property->milliseconds);
    } else if (result == code::Success) {
        result = channel_.answers().wait(property->milliseconds, property->answers);
    }
    return result;
}

std::uint32_t AtProperties::sendWakeFrame() {
    return port_.pacedWrite(kWakeFrame.data(), static_cast<std::uint32_t>(kWakeFrame.size()),
                            session_.timeout(Session::Timeout::AtWrite));
}

std::uint32_t AtProperties::wake() {
    channel_.send("AT", Traced::Yes);  // deliberate: its result is not kept
    std::uint32_t result = channel_.answers().wait(kWakeWait, kOkOrError);
    if (result != code::NoAnswer) return result;
    for (int attempt = 0; attempt < kWakeAttempts; ++attempt) {
        const bool awake = attemptWake(result);
        platform_.clock.sleep(kWakePause);
        if (awake || result != code::Success) break;
    }
    return result;
}

bool AtProperties::attemptWake(std::uint32_t& result) {
    trace_.record(TraceKind::AtSent,
                  std::string(kWakeFrame.substr(0, kWakeHead)) + encodeHex(kWakeFrame.substr(kWakeHead)));
    result = sendWakeFrame();
    if (result != code::Success) return false;
    channel_.answers().wait(kWakeFrameWait, kOkOrError);
    result = channel_.send("AT", Traced::Yes);
    return result == code::Success && channel_.answers().wait(kWakeWait, kOkOrError) == code::Success;
}

}  // namespace mova
