#include "device/DirectAccess.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/HexText.h"
#include "device/InputWait.h"
#include "mova/Options.h"

namespace mova {

namespace {
constexpr std::int32_t kLongestCollection = 1000;
constexpr std::uint32_t kCollectionSize = 2048;
constexpr std::uint32_t kPollPause = 25;
}  // namespace

Code DirectAccess::writeHex(std::string_view hexText, std::int32_t count, std::uint32_t& written) {
    written = 0;
    if (count < 1) return Code::Success;
    const std::string bytes = decodeHex(hexText.substr(0, 2 * static_cast<std::size_t>(count)));
    return writeBytes(reinterpret_cast<const std::uint8_t*>(bytes.data()), static_cast<std::int32_t>(bytes.size()),
                      written);
}

Code DirectAccess::writeBytes(const std::uint8_t* bytes, std::int32_t count, std::uint32_t& written) {
    written = 0;
    Code result = Code::Success;
    if (!port_.makeAvailable(HandsetPort::OpenTest::Handle, result)) return result;
    return port_.device().WriteData(bytes, static_cast<std::uint32_t>(count), written);
}

void DirectAccess::writeArray(std::span<const std::uint8_t> array, std::int32_t count, std::uint32_t& written) {
    written = 0;
    if (count < 1) return;
    const auto length = std::min(array.size(), static_cast<std::size_t>(count));
    static_cast<void>(port_.write(array.data(), static_cast<std::uint32_t>(length), &written));
}

Code DirectAccess::read(std::int32_t count, std::string& bytes) {
    bytes.clear();
    if (count < 1) return Code::Success;
    std::string buffer(static_cast<std::size_t>(count), '\0');
    Code result = Code::Success;
    if (!port_.makeAvailable(HandsetPort::OpenTest::Device, result)) return result;
    std::uint32_t bytesRead = 0;
    result = port_.device().ReadData(buffer.data(), count, bytesRead);
    if (result == Code::Success) {
        buffer.resize(bytesRead);
        bytes = std::move(buffer);
    }
    return result;
}

std::uint32_t DirectAccess::waiting() {
    Code result = Code::Success;
    std::uint32_t count = 0;
    if (port_.makeAvailable(HandsetPort::OpenTest::Device, result)) {
        static_cast<void>(port_.device().ClearDeviceError(count));  // a failure counts nothing
    }
    return count;
}

std::optional<std::string> DirectAccess::collect(std::int32_t option, std::int32_t durationMilliseconds) {
    if (option != kCollectRawData || !port_.isSerial() || !port_.device().isOpen()) return std::nullopt;
    const auto duration = static_cast<std::uint32_t>(std::clamp(durationMilliseconds, 0, kLongestCollection));
    const std::uint32_t deadline = platform_.clock.tickCount() + duration;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): large, and only what was read is looked at
    std::array<std::uint8_t, kCollectionSize> collected;
    std::uint32_t count = 0;
    std::uint32_t lately = 0;  // read since the last pause
    InputWait pauses(platform_, port_);
    for (;;) {
        if (static_cast<std::int32_t>(platform_.clock.tickCount() - deadline) >= 0) {
            return count == 0 ? std::string("NULL") : encodeHex(std::span(collected.data(), count));
        }
        const std::uint32_t waitingBytes = waiting();
        if (waitingBytes == 0) {
            if (pauses.pause(kPollPause, 0, lately) == WaitResult::Stopped) return std::nullopt;
            lately = 0;
            continue;
        }
        const std::uint32_t bytesRead =
            readInto(collected.data() + count, std::min(waitingBytes, kCollectionSize - count));
        if (port_.deviceType() == HandsetPort::kSlowDevice) platform_.clock.sleep(HandsetPort::kSlowDevicePause);
        if (bytesRead == 0) platform_.clock.sleep(1);  // a full buffer goes on to the deadline without spinning
        count += bytesRead;
        lately += bytesRead;
    }
}

std::uint32_t DirectAccess::readInto(std::uint8_t* buffer, std::uint32_t capacity) {
    std::uint32_t bytesRead = 0;
    Code result = Code::Success;
    if (capacity > 0 && port_.makeAvailable(HandsetPort::OpenTest::Device, result)) {
        // A failure reads nothing.
        static_cast<void>(port_.device().ReadData(buffer, static_cast<std::int32_t>(capacity), bytesRead));
    }
    return bytesRead;
}

}  // namespace mova
