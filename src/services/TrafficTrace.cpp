#include "services/TrafficTrace.h"

#include <algorithm>
#include <array>

#include "base/Text.h"
#include "mova/Options.h"

namespace mova {

namespace {

constexpr std::size_t kDataLine = 100;

// One field of a record's text: what stands before it and where it lies in the traced text. A count of 0 ends a row.
struct Field {
    const char* before;
    std::size_t from;
    std::size_t count;
};

enum class Tail {
    None,
    Rest,     // from a position to the end
    Lines,    // the same in lines of 100 characters, each with its line end
    LastSix,  // deliberate: the last six characters, in lines, not what follows the fields
};

struct Row {
    TraceKind kind;
    std::array<Field, 7> fields;
    const char* beforeTail;
    Tail tail;
    std::size_t tailFrom;
};

// clang-format off
constexpr std::array kRows{
    Row{TraceKind::RfSent, {{{"Mv-S ", 0, 4}, {"#", 4, 2}, {"-", 6, 2}, {"-", 8, 4}, {"-", 12, 4}, {"-", 16, 4}}},
        "%", Tail::Rest, 20},
    Row{TraceKind::RfReply, {{{"Mv-R ", 0, 2}, {"-", 2, 2}, {"-", 4, 4}}}, "%", Tail::Rest, 8},
    Row{TraceKind::E2pFirstSent,
        {{{"E2P-S ", 0, 4}, {"#", 4, 6}, {"-", 10, 4}, {"-", 14, 2}, {"-", 16, 2}, {"-", 18, 4}, {"-", 22, 4}}},
        "%\n", Tail::Rest, 26},
    Row{TraceKind::E2pLaterSent, {{{"E2P-S ", 0, 4}, {"#", 4, 6}}}, "%", Tail::Rest, 10},
    Row{TraceKind::E2pReply, {{{"E2P-R ", 0, 4}, {"-", 4, 2}, {"-", 6, 2}, {"-", 8, 4}, {"-", 12, 4}}},
        "%\n", Tail::Lines, 16},
    Row{TraceKind::AckSeen, {}, "E2P-A %E2p Ack!", Tail::None, 0},
    Row{TraceKind::OkSeen, {}, "E2P-A % E2p OK!", Tail::None, 0},
    Row{TraceKind::E2pMessage, {{{"E2P-Msg ", 0, std::string_view::npos}}}, "%", Tail::None, 0},
    Row{TraceKind::AtSent, {}, "AT-S ", Tail::Rest, 0},
    Row{TraceKind::AtReply, {}, "AT-R ", Tail::Rest, 0},
    Row{TraceKind::BadChecksum, {}, "Mv-A %Mova Checksum Error!", Tail::None, 0},
    Row{TraceKind::ReplyInError, {}, "Mv-R-Error ", Tail::Rest, 0},
    Row{TraceKind::Purged, {}, "AT-Purge ", Tail::Rest, 0},
    Row{TraceKind::HciFirstSent, {{{"HCI-S ", 0, 4}, {"#", 4, 6}, {"-", 10, 4}, {"-", 14, 2}}}, "%\n", Tail::Rest, 16},
    Row{TraceKind::HciLaterSent, {{{"HCI-S ", 0, 4}, {"#", 4, 6}}}, "%", Tail::Rest, 10},
    Row{TraceKind::HciReply, {{{"HCI-R ", 0, 4}, {"-", 4, 2}}}, "%\n", Tail::LastSix, 0},
    Row{TraceKind::Echo, {}, "Mv-ECHO ", Tail::Rest, 0},
    Row{TraceKind::FreeText, {}, "", Tail::Rest, 0},
    Row{TraceKind::WifiFirstSent, {{{"WIFI-S ", 0, 4}, {"#", 4, 6}, {"-", 10, 2}, {"-", 12, 2}, {"-", 14, 4}}},
        "%\n", Tail::Rest, 18},
    Row{TraceKind::WifiLaterSent, {{{"WIFI-S ", 0, 4}, {"#", 4, 6}}}, "%", Tail::Rest, 10},
    Row{TraceKind::WifiReply, {{{"WIFI-R ", 0, 2}, {"-", 2, 2}, {"-", 4, 4}}}, "%\n", Tail::Lines, 8},
};
// clang-format on

std::string_view part(std::string_view text, std::size_t from, std::size_t count = std::string_view::npos) {
    return from < text.size() ? text.substr(from, count) : std::string_view{};
}

void appendLines(std::string& out, std::string_view data) {
    for (std::size_t at = 0; at < data.size(); at += kDataLine) out.append(data.substr(at, kDataLine)).append("\n");
}

}  // namespace

std::string traceText(TraceKind kind, std::string_view text) {
    const auto row = std::find_if(kRows.begin(), kRows.end(), [&](const Row& r) { return r.kind == kind; });
    std::string out;
    if (row == kRows.end()) return out;
    for (const Field& field : row->fields) {
        if (field.count == 0) break;
        out.append(field.before).append(part(text, field.from, field.count));
    }
    out += row->beforeTail;
    constexpr std::size_t kSix = 6;
    switch (row->tail) {
        case Tail::None: break;
        case Tail::Rest: out += part(text, row->tailFrom); break;
        case Tail::Lines: appendLines(out, part(text, row->tailFrom)); break;
        case Tail::LastSix: appendLines(out, text.substr(text.size() - std::min(text.size(), kSix))); break;
    }
    return out;
}

bool TrafficTrace::hasReader() noexcept { return debug_.hasListener() || active_; }

void TrafficTrace::record(TraceKind kind, std::string_view text) noexcept {
    if (!hasReader()) return;
    try {
        std::string out = traceText(kind, text);
        debug_.post(out);
        std::string path;
        std::uint32_t startTick = 0;
        {
            const LockGuard guard(mutex_);
            if (!active_) return;
            path = path_;
            startTick = startTick_;
        }
        append(path, startTick, std::move(out));
    } catch (...) {
        // Out of memory: the record is lost, what it tells about goes on.
    }
}

void TrafficTrace::append(const std::string& path, std::uint32_t startTick, std::string text) {
    const std::uint32_t now = platform_.clock.tickCount();
    // Deliberate: a start behind now wraps to one less than the true difference.
    const std::uint32_t elapsed = now > startTick ? now - startTick : now + ~startTick;
    text += format("\t\t\t\t[T:%d]\n", static_cast<int>(elapsed));
    const auto file = platform_.files.open(path, FileMode::TextAppend);
    if (file == Files::kInvalid) return;
    platform_.files.write(file, text);
    platform_.files.close(file);
}

bool TrafficTrace::canOpen(const std::string& path, FileMode mode) {
    const auto file = platform_.files.open(path, mode);
    if (file == Files::kInvalid) return false;
    platform_.files.close(file);
    return true;
}

Code TrafficTrace::activate(const std::string& fileName, std::uint32_t startTick, std::uint32_t request) {
    if (request != kStartTrace) {
        const std::uint32_t now = platform_.clock.tickCount();
        const LockGuard guard(mutex_);
        startTick_ = now;
        active_ = false;
        return Code::Success;
    }
    const bool opened =
        canOpen(fileName, FileMode::TextAppend) || canOpen(platform_.host.fallbackTraceFile(), FileMode::TextTruncate);
    const LockGuard guard(mutex_);
    if (opened) {
        startTick_ = startTick;
        path_ = fileName;  // deliberate: also when only the fallback could be opened
    }
    active_ = true;  // deliberate: also when nothing could be opened; records then go unwritten
    return opened ? Code::Success : Code::NoTraceFile;
}

}  // namespace mova
