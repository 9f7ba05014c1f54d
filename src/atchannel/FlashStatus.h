// The handset's programming history: 68 bytes in an E2P object, as hexadecimal text.
//
//   byte 0      in progress (1 or 0)
//        1      entry made since the start (1 or 0)
//        2      programming count; 255: never written
//        3-4    failure count, least significant byte first; 65535: never written
//        5      ring index, the next entry's place; above 5 it is taken as 0
//        6-65   six entries of 10 bytes: number (1), value (4, least significant byte first), time (5: year, month,
//               day, hour and minute, two decimal digits to a byte)
//        66     reserved
//        67     exclusive-or of all other bytes
// A record of nothing but 0xFF is blank and counts as all zero.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "mova/Codes.h"
#include "platform/Clock.h"

namespace mova {

class FlashStatus {
public:
    static constexpr std::int32_t kObject = 0x1003;
    static constexpr std::int32_t kRecord = 2;
    static constexpr std::int32_t kStart = 24;   // characters
    static constexpr std::int32_t kWidth = 136;  // characters

    // Codes: FlashChecksum, FlashCounterAtLimit, FlashNotInProgress.
    Code read(std::string_view hexText);
    std::string text() const;  // with its checksum

    std::string statusText() const;
    std::string failureText() const;

    Code start();
    Code enter(std::uint8_t number, std::uint32_t value, const LocalTime& time);
    Code end();
    Code fail();

private:
    static constexpr std::size_t kSize = 68;

    std::uint16_t failureCount() const;

    std::array<std::uint8_t, kSize> bytes_{};
};

}  // namespace mova
