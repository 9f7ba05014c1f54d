// Holds what arrived on the line against what was asked: a request of the handset's protocol is answered when each of
// its segments was acknowledged and the confirmation is whole and its own. docs/line-protocol.md has the layouts.
#pragma once
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/Failure.h"
#include "cli/LineTalk.h"
#include "mova/Codes.h"
#include "program/ExitStatus.h"

namespace mova::cli {

// What stands against an answer; nothing where the status is Done.
struct Finding {
    ExitStatus status = ExitStatus::Done;
    Code code = Code::Success;  // the component's for it
    std::string reason;
    std::string hint;

    explicit operator bool() const { return status != ExitStatus::Done; }
};

enum class Wanted { Confirmation, AcknowledgementAlone };  // the latter takes a confirmation too, if it is whole

struct CheckedAnswer {
    Finding finding;
    // Of the last request: data as hexadecimal text. Of the text families one, without the reply's head; of RF the whole
    // payload, and one for each confirmation of its service.
    std::vector<std::string> data;
};

// Talk without a request of the protocol, AT commands for instance, has no finding but a damaged confirmation.
CheckedAnswer checkAnswer(const LineTalk& talk, Wanted wanted = Wanted::Confirmation);

// What is to be said when the port is gone.
Finding portFailed();

// What the component made of a whole answer is that answer; adds the finding where it is not. delivered: its data as
// hexadecimal text, where the caller has it.
void requireDelivered(CheckedAnswer& answer, Code code, std::optional<std::string_view> delivered = std::nullopt);

// Why the first confirmation that is not whole is none, and how many there are of them.
struct Damage {
    std::size_t count = 0;
    Finding first;
};
Damage damageIn(std::string_view received);

// The failure of a code or, where that is a success or says only that nothing came in time, of the finding. Says what
// the line showed.
Failure failureOf(Code code, const Finding& finding, const std::string& message);
// Throws it unless the code is a success and nothing stands against the answer.
void check(Code code, const Finding& finding, const std::string& message);

}  // namespace mova::cli
