#include "oracle/Engine.h"

#include <algorithm>

#include "oracle/Frames.h"
#include "oracle/Text.h"

namespace mova::oracle {

namespace {

const char* const kLineEnd = "\r\n";

// One confirmation line of a record's block.
void take(Record& record, const std::string& line, unsigned& previousSegment) {
    const Frame frame = parsedFrame(line);
    if (frame.status == kChecksumMismatch) record.traced.push_back("Mv-A %Mova Checksum Error!");
    record.primitive = frame.firstByte;
    if (record.kind == kGeneral) {  // of several, the last one counts
        record.hexData = frame.payload;
        record.byteData = lenientBytes(frame.payload);
        record.error = frame.status;
        return;
    }
    const Segment segment = segmentOf(frame);
    if (record.error == 0) record.error = segment.status;
    if (segment.status != 0) return;
    if (segment.number == previousSegment + 1) record.hexData += segment.data;
    previousSegment = segment.number;
}

Record recordOf(std::string response, const std::string& terminator) {
    Record record;
    response.erase(0, response.find_first_not_of(kLineEnd));
    record.response = std::move(response);
    record.terminator = terminator;
    std::string rest;
    const std::vector<std::string> lines = splitAt(record.response, kLineEnd, rest);
    record.kind = kindOf(lines.empty() ? "" : lines.front(), terminator);
    unsigned previousSegment = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const unsigned kind = kindOf(lines[i], terminator);
        if (i > 0 && !isConfirmation(record.kind) && isConfirmation(kind)) {
            if (record.kind == kEcho) record.traced.push_back("Mv-ECHO " + lines[i - 1]);
            record.kind = kind;
        }
        if (!isConfirmation(record.kind)) continue;
        if (kind == record.kind) {
            take(record, lines[i], previousSegment);
        } else {
            record.handedBack += lines[i] + kLineEnd;
        }
    }
    record.handedBack += rest;
    record.valid = record.error == 0 ? 1 : 0;
    return record;
}

std::string joined(std::vector<std::string>::const_iterator from, std::vector<std::string>::const_iterator to) {
    std::string text;
    for (; from != to; ++from) text += *from + kLineEnd;
    return text;
}

}  // namespace

std::optional<Record> Engine::pass(const std::string& terminators, std::string_view bytes) {
    std::string rest;
    const std::vector<std::string> lines = splitAt(pending_.append(bytes), kLineEnd, rest);
    std::string terminator;
    auto end = lines.end();
    if (!terminators.empty()) {
        std::string last;
        std::vector<std::string> wanted = splitAt(terminators, "|", last);
        wanted.push_back(last);
        end = std::find_if(lines.begin(), lines.end(), [&](const std::string& line) {
            terminator = rightTrimmed(line);
            return !terminator.empty() && std::find(wanted.begin(), wanted.end(), terminator) != wanted.end();
        });
        if (end == lines.end()) return std::nullopt;
    }
    Record record = recordOf(joined(lines.begin(), end), terminator);
    pending_ = record.handedBack + (end == lines.end() ? "" : joined(end + 1, lines.end()));
    if (record.valid == 0) {
        record.traced.push_back("Mv-R-Error " + record.response + printed(" -- 0x%x", record.error));
    } else if (record.kind == kAtText || record.kind == kEcho) {
        const std::string extra = pending_.empty() ? "" : " %%Extra :" + pending_;
        record.traced.push_back("AT-R " + folded(record.response + terminator + extra));
    }
    pending_ += rest;
    return record;
}

std::string describe(const Record& record) {
    return "kind " + std::to_string(record.kind) + " primitive " + std::to_string(record.primitive) + " error " +
           std::to_string(record.error) + " valid " + std::to_string(record.valid) + " hex " + record.hexData +
           " bytes " + record.byteData + " terminator " + record.terminator + " response " + record.response;
}

}  // namespace mova::oracle
