#include "transport/ConfirmationBuilder.h"

#include <algorithm>

#include "base/HexText.h"
#include "base/Text.h"
#include "mova/Codes.h"

namespace mova {

namespace {

constexpr std::string_view kLineEnd = "\r\n";

// Whole lines that are all of the class of an empty one: every other class has this character in its prefix.
bool isPlainText(std::string_view lines) {
    return lines.find('*') == lines.npos && (lines.empty() || lines.ends_with(kLineEnd));
}

class Builder {
public:
    Builder(BuiltRecord& built, std::string_view response, std::string_view terminator, Trace& trace)
        : trace_(trace), built_(built) {
        response.remove_prefix(std::min(response.find_first_not_of(kLineEnd), response.size()));
        built_.record.responseText = response;
        built_.record.terminatorText = terminator;
        built_.record.valid = 1;
    }

    void build() {
        const std::string_view companion = built_.record.terminatorText;
        std::string_view rest = built_.record.responseText;
        std::string_view previous;
        block_ = classifyLine({}, companion);
        if (isPlainText(rest)) {
            built_.record.kind = block_;
            return;
        }
        for (bool first = true;; first = false) {
            const auto end = rest.find(kLineEnd);
            if (end == rest.npos) break;
            const std::string_view line = rest.substr(0, end);
            rest.remove_prefix(end + kLineEnd.size());
            const LineClass lineClass = classifyLine(line, companion);
            if (first) {
                block_ = lineClass;
                consume(line);
            } else {
                takeLater(line, lineClass, previous);
            }
            previous = line;
        }
        built_.leftOver += rest;
        built_.record.kind = block_;
        if (built_.record.error != Code::Success) built_.record.valid = 0;
    }

private:
    void takeLater(std::string_view line, LineClass lineClass, std::string_view previous) {
        if (!isConfirmation(block_) && isConfirmation(lineClass)) {
            // Deliberate: traced is the line directly before, whatever it is.
            if (block_ == LineClass::Echo) trace_.record(TraceKind::Echo, previous);
            block_ = lineClass;
            consume(line);
        } else if (lineClass == block_ || !isConfirmation(block_)) {
            consume(line);
        } else {
            built_.leftOver.append(line).append(kLineEnd);
        }
    }

    // Under the block's class; the other classes have no effect.
    void consume(std::string_view line) {
        if (block_ == LineClass::Confirmation) {
            takeGeneral(line);
        } else if (isConfirmation(block_)) {
            takeSegment(line);
        }
    }

    ParsedConfirmation parse(std::string_view line) {
        const ParsedConfirmation parsed = parseConfirmation(line);
        if (parsed.status == Code::ChecksumMismatch) trace_.record(TraceKind::BadChecksum, {});
        return parsed;
    }

    // The last general confirmation of a block wins.
    void takeGeneral(std::string_view line) {
        const ParsedConfirmation parsed = parse(line);
        MovaRetCmdTag& record = built_.record;
        record.primitive = parsed.firstByte;
        record.hexData = parsed.payload;
        record.byteData = decodeHex(parsed.payload);
        record.error = parsed.status;
    }

    void takeSegment(std::string_view line) {
        const ParsedConfirmation parsed = parse(line);
        built_.record.primitive = parsed.firstByte;
        keepFirstError(parsed.status);
        if (parsed.status != Code::Success) return;
        const SplitPayload split = splitPayload(parsed.payload);
        keepFirstError(split.status);
        if (split.status != Code::Success) return;
        // Deliberate: counted wider than the field, so that nothing follows segment 255; a segment that does not
        // follow is left out, yet counts as the previous one.
        if (split.header2 == lastSegment_ + 1) built_.record.hexData += split.data;
        lastSegment_ = split.header2;
    }

    void keepFirstError(Code status) {
        if (built_.record.error == Code::Success) built_.record.error = status;
    }

    Trace& trace_;
    BuiltRecord& built_;
    LineClass block_ = LineClass::AtText;
    int lastSegment_ = 0;
};

}  // namespace

BuiltRecord buildRecord(std::string_view response, std::string_view terminator, Trace& trace) {
    BuiltRecord built;
    Builder(built, response, terminator, trace).build();
    return built;
}

void traceRecord(const MovaRetCmdTag& record, std::string_view stillPending, Trace& trace) {
    if (record.valid != 1) {
        if (!trace.hasReader()) return;
        trace.record(TraceKind::ReplyInError, record.responseText + format(" -- 0x%x", number(record.error)));
        return;
    }
    switch (record.kind) {
        case LineClass::AtText:
        case LineClass::Echo: {
            if (!trace.hasReader()) return;  // what still waits may be long
            std::string text = record.responseText + record.terminatorText;
            if (!stillPending.empty()) text.append(" %%Extra :").append(stillPending);
            trace.record(TraceKind::AtReply, foldLines(text));
            break;
        }
        case LineClass::Confirmation: trace.record(TraceKind::RfReply, record.hexData); break;
        case LineClass::E2p: trace.record(TraceKind::E2pReply, record.hexData); break;
        case LineClass::Hci: trace.record(TraceKind::HciReply, record.hexData); break;
        case LineClass::Wifi: trace.record(TraceKind::WifiReply, record.hexData); break;
        case LineClass::Acknowledgement: break;
    }
}

}  // namespace mova
