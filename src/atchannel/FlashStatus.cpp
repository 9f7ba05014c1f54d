#include "atchannel/FlashStatus.h"

#include <algorithm>

#include "base/HexText.h"
#include "base/Text.h"

namespace mova {

namespace {

constexpr std::size_t kInProgress = 0;
constexpr std::size_t kEntryMade = 1;
constexpr std::size_t kCount = 2;
constexpr std::size_t kFailures = 3;
constexpr std::size_t kRingIndex = 5;
constexpr std::size_t kRing = 6;
constexpr std::size_t kEntrySize = 10;
constexpr std::uint8_t kEntries = 6;
constexpr std::size_t kChecksum = 67;

constexpr std::uint8_t kErased = 0xFF;
constexpr int kCountLimit = 254;
constexpr std::uint16_t kFailuresNeverWritten = 0xFFFF;
constexpr std::uint16_t kFailureLimit = 253;

template <class Bytes>
std::uint8_t checksum(const Bytes& bytes) {
    std::uint8_t sum = 0;
    for (std::size_t i = 0; i < kChecksum; ++i) sum ^= bytes[i];
    return sum;
}

std::uint8_t packed(int value) {
    const int digits = value % 100;
    return static_cast<std::uint8_t>(digits / 10 << 4 | digits % 10);
}

}  // namespace

Code FlashStatus::read(std::string_view hexText) {
    const std::string bytes = decodeHex(hexText);
    if (bytes.size() != kSize) return Code::FlashChecksum;
    std::copy(bytes.begin(), bytes.end(), bytes_.begin());
    if (std::all_of(bytes_.begin(), bytes_.end(), [](std::uint8_t b) { return b == kErased; })) bytes_.fill(0);
    if (checksum(bytes_) != bytes_[kChecksum]) return Code::FlashChecksum;
    if (bytes_[kRingIndex] >= kEntries) bytes_[kRingIndex] = 0;
    return Code::Success;
}

std::string FlashStatus::text() const {
    auto bytes = bytes_;
    bytes[kChecksum] = checksum(bytes);
    return encodeHex(std::span<const std::uint8_t>(bytes));
}

std::string FlashStatus::statusText() const {
    const int count = bytes_[kCount] == kErased ? 0 : bytes_[kCount];
    return format("Status:%d,Count:%d", bytes_[kInProgress] == 1 ? 1 : 0, count);
}

std::uint16_t FlashStatus::failureCount() const {
    return static_cast<std::uint16_t>(bytes_[kFailures] | bytes_[kFailures + 1] << 8);
}

std::string FlashStatus::failureText() const {
    return format("FCount:%d", failureCount() == kFailuresNeverWritten ? 0 : failureCount());
}

Code FlashStatus::start() {
    if (bytes_[kCount] == kCountLimit) return Code::FlashCounterAtLimit;
    if (bytes_[kInProgress] != 1) {
        bytes_[kInProgress] = 1;
        bytes_[kEntryMade] = 0;
    }
    return Code::Success;
}

Code FlashStatus::enter(std::uint8_t number, std::uint32_t value, const LocalTime& time) {
    if (bytes_[kInProgress] != 1) return Code::FlashNotInProgress;
    auto out = bytes_.begin() + static_cast<std::ptrdiff_t>(kRing + kEntrySize * bytes_[kRingIndex]);
    *out++ = number;
    for (int shift = 0; shift < 32; shift += 8) *out++ = static_cast<std::uint8_t>(value >> shift);
    for (const int part : {time.year, time.month, time.day, time.hour, time.minute}) *out++ = packed(part);
    bytes_[kEntryMade] = 1;
    bytes_[kRingIndex] = static_cast<std::uint8_t>((bytes_[kRingIndex] + 1) % kEntries);
    return Code::Success;
}

Code FlashStatus::end() {
    if (bytes_[kEntryMade] == 1) {
        const int counted = bytes_[kCount] + 1;
        if (counted == kCountLimit) return Code::FlashCounterAtLimit;
        bytes_[kCount] = static_cast<std::uint8_t>(counted > kCountLimit ? 1 : counted);
    }
    bytes_[kInProgress] = 0;
    return Code::Success;
}

Code FlashStatus::fail() {
    const auto counted = static_cast<std::uint16_t>(failureCount() == kFailuresNeverWritten ? 1 : failureCount() + 1);
    if (counted > kFailureLimit) return Code::FlashCounterAtLimit;
    bytes_[kFailures] = static_cast<std::uint8_t>(counted & 0xFF);
    bytes_[kFailures + 1] = static_cast<std::uint8_t>(counted >> 8);
    return Code::Success;
}

}  // namespace mova
