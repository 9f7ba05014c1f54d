// Log lines of any message: one line with time, thread and tag, the message as it is; nothing is formatted.
#include "base/Text.h"
#include "campaigns/fuzz/Input.h"
#include "campaigns/fuzz/LineBench.h"
#include "campaigns/fuzz/Require.h"
#include "logging/LogWriter.h"

using namespace mova;
using namespace mova::fuzz;

namespace {

struct Tag {
    const char* before;
    bool directed;
    bool trimmed;
    const char* after = "\r\n";
};

constexpr const char* kStars = " ********\r\n";
constexpr Tag kUnknown{"[UNKNOWN]", true, false};
constexpr Tag kTags[] = {
    kUnknown,
    {"[AT]", true, true},
    {"[GPIB]", true, true},
    {"[QLIB]", true, false},
    {"[NODE BEGIN]: ********", false, false, kStars},
    {"[NODE END]: ********", false, false, " ********\r\n\r\n"},
    {"[STEP]:", false, false},
    {"[COMMENT]:", false, false},
    {"[ERROR CODE]:", false, false},
    {"[ERROR DESCRIPTION]:", false, false},
    {"[QPD]:", false, false},
    {"[COMM]:", false, false},
    {"[TCP]:", false, false},
    {"[DEBUG]:", false, false},
};

Landmark known("LogText", "a known type");
Landmark unknown("LogText", "an unknown type");
Landmark trimmedMessage("LogText", "a message with white space at its end");

std::string withoutTrailingSpace(std::string text) {
    while (!text.empty() && std::string_view(" \t\r\n\v\f").find(text.back()) != std::string_view::npos)
        text.pop_back();
    return text;
}

void foldedTextsAreOnOneLine(std::string_view text) {
    const std::string tildes = tildeLines(text);
    require(tildes.find("\r\n") == std::string::npos, "no line end is left");
    require(tildes.size() <= text.size(), "a text on one line is no longer");
    const std::string folded = foldLines(text);
    require(folded.find("~~") == std::string::npos, "runs of the sign are one");
    requireEqual(foldLines(folded), folded, "folded again");
    std::string plain(text);
    for (auto at = plain.find("\r\n"); at != plain.npos; at = plain.find("\r\n", at)) plain.replace(at, 2, "~");
    requireEqual(tildes, plain, "line ends as signs");
    for (auto at = plain.find("~~"); at != plain.npos; at = plain.find("~~")) plain.erase(at, 1);
    requireEqual(folded, plain, "folded lines");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::size_t type = input.below(16);
    const bool sent = input.flag();
    const std::string text(input.text());
    const Tag& tag = type < std::size(kTags) ? kTags[type] : kUnknown;

    ScriptedPlatform platform;
    quietPort(platform);
    const auto direction = sent ? LogDirection::Sent : LogDirection::Received;
    requireEqual(Log(platform, "", static_cast<LogType>(type), text, direction), 0x1001, "no path");
    requireEqual(platform.files().count(), 0, "no file without a path");
    requireEqual(Log(platform, "station.log", static_cast<LogType>(type), text, direction), 0, "a line");

    std::string expected = "[2024/03/05-09:07:02::045][00001]\t";
    expected += tag.before;
    if (tag.directed) expected += sent ? " Send:" : " Recv:";
    expected += " ";
    expected += tag.trimmed ? withoutTrailingSpace(text) : text;
    expected += tag.after;
    requireEqual(platform.files().content("station.log"), expected, "the log file");
    (type >= 1 && type < std::size(kTags) ? known : unknown).reach();
    if (tag.trimmed && withoutTrailingSpace(text) != text) trimmedMessage.reach();
    foldedTextsAreOnOneLine(text);
    return 0;
}
