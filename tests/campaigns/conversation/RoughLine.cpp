#include "campaigns/conversation/RoughLine.h"

#include <algorithm>
#include <array>
#include <utility>

#include "handset/Frames.h"

namespace mova::conversation {

namespace {
constexpr std::uint64_t kMillisecond = 1000;
}

void RoughLine::lose() {
    unfinished_.clear();
    out_.clear();
    last_ = 0;
    handset_.lineLost();
}

void RoughLine::receive(std::string_view bytes, std::uint64_t now) {
    if (roughness.lostRequests > 0 && random_.perMille(roughness.lostRequests)) return;
    handset_.receive(bytes, now);
}

std::string RoughLine::due(std::uint64_t now) {
    const std::string sent = handset_.due(now);
    if (roughness.isSmooth() && isQuiet()) return sent;
    for (const char c : sent) {
        unfinished_ += c;
        if (c == '\n') take(std::exchange(unfinished_, {}), now);
    }
    if (roughness.isSmooth() && !unfinished_.empty()) put(std::exchange(unfinished_, {}), now);
    std::string bytes;
    while (!out_.empty() && out_.front().when <= now) {
        bytes += out_.front().bytes;
        out_.pop_front();
    }
    return bytes;
}

std::optional<std::uint64_t> RoughLine::nextDue() {
    const auto next = handset_.nextDue();
    if (out_.empty()) return next;
    return next ? std::min(*next, out_.front().when) : out_.front().when;
}

void RoughLine::take(std::string line, std::uint64_t now) {
    std::uint64_t when = now;
    if (random_.perMille(roughness.late)) when += (1 + random_.below(roughness.longestDelay)) * kMillisecond;
    if (random_.perMille(roughness.noiseLines)) put(noiseLine() + "\r\n", when);
    if (random_.perMille(roughness.noiseBytes)) {
        std::string noise;
        for (int i = random_.between(1, 6); i > 0; --i) noise += static_cast<char>(random_.below(256));
        put(noise, when);
    }
    if (random_.perMille(roughness.lost)) return;
    if (random_.perMille(roughness.corrupted)) {
        const std::size_t at = random_.below(static_cast<std::uint32_t>(line.size()));
        line[at] = random_.oneIn(2) ? "0123456789ABCDEF"[random_.below(16)] : static_cast<char>(random_.below(256));
    }
    put(line, when);
    if (random_.perMille(roughness.doubled)) put(line, when);
}

void RoughLine::put(const std::string& bytes, std::uint64_t when) {
    when = std::max(when, last_);
    if (!roughness.inPieces) {
        out_.push_back({when, bytes});
    } else {
        for (std::size_t at = 0; at < bytes.size();) {
            const std::size_t size = 1 + random_.below(9);
            if (random_.oneIn(3)) when += random_.below(12) * kMillisecond;
            out_.push_back({when, bytes.substr(at, size)});
            at += size;
        }
    }
    last_ = when;
}

std::string RoughLine::noiseLine() {
    const std::string serial = handset::word(static_cast<std::uint16_t>(serial_++));
    constexpr std::array kLines{"RING",
                                "+CREG: 1,5",
                                "*MOVA=",
                                "*MOVA=0100",
                                "*MOVA=ACKNOWLEDGED",
                                "OK  ",
                                "ERROR",
                                " OK",
                                "AT*MOVA=010",
                                "*MOVA=ACK",
                                "OK",
                                "ok",
                                "*MOVA=ACK \t",
                                "NO CARRIER",
                                "*MOVA=040080",
                                "",
                                "*MOVA=0500a0zz",
                                "~~",
                                "*MOVA=03008",
                                "*MOVA=030080"};
    switch (random_.below(8)) {
        case 0: return handset::confirmationLine(std::string{'\x7D', '\0'} + serial);
        case 1: return handset::confirmationLine(std::string{'\x80', '\0', '\1'} + serial);
        case 2: return handset::confirmationLine(std::string{'\xA0', '\0', '\1'} + serial);
        case 3: return handset::confirmationLine(std::string{'\xB0', '\0', '\1'} + serial, true);
        default: return random_.oneOf(kLines);
    }
}

}  // namespace mova::conversation
