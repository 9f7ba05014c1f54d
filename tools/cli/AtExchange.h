// One AT command and its answer.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "cli/AnswerCheck.h"
#include "cli/Context.h"

namespace mova::cli {

struct AtAnswer {
    std::vector<std::string> lines;  // without echo and final result
    std::string result;              // "OK", "ERROR", "+CME ERROR: 10", …; empty: none came in time
    std::uint32_t milliseconds = 0;
    Finding finding;  // of a request of the handset's protocol
};

// A command as messages quote it: of a long one the beginning and the length.
std::string quoted(const std::string& atCommand);

// The lines of an answer without the echo of the command and without blank ones.
std::vector<std::string> linesOf(const std::string& answer, const std::string& sent);

AtAnswer askAt(Context& context, const std::string& atCommand, Wanted wanted = Wanted::Confirmation);
std::string finalResultOf(const LineTalk& talk);  // the first behind the last command; empty: none
bool isGood(const std::string& result);           // a final result that is no refusal

}  // namespace mova::cli
