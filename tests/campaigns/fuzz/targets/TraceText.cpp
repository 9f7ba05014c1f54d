// Trace records of any text: the text's characters all in it, in order, behind the kind's head; in the trace file one
// time stamp behind each; a text of any size makes a record in proportion.
#include <algorithm>

#include "campaigns/fuzz/Input.h"
#include "campaigns/fuzz/LineBench.h"
#include "campaigns/fuzz/Require.h"
#include "services/TrafficTrace.h"

using namespace mova;
using namespace mova::fuzz;

namespace {

// What stands in front, how many separators of one character, whether the data goes on lines of its own.
struct Shape {
    const char* head;
    std::size_t fieldsEnd;   // characters of the text before the data
    const char* separators;  // between the fields, in order, "%" and what follows it last
    bool lines;              // data in lines of 100 characters
    bool whole = true;       // all characters of the text are there
};

constexpr Shape kShapes[] = {
    {"", 0, "", false, false},
    {"Mv-S ", 20, "#----%", false},
    {"Mv-R ", 8, "--%", false},
    {"E2P-S ", 26, "#-----%\n", false},
    {"E2P-S ", 10, "#%", false},
    {"E2P-R ", 16, "----%\n", true},
    {"E2P-A %E2p Ack!", 0, "", false, false},
    {"E2P-A % E2p OK!", 0, "", false, false},
    {"E2P-Msg ", 0, "%", false},
    {"AT-S ", 0, "", false},
    {"AT-R ", 0, "", false},
    {"Mv-A %Mova Checksum Error!", 0, "", false, false},
    {"Mv-R-Error ", 0, "", false},
    {"AT-Purge ", 0, "", false},
    {"HCI-S ", 16, "#--%\n", false},
    {"HCI-S ", 10, "#%", false},
    {"HCI-R ", 6, "-%\n", true, false},
    {"Mv-ECHO ", 0, "", false},
    {"", 0, "", false},
    {"WIFI-S ", 18, "#---%\n", false},
    {"WIFI-S ", 10, "#%", false},
    {"WIFI-R ", 8, "--%\n", true},
};
constexpr std::size_t kKinds = std::size(kShapes);

Landmark allKinds[kKinds] = {{"TraceText", "no kind"}, {"TraceText", "1"},  {"TraceText", "2"},  {"TraceText", "3"},
                             {"TraceText", "4"},       {"TraceText", "5"},  {"TraceText", "6"},  {"TraceText", "7"},
                             {"TraceText", "8"},       {"TraceText", "9"},  {"TraceText", "10"}, {"TraceText", "11"},
                             {"TraceText", "12"},      {"TraceText", "13"}, {"TraceText", "14"}, {"TraceText", "15"},
                             {"TraceText", "16"},      {"TraceText", "17"}, {"TraceText", "18"}, {"TraceText", "19"},
                             {"TraceText", "20"},      {"TraceText", "21"}};

std::size_t length(const char* text) { return std::string_view(text).size(); }

std::size_t expectedLength(const Shape& shape, std::size_t text) {
    std::size_t size = length(shape.head) + length(shape.separators);
    const std::size_t data = text - std::min(text, shape.fieldsEnd);
    if (shape.whole) return size + text + (shape.lines ? (data + 99) / 100 : 0);
    if (!shape.lines) return size;
    // The fields, then the last six characters, which may be the fields' own.
    return size + std::min(text, shape.fieldsEnd) + (text > 0 ? std::min<std::size_t>(text, 6) + 1 : 0);
}

// The text's characters in their order, with nothing but separators and line ends between them.
bool holdsInOrder(std::string_view record, std::string_view text) {
    for (const char c : record) {
        if (!text.empty() && c == text.front()) text.remove_prefix(1);
    }
    return text.empty();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::size_t number = input.below(kKinds + 3);  // some of no kind
    const auto kind = static_cast<TraceKind>(number);
    const std::uint32_t start = input.number();
    const std::string_view text = input.text();
    const Shape& shape = kShapes[number < kKinds ? number : 0];

    const std::string record = traceText(kind, text);
    require(record.starts_with(shape.head), "the record's head");
    requireEqual(record.size(), expectedLength(shape, text.size()), "the record's length");
    if (shape.whole) require(holdsInOrder(record, text), "the whole text");
    allKinds[number < kKinds ? number : 0].reach();

    ScriptedPlatform platform;
    quietPort(platform);
    MyDebugMsg debug(platform);
    TrafficTrace trace(platform, debug);
    trace.record(kind, text);
    requireEqual(trace.activate("trace.log", start, 1), 0, "a trace file");
    trace.record(kind, text);
    const std::uint32_t elapsed = 100000 > start ? 100000 - start : 100000 + ~start;
    const std::string stamp = printed("\t\t\t\t[T:%d]\n", static_cast<int>(elapsed));
    requireEqual(platform.files().content("trace.log"), record + stamp, "the trace file");
    return 0;
}
