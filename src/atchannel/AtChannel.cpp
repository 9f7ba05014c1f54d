#include "atchannel/AtChannel.h"

#include "logging/LogWriter.h"
#include "base/Text.h"

namespace mova {

namespace {
// What of a collected answer the caller wants; every other number: the final result alone.
constexpr std::int32_t kTextAndPending = 1;
constexpr std::int32_t kWholeRecord = 2;
constexpr std::string_view kLineEnd = "\r\n";
}  // namespace

std::uint32_t AtChannel::send(std::string_view command, Traced traced) {
    if (session_.synchronous) answers_.startAfresh();
    if (command.empty() || command.size() > kLongestCommand) return code::BadAtCommand;
    if (traced == Traced::Yes) trace_.record(TraceKind::AtSent, command);
    std::string line;
    line.reserve(command.size() + 1);
    line.append(command).append(1, '\r');
    return port_.pacedWrite(line.data(), static_cast<std::uint32_t>(line.size()),
                            session_.timeout(Session::Timeout::AtWrite));
}

AtChannel::Answer AtChannel::ask(std::string_view command, std::uint32_t milliseconds) {
    Answer answer;
    answer.code = send(command, Traced::Yes);
    if (answer.code == code::Success) answer.code = answers_.wait(milliseconds, kFinalResults);
    if (answer.code != code::Success) return answer;
    auto fetched = answers_.queue().fetch(LineClass::AtText, ConfirmationQueue::Take::Remove);
    answer.text = std::move(fetched.record.responseText);
    answer.result = std::move(fetched.record.terminatorText);
    return answer;
}

std::uint32_t AtChannel::SendNormalAtCmd(std::string_view command) {
    Log(platform_, session_.logFilePath, LogType::At, command, LogDirection::Sent);
    const std::uint32_t result = send(command, Traced::Yes);
    if (result != code::Success) {
        const std::string text = format("SendNormalAtCmd Fail, ErrorCode= %d", static_cast<int>(result));
        debug_.post(text);
        Log(platform_, session_.logFilePath, LogType::ErrorCode, text);
    }
    return result;
}

AtChannel::Collected AtChannel::GetNormalAtResult(std::int32_t lOption) {
    Collected collected;
    if (!session_.synchronous) {
        collected.code = code::NotSynchronous;
        return collected;
    }
    if (lOption != kWholeRecord) answers_.clearQueue(AnswerChannel::Purge::Yes);
    answers_.wait(0, {});
    const auto fetched = answers_.queue().fetch(LineClass::AtText, ConfirmationQueue::Take::Remove);
    if (fetched.record.valid != 1) return collected;
    collected.text = foldLines(joinAnswer(lOption, fetched.record));
    Log(platform_, session_.logFilePath, LogType::At, collected.text, LogDirection::Received);
    return collected;
}

std::string AtChannel::joinAnswer(std::int32_t option, const MovaRetCmdTag& record) {
    const std::string& first = record.responseText;
    const std::string& second = record.terminatorText;
    if (option != kTextAndPending && option != kWholeRecord) return second;

    const std::string_view separator = first.empty() || second.empty() ? std::string_view{} : kLineEnd;
    std::string answer = first;
    answer.append(separator).append(second);
    if (option == kTextAndPending) {
        PendingText& pending = answers_.pending();
        if (!second.empty() && !pending.empty()) answer += separator;
        answer += pending.text();
        pending.clear();
    }
    return answer;
}

}  // namespace mova
