#include "oracle/Reference.h"

namespace mova::fuzz {

namespace {

bool begins(std::string_view text, std::string_view with) { return text.substr(0, with.size()) == with; }
bool isConfirmationClass(unsigned c) { return c == kGeneral || c == kE2p || c == kHci || c == kWifi; }

// Whole lines, and what stands behind the last line end.
struct Split {
    std::vector<std::string> lines;
    std::string rest;
};

Split splitLines(const std::string& text) {
    Split split;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            split.lines.push_back(std::move(split.rest));
            split.rest.clear();
            ++i;
        } else {
            split.rest += text[i];
        }
    }
    return split;
}

std::string rightTrimmed(std::string line) {
    while (!line.empty() && std::string_view(" \t\r\n\v\f").find(line.back()) != std::string_view::npos)
        line.pop_back();
    return line;
}

}  // namespace

unsigned lenientDigit(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
    return 0;
}

unsigned lenientByte(std::string_view text, std::size_t position) {
    if (position >= text.size()) return 0;
    if (position + 1 == text.size()) return lenientDigit(text[position]);
    return 16 * lenientDigit(text[position]) + lenientDigit(text[position + 1]);
}

std::string lenientBytes(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) bytes += static_cast<char>(lenientByte(text, i));
    return bytes;
}

unsigned lenientChecksum(std::string_view text) {
    unsigned sum = 0;
    for (std::size_t i = 0; i < text.size(); i += 2) sum ^= lenientByte(text, i);
    return sum;
}

unsigned referenceClass(std::string_view line, std::string_view companion) {
    if (begins(line, "AT*MOVA=")) return kEcho;
    if (begins(line, "*MOVA=ACK") || begins(companion, "*MOVA=ACK")) return kAcknowledged;
    if (!begins(line, "*MOVA=") || line.size() < 11) return kAtText;
    const unsigned first = lenientByte(line, 10);
    return first == 0x80 ? kE2p : first == 0xA0 ? kHci : first == 0xB0 ? kWifi : kGeneral;
}

ReferenceFrame referenceFrame(std::string_view line) {
    ReferenceFrame frame;
    frame.status = 0x3001;
    if (!begins(line, "*MOVA=") || line.size() < 13) return frame;
    const std::string_view summed = line.substr(6, line.size() - 8);
    frame.payload = summed.substr(4);
    frame.firstByte = lenientByte(frame.payload, 0);
    frame.status = lenientChecksum(summed) == lenientByte(line, line.size() - 2) ? 0 : 0x4011;
    return frame;
}

ReferenceRecord referenceRecord(std::string response, const std::string& terminator) {
    ReferenceRecord record;
    while (!response.empty() && (response[0] == '\r' || response[0] == '\n')) response.erase(0, 1);
    record.response = response;
    record.terminator = terminator;
    const Split split = splitLines(response);
    unsigned block = referenceClass("", terminator);
    unsigned previousSegment = 0;
    const auto handle = [&](const std::string& line) {
        if (!isConfirmationClass(block)) return;
        const ReferenceFrame frame = referenceFrame(line);
        record.primitive = frame.firstByte;
        if (block == kGeneral) {
            record.hexData = frame.payload;
            record.byteData = lenientBytes(frame.payload);
            record.error = frame.status;
            return;
        }
        std::uint32_t status = frame.status;
        if (status == 0) {
            const unsigned type = lenientByte(frame.payload, 0);
            const bool splits = frame.payload.size() >= 6 && (type == 0x80 || type == 0xA0 || type == 0xB0);
            if (splits) {
                const unsigned segment = lenientByte(frame.payload, 4);
                if (segment == previousSegment + 1) record.hexData += frame.payload.substr(6);
                previousSegment = segment;
            } else {
                status = 0x3001;
            }
        }
        if (record.error == 0) record.error = status;
    };
    bool first = true;
    for (const std::string& line : split.lines) {
        const unsigned c = referenceClass(line, terminator);
        if (first) {
            block = c;
            handle(line);
        } else if (!isConfirmationClass(block) && isConfirmationClass(c)) {
            block = c;
            handle(line);
        } else if (c == block) {
            handle(line);
        } else if (isConfirmationClass(block)) {
            record.leftOver += line + "\r\n";
        }
        first = false;
    }
    record.leftOver += split.rest;
    record.kind = block;
    if (record.error != 0) record.valid = 0;
    return record;
}

ReferenceEngine::ReferenceEngine(std::string_view list) : single_(list.empty()) {
    std::string item;
    for (const char c : list) {
        if (c == '|') {
            terminators_.push_back(std::move(item));
            item.clear();
        } else {
            item += c;
        }
    }
    terminators_.push_back(item);
}

bool ReferenceEngine::isTerminator(std::string_view line) const {
    for (const std::string& terminator : terminators_) {
        if (!terminator.empty() && line == terminator) return true;
    }
    return false;
}

std::optional<ReferenceRecord> ReferenceEngine::pass(std::string_view bytes) {
    if (bytes.empty() && pending_.empty()) return std::nullopt;
    const Split split = splitLines(pending_.append(bytes));
    std::string response;
    std::string terminator;
    std::string after;
    bool found = single_;
    for (const std::string& line : split.lines) {
        if (!single_ && found) {
            after += line + "\r\n";
        } else if (!single_ && isTerminator(rightTrimmed(line))) {
            terminator = rightTrimmed(line);
            found = true;
        } else {
            response += line + "\r\n";
        }
    }
    if (!found) {
        pending_ = response + split.rest;
        return std::nullopt;
    }
    ReferenceRecord record = referenceRecord(response, terminator);
    pending_ = record.leftOver + after + split.rest;
    return record;
}

std::string describe(const ReferenceRecord& record) {
    return "kind " + std::to_string(record.kind) + " primitive " + std::to_string(record.primitive) + " error " +
           std::to_string(record.error) + " valid " + std::to_string(record.valid) + " hex " + record.hexData +
           " bytes " + record.byteData + " terminator " + record.terminator + " response " + record.response;
}

}  // namespace mova::fuzz
