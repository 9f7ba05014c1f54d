#include "cli/AtExchange.h"

#include <algorithm>
#include <array>

#include "base/Text.h"
#include "cli/SplitText.h"

namespace mova::cli {

namespace {

constexpr std::int32_t kAnswerTime = 5000;
constexpr std::uint32_t kReadPause = 5;
constexpr std::int32_t kLinesAndResult = number(Collect::WholeRecord);
constexpr std::int32_t kUnfinishedToo = number(Collect::TextAndPending);

struct FinalResult {
    std::string_view text;
    bool good;
    bool more;  // may be followed by details
};
constexpr std::array kFinalResults{
    FinalResult{"OK", true, false},          FinalResult{"ERROR", false, false},
    FinalResult{"+CME ERROR:", false, true}, FinalResult{"+CMS ERROR:", false, true},
    FinalResult{"NO CARRIER", false, false}, FinalResult{"BUSY", false, false},
    FinalResult{"NO ANSWER", false, false},  FinalResult{"NO DIALTONE", false, false},
    FinalResult{"CONNECT", true, true},
};

const FinalResult* finalResult(std::string_view line) {
    for (const FinalResult& row : kFinalResults) {
        if (line == row.text || (row.more && line.starts_with(row.text))) return &row;
    }
    return nullptr;
}

// The component gives an answer on one line, with "~" for each line end. True when the final result is there.
bool takeIn(AtAnswer& answer, const std::string& folded, const std::string& sent) {
    for (const std::string& part : splitAt(folded, '~')) {
        const std::string line(trimRight(part));
        if (line.empty() || (line == sent && answer.lines.empty())) continue;
        if (finalResult(line) != nullptr) {
            answer.result = line;
            return true;
        }
        answer.lines.push_back(line);
    }
    return false;
}

}  // namespace

std::vector<std::string> linesOf(const std::string& answer, const std::string& sent) {
    std::vector<std::string> lines;
    std::string text = answer;
    std::replace(text.begin(), text.end(), '~', '\n');
    for (const std::string& part : splitAt(text, '\n')) {
        const std::string line(trim(part));
        if (!line.empty() && (line != sent || !lines.empty())) lines.push_back(line);
    }
    return lines;
}

std::string quoted(const std::string& atCommand) {
    constexpr std::size_t kMost = 60;
    if (atCommand.size() <= kMost) return atCommand;
    return atCommand.substr(0, kMost) + "... (" + std::to_string(atCommand.size()) + " characters)";
}

std::string finalResultOf(const LineTalk& talk) {
    if (talk.empty()) return {};
    for (const std::string& part : splitAt(talk.back().received, '\n')) {
        const std::string_view line = trim(part);
        if (finalResult(line) != nullptr) return std::string(line);
    }
    return {};
}

bool isGood(const std::string& result) {
    const FinalResult* const row = finalResult(result);
    return row != nullptr && row->good;
}

AtAnswer askAt(Context& context, const std::string& atCommand, Wanted wanted) {
    CVeCmdManager& handset = context.session.handset();
    Clock& clock = context.session.clock();
    const auto limit = static_cast<std::uint32_t>(context.session.timeout(kAnswerTime));
    const std::string sent(trimRight(atCommand));
    AtAnswer answer;
    Listening listening(context.session);
    const std::uint32_t begin = clock.tickCount();
    check(handset.SendNormalAtCmd(0, atCommand), quoted(atCommand) + " was not sent");
    for (;;) {
        const AtResult got = handset.GetNormalAtResult(kLinesAndResult);
        check(got.code, "the answer to " + quoted(atCommand) + " was not collected");
        const bool whole = takeIn(answer, got.text, sent);
        answer.milliseconds = clock.tickCount() - begin;
        if (whole) {
            answer.finding = listening.look(wanted).finding;
            return answer;
        }
        if (answer.milliseconds >= limit || context.session.line().isGone()) break;
        checkInterrupt();
        if (got.text.empty()) clock.sleep(kReadPause);
    }
    takeIn(answer, handset.GetNormalAtResult(kUnfinishedToo).text, sent);
    answer.finding = listening.look(wanted).finding;
    return answer;
}

}  // namespace mova::cli
