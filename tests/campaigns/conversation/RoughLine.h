// The line between a port and a simulated handset, and what can happen on it: lines that come late, get lost, come
// twice, arrive with a wrong character, noise between them, and everything in small pieces. Seeded.
#pragma once
#include <deque>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "handset/Handset.h"
#include "support/PeerDevice.h"

namespace mova::conversation {

class Random {
public:
    explicit Random(std::uint64_t seed) : engine_(seed) {}
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(engine_() % limit); }
    bool oneIn(std::uint32_t n) { return below(n) == 0; }
    bool perMille(std::uint32_t n) { return below(1000) < n; }
    int between(int low, int high) { return low + static_cast<int>(below(static_cast<std::uint32_t>(high - low + 1))); }
    template <class List>
    const auto& oneOf(const List& list) {
        return list[below(static_cast<std::uint32_t>(std::size(list)))];
    }

private:
    std::mt19937_64 engine_;
};

struct Roughness {  // each per thousand lines
    std::uint32_t late = 0;
    std::uint32_t lost = 0;
    std::uint32_t doubled = 0;
    std::uint32_t corrupted = 0;
    std::uint32_t noiseLines = 0;
    std::uint32_t noiseBytes = 0;
    std::uint32_t lostRequests = 0;
    std::uint32_t longestDelay = 1;  // milliseconds
    bool inPieces = false;

    bool isSmooth() const {
        return late + lost + doubled + corrupted + noiseLines + noiseBytes + lostRequests == 0 && !inPieces;
    }
};

class RoughLine : public PeerDevice {
public:
    RoughLine(handset::Handset& handset, std::uint64_t seed) : handset_(handset), random_(seed) {}

    Roughness roughness;
    void lose();  // what is under way is gone: the cable is out
    bool isQuiet() const { return out_.empty() && unfinished_.empty(); }

    void receive(std::string_view bytes, std::uint64_t now) override;
    std::string due(std::uint64_t now) override;
    std::optional<std::uint64_t> nextDue() override;

private:
    void take(std::string line, std::uint64_t now);
    void put(const std::string& bytes, std::uint64_t when);
    std::string noiseLine();

    struct Piece {
        std::uint64_t when;
        std::string bytes;
    };
    handset::Handset& handset_;
    Random random_;
    std::string unfinished_;
    std::deque<Piece> out_;
    std::uint64_t last_ = 0;
    unsigned serial_ = 0;
};

}  // namespace mova::conversation
