#include "atchannel/AtCommands.h"

#include "base/Text.h"
#include "mova/Options.h"

namespace mova {

namespace {
constexpr std::string_view kLineEnd = "\r\n";

bool canBeSent(std::string_view command) { return !command.empty() && command.size() <= AtCommands::kLongestCommand; }
}  // namespace

Code AtCommands::send(std::string_view command, Traced traced) {
    if (session_.synchronous) answers_.startAfresh();
    if (!canBeSent(command)) return Code::BadAtCommand;
    if (traced == Traced::Yes) trace_.record(TraceKind::AtSent, command);
    std::string line;
    line.reserve(command.size() + 1);
    line.append(command).append(1, '\r');
    return port_.pacedWrite(line.data(), static_cast<std::uint32_t>(line.size()), session_.timeout(Timeout::AtWrite));
}

AtCommands::Answer AtCommands::ask(std::string_view command, std::uint32_t milliseconds) {
    Answer answer;
    answer.code = send(command, Traced::Yes);
    if (answer.code == Code::Success) answer.code = answers_.wait(milliseconds, kFinalResults);
    if (answer.code != Code::Success) return answer;
    auto fetched = answers_.queue().fetch(LineClass::AtText, ConfirmationQueue::Take::Remove);
    answer.text = std::move(fetched.record.responseText);
    answer.result = std::move(fetched.record.terminatorText);
    return answer;
}

Code AtCommands::sendPassThrough(std::string_view command) {
    if (canBeSent(command)) log_.write(LogType::At, command, LogDirection::Sent);
    const Code result = send(command, Traced::Yes);
    if (result != Code::Success) {
        const std::string text = format("SendNormalAtCmd Fail, ErrorCode= %d", static_cast<int>(result));
        debug_.post(text);
        log_.write(LogType::ErrorCode, text);
    }
    return result;
}

AtCommands::Collected AtCommands::collect(std::int32_t option) {
    Collected collected;
    if (!session_.synchronous) {
        collected.code = Code::NotSynchronous;
        return collected;
    }
    if (option != number(Collect::WholeRecord)) answers_.dropRecords(Answers::Purge::Yes);
    static_cast<void>(answers_.wait(0, {}));  // what has arrived is looked for in the queue
    const auto fetched = answers_.queue().fetch(LineClass::AtText, ConfirmationQueue::Take::Remove);
    if (fetched.record.valid != 1) return collected;
    collected.text = foldLines(joinAnswer(option, fetched.record));
    log_.write(LogType::At, collected.text);
    return collected;
}

std::string AtCommands::joinAnswer(std::int32_t option, const MovaRetCmdTag& record) {
    const std::string& first = record.responseText;
    const std::string& second = record.terminatorText;
    if (option != number(Collect::TextAndPending) && option != number(Collect::WholeRecord)) return second;

    const std::string_view separator = first.empty() || second.empty() ? std::string_view{} : kLineEnd;
    std::string answer = first;
    answer.append(separator).append(second);
    if (option == number(Collect::TextAndPending)) {
        PendingText& pending = answers_.pending();
        if (!second.empty() && !pending.empty()) answer += separator;
        answer += pending.text();
        pending.clear();
    }
    return answer;
}

}  // namespace mova
