#include "cli/Context.h"

#include <CLI/CLI.hpp>

#include "base/Text.h"
#include "cli/Interrupt.h"
#include "cli/ParseBytes.h"
#include "cli/ParseNumber.h"

namespace mova::cli {

namespace {

// NOLINTNEXTLINE(misc-no-recursion): commands are two deep
std::string fullName(const CLI::App& command) {
    const CLI::App* const parent = command.get_parent();
    if (parent == nullptr || parent->get_parent() == nullptr) return command.get_name();
    return fullName(*parent) + " " + command.get_name();
}

}  // namespace

void whenRun(CLI::App& command, Context& context, std::function<void()> action) {
    command.callback([&command, &context, action = std::move(action)] {
        context.commandName = fullName(command);
        if (!context.checkOnly) action();
    });
}

CLI::Option* addNumber(CLI::App& command, const std::string& name, std::uint32_t& value, std::uint32_t limit,
                       const std::string& description) {
    auto* const option = command.add_option_function<std::string>(
        name,
        [&value, limit, name](const std::string& text) {
            const auto number = parseNumber(text);
            if (!number || *number > limit) {
                throw CLI::ValidationError(
                    name, "\"" + text + "\" is no number from 0 to " + format("%u (0x%X)", limit, limit));
            }
            value = static_cast<std::uint32_t>(*number);
        },
        description);
    option->type_name("NUMBER");
    return option;
}

CLI::Option* addHex(CLI::App& command, const std::string& name, std::string& value, const std::string& description) {
    auto* const option = command.add_option_function<std::vector<std::string>>(
        name,
        [&value, name](const std::vector<std::string>& words) {
            std::string joined;
            for (const std::string& word : words) joined += word;
            const auto hex = parseHex(joined);
            if (!hex) throw CLI::ValidationError(name, "\"" + joined + "\" is no hexadecimal data (two digits a byte)");
            value = *hex;
        },
        description);
    option->type_name("HEX");
    return option;
}

void addNoConfirmation(CLI::App& command, bool& value) {
    command.add_flag("--no-confirmation", value,
                     "the acknowledgement is enough: a confirmation may come, and is checked if it does");
}

std::vector<NumberRange> rangesOf(const std::string& text, const char* option, const std::string& hint) {
    const auto ranges = parseRanges(text, kLargestWord);
    if (!ranges) failUsage(std::string(option) + " " + text + ": these are no ranges of numbers up to 65535", hint);
    return *ranges;
}

void checkInterrupt(const std::string& hint) {
    if (interrupted()) throw Failure{ExitStatus::Interrupted, "interrupted", hint};
}

void pause(Context& context, std::uint32_t milliseconds) {
    constexpr std::uint32_t kSlice = 20;
    Clock& clock = context.session.clock();
    const std::uint32_t begin = clock.tickCount();
    for (;;) {
        checkInterrupt();
        const std::uint32_t passed = clock.tickCount() - begin;
        if (passed >= milliseconds) return;
        clock.sleep(std::min(kSlice, milliseconds - passed));
    }
}

}  // namespace mova::cli
