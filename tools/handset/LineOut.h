// What leaves the handset, byte by byte at the line's rate.
#pragma once
#include <cstdint>
#include <deque>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "handset/Faults.h"

namespace mova::handset {

class LineOut {
public:
    explicit LineOut(Faults& faults) : faults_(faults) {}

    // 8 data bits, no parity, one stop bit: ten bit times a byte. 0: as fast as the machine.
    void setBaudRate(unsigned baudRate) { baudRate_ = baudRate; }
    std::uint64_t byteNanoseconds() const { return baudRate_ == 0 ? 0 : 10'000'000'000ull / baudRate_; }

    void send(std::string_view bytes, std::uint64_t readyMicroseconds);  // not before that
    std::string due(std::uint64_t nowMicroseconds);                      // what has left by now; once
    std::optional<std::uint64_t> nextDue() const;
    bool empty() const { return pieces_.empty(); }
    void clear();  // what has not left is gone, and the line is free

private:
    // Bytes that leave one after the other; each has left a byte time after it began.
    struct Piece {
        std::uint64_t start;  // nanoseconds
        std::uint64_t perByte;
        std::string bytes;
        std::size_t gone = 0;
    };

    std::string withLineFaults(std::string_view bytes);

    Faults& faults_;
    unsigned baudRate_ = 115200;
    std::deque<Piece> pieces_;
    std::uint64_t free_ = 0;  // nanoseconds: when the line is free again
    std::optional<std::mt19937_64> random_;
};

}  // namespace mova::handset
