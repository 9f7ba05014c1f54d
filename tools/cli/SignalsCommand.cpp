#include <CLI/CLI.hpp>
#include <array>

#include "cli/Commands.h"
#include "cli/Context.h"
#include "platform/SerialDriver.h"

namespace mova::cli {

namespace {

struct Input {
    const char* name;
    const char* key;
    std::uint32_t bit;
};
constexpr std::array kInputs{Input{"CTS", "cts", ModemStatus::Cts}, Input{"DSR", "dsr", ModemStatus::Dsr},
                             Input{"RING", "ring", ModemStatus::Ring}, Input{"CARRIER", "carrier", ModemStatus::Rlsd}};
constexpr std::int32_t kWholeWord = number(InputSignal::WholeStatus);

struct Wish {
    std::int32_t index;  // 1: DTR, 0: RTS
    bool raise;
    std::string name;
};

Wish parseWish(const std::string& text) {
    constexpr std::int32_t kDtr = 1, kRts = 0;
    struct Word {
        const char* text;
        std::int32_t index;
        bool raise;
        const char* name;
    };
    constexpr Word kWords[] = {{"dtr=on", kDtr, true, "DTR"},
                               {"dtr=off", kDtr, false, "DTR"},
                               {"rts=on", kRts, true, "RTS"},
                               {"rts=off", kRts, false, "RTS"}};
    for (const Word& word : kWords) {
        if (text == word.text) return {word.index, word.raise, word.name};
    }
    failUsage("\"" + text + "\" sets no line", "dtr=on, dtr=off, rts=on or rts=off");
}

void setAndShow(Context& context, const std::vector<std::string>& words) {
    std::vector<Wish> wishes;
    wishes.reserve(words.size());
    for (const std::string& word : words) wishes.push_back(parseWish(word));
    CVeCmdManager& handset = context.session.handset();
    for (const Wish& wish : wishes) {
        check(handset.SetCommSignal(wish.index, wish.raise ? 1 : 0), wish.name + " could not be set");
    }
    const auto lines = static_cast<std::uint32_t>(handset.DetectCommSignal(kWholeWord));
    std::string text;
    for (const Input& input : kInputs) {
        const bool up = (lines & input.bit) != 0;
        context.result[input.key] = up;
        if (!text.empty()) text += "  ";
        text += input.name + std::string(up ? " on" : " off");
    }
    context.out.line(text);
}

}  // namespace

void describeSignals(CLI::App& command, Context& context) {
    auto words = std::make_shared<std::vector<std::string>>();
    command.description("Sets modem lines as told, then shows those that the handset drives");
    command.add_option("line", *words, "dtr=on, dtr=off, rts=on, rts=off; without any nothing is set")
        ->type_name("LINE");
    command.footer(
        "A port that has no such lines shows all of them as off. Opening a port raises DTR and RTS, and the system may "
        "lower them when it is closed: to hold a line otherwise, stay in \"mova shell\" or \"mova run\".");
    whenRun(command, context, [&context, words] { setAndShow(context, *words); });
}

}  // namespace mova::cli
