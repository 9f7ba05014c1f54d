// RF test requests. The handset's answer data arrives later, as a confirmation.
//
// Payload of a request, and of each of its segments when the data needs more than one:
//   0  service or request byte
//   1  access byte
//   2  index           16 bits, least significant byte first
//   4  data length     16 bits: of the data in this frame
//   6  reserved        16 bits, 0; in segments: segment number from 1, then segment count
//   8  data            at most 100 bytes a frame
#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "services/RequestSender.h"

namespace mova {

class RfRequests {
public:
    static constexpr std::size_t kMostData = 1024;
    using Bytes = std::span<const std::uint8_t>;

    explicit RfRequests(RequestSender& sender) : sender_(sender) {}

    Code generalTest(std::uint8_t service, std::uint16_t index) MOVA_REQUIRES(portLockRole);
    Code changeParameter(std::uint8_t request, std::uint8_t access, std::uint16_t index, std::uint16_t value)
        MOVA_REQUIRES(portLockRole);
    // Sends the smallest of length, kMostData and what the table holds. No table: WrongArrayType, nothing sent.
    Code changeTable(std::uint8_t request, std::uint8_t access, std::uint16_t index, std::uint16_t length,
                     std::optional<Bytes> table) MOVA_REQUIRES(portLockRole);
    Code testCase(std::uint8_t request, std::uint8_t access) MOVA_REQUIRES(portLockRole);
    // One of the above by number, its arguments from a text of values separated by ",".
    Code byText(std::int32_t kind, std::uint8_t request, std::string_view parameter) MOVA_REQUIRES(portLockRole);

private:
    Code send(std::uint8_t service, std::uint8_t access, std::uint16_t index, Bytes data) MOVA_REQUIRES(portLockRole);

    RequestSender& sender_;
};

}  // namespace mova
