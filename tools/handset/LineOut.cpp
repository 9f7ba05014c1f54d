#include "handset/LineOut.h"

#include <algorithm>

namespace mova::handset {

namespace {
constexpr std::uint64_t kMicrosecond = 1000;
}

std::string LineOut::withLineFaults(std::string_view bytes) {
    if (faults_.droppedPerMille == 0 && faults_.noisePerMille == 0) return std::string(bytes);
    if (!random_) random_.emplace(faults_.seed);
    const auto happens = [&](std::uint32_t perMille) { return (*random_)() % 1000 < perMille; };
    std::string out;
    for (const char c : bytes) {
        if (happens(faults_.noisePerMille)) out += static_cast<char>((*random_)() % 256);
        if (!happens(faults_.droppedPerMille)) out += c;
    }
    return out;
}

void LineOut::send(std::string_view bytes, std::uint64_t readyMicroseconds) {
    std::string text = withLineFaults(bytes);
    if (text.empty()) return;
    const std::uint64_t perByte = std::max(byteNanoseconds(), faults_.splitGapMicroseconds * kMicrosecond);
    const std::uint64_t start = std::max(readyMicroseconds * kMicrosecond, free_);
    free_ = start + perByte * text.size();
    pieces_.push_back({start, perByte, std::move(text)});
}

std::string LineOut::due(std::uint64_t nowMicroseconds) {
    const std::uint64_t now = nowMicroseconds * kMicrosecond;
    std::string out;
    while (!pieces_.empty()) {
        Piece& piece = pieces_.front();
        if (now < piece.start + piece.perByte) break;
        const std::uint64_t sent = piece.perByte == 0 ? piece.bytes.size() : (now - piece.start) / piece.perByte;
        const auto left = static_cast<std::size_t>(std::min<std::uint64_t>(piece.bytes.size(), sent));
        out.append(piece.bytes, piece.gone, left - piece.gone);
        piece.gone = left;
        if (left < piece.bytes.size()) break;
        pieces_.pop_front();
    }
    return out;
}

void LineOut::clear() {
    pieces_.clear();
    free_ = 0;
}

std::optional<std::uint64_t> LineOut::nextDue() const {
    if (pieces_.empty()) return std::nullopt;
    const Piece& piece = pieces_.front();
    const std::uint64_t next = piece.start + piece.perByte * (piece.perByte == 0 ? 0 : piece.gone + 1);
    return (next + kMicrosecond - 1) / kMicrosecond;
}

}  // namespace mova::handset
