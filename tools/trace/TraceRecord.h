// One record of a trace file, and what its text says.
#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace mova::trace {

enum class RecordKind : std::uint8_t {
    Empty,  // a record without text
    RfSent,
    RfReply,
    E2pFirstSent,
    E2pLaterSent,
    E2pReply,
    AckSeen,
    OkSeen,
    E2pMessage,
    AtSent,
    AtReply,
    BadChecksum,
    ReplyInError,
    Purged,
    HciFirstSent,
    HciLaterSent,
    HciReply,
    Echo,
    FreeText,
    WifiFirstSent,
    WifiLaterSent,
    WifiReply,
};
constexpr std::size_t kRecordKinds = 22;

std::string_view nameOf(RecordKind kind);  // "E2P reply"

struct Record {
    std::uint64_t line = 0;    // where it begins in the file, from 1
    std::int64_t time = 0;     // milliseconds since the first record, the count's wraps undone
    std::int64_t printed = 0;  // the milliseconds as the file has them
    bool stamped = true;       // false: the file has no time for it, it took its neighbour's
    std::string text;          // without the time; line ends are "\n"
};

enum class FieldForm : std::uint8_t { Byte, Word };  // a word stands low byte first

struct FieldLayout {
    const char* name;
    FieldForm form;
    char before;  // what stands before it; 0: nothing
};

// The fields of a kind in their order, none for kinds of free text.
const std::vector<FieldLayout>& layoutOf(RecordKind kind);

struct Decoded {
    RecordKind kind = RecordKind::Empty;
    std::vector<std::uint32_t> fields;  // one per field of the layout; shorter when the text ends early
    std::size_t dataFrom = 0;           // the data characters are text[dataFrom, dataTo); they may hold line ends
    std::size_t dataTo = 0;
    std::string problem;  // what is wrong with the frame; empty: nothing

    // A field by its layout position; 0 when the text has none.
    std::uint32_t field(std::size_t position) const { return position < fields.size() ? fields[position] : 0; }
};

// The kind that a text's beginning tells; FreeText for everything without a known beginning.
RecordKind kindOf(std::string_view text);

// Whether its text has bytes from the line, and with them line ends that the component did not make.
bool quotesTheLine(RecordKind kind);

// A text of no kind that the component writes: about its port, about what it drops.
bool isNote(std::string_view text);

Decoded decode(std::string_view text);

// The data characters without line ends.
std::string dataOf(const Record& record, const Decoded& decoded);

}  // namespace mova::trace
