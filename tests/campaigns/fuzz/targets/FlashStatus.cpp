// The flash status record: any text is read or refused by its checksum; whatever is done to it afterwards, its text
// reads again as the same record, and only the documented codes come.
#include "atchannel/FlashStatus.h"

#include "campaigns/fuzz/Input.h"
#include "campaigns/fuzz/Require.h"
#include "handset/Frames.h"
#include "mova/Codes.h"
#include "oracle/Frames.h"

using namespace mova;
using namespace mova::fuzz;

namespace {

constexpr std::size_t kSize = 68;

Landmark refused("FlashStatus", "a record with a wrong checksum");
Landmark blank("FlashStatus", "a blank record");
Landmark counted("FlashStatus", "a programming that was counted");
Landmark limit("FlashStatus", "a counter at its limit");
Landmark entered("FlashStatus", "an entry");

unsigned at(const std::string& bytes, std::size_t position) { return static_cast<unsigned char>(bytes[position]); }

// The record's bytes as a good read leaves them; empty when it must be refused.
std::string expectedBytes(std::string_view text) {
    std::string bytes = oracle::lenientBytes(text);
    if (bytes.size() != kSize) return {};
    if (bytes == std::string(kSize, '\xFF')) bytes.assign(kSize, '\0');
    unsigned sum = 0;
    for (std::size_t i = 0; i + 1 < kSize; ++i) sum ^= at(bytes, i);
    if (sum != at(bytes, kSize - 1)) return {};
    if (at(bytes, 5) > 5) bytes[5] = 0;
    return bytes;
}

std::string bytesOf(const FlashStatus& status) {
    const std::string text = status.text();
    const auto bytes = handset::fromHex(text);
    require(bytes && bytes->size() == kSize, "the record's text");
    FlashStatus again;
    requireEqual(again.read(text), Code::Success, "the record's text read again");
    requireEqual(again.text(), text, "its text once more");
    requireEqual(again.statusText(), status.statusText(), "its status");
    requireEqual(again.failureText(), status.failureText(), "its failures");
    return *bytes;
}

void doSomething(FlashStatus& status, Input& input) {
    const std::string before = bytesOf(status);
    const bool inProgress = at(before, 0) == 1;
    const unsigned count = at(before, 2);
    const unsigned failures = at(before, 3) + 256 * at(before, 4);
    Code expected = Code::Success;
    Code is = Code::Success;
    switch (input.below(4)) {
        case 0:
            expected = count == 254 ? Code::FlashCounterAtLimit : Code::Success;
            is = status.start();
            break;
        case 1:
            expected = at(before, 1) == 1 && count == 253 ? Code::FlashCounterAtLimit : Code::Success;
            is = status.end();
            if (is == Code::Success && at(before, 1) == 1) {
                counted.reach();
                requireEqual(at(bytesOf(status), 2), count >= 254 ? 1 : count + 1, "programming count");
            }
            break;
        case 2: {
            LocalTime time;
            time.year = 2024;
            time.month = 3;
            time.day = 5;
            time.hour = 9;
            time.minute = 7;
            const std::uint8_t number = input.byte();
            const std::uint32_t value = input.number();
            expected = inProgress ? Code::Success : Code::FlashNotInProgress;
            is = status.enter(number, value, time);
            if (is != Code::Success) break;
            entered.reach();
            const std::size_t place = 6 + 10 * std::size_t{at(before, 5)};
            std::string entry{static_cast<char>(number)};
            for (int shift = 0; shift < 32; shift += 8) entry += static_cast<char>(value >> shift & 0xFF);
            entry += "\x24\x03\x05\x09\x07";
            requireEqual(bytesOf(status).substr(place, 10), entry, "the ring entry");
            requireEqual(at(bytesOf(status), 5), (at(before, 5) + 1) % 6, "the ring index");
            break;
        }
        default:
            expected = failures != 65535 && failures + 1 > 253 ? Code::FlashCounterAtLimit : Code::Success;
            is = status.fail();
            break;
    }
    requireEqual(is, expected, "code");
    if (is == Code::FlashCounterAtLimit) limit.reach();
    if (is != Code::Success) requireEqual(bytesOf(status), before, "a record that an error left alone");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const bool isBytes = input.flag();  // the text is the record's bytes without the checksum
    const std::size_t steps = input.below(8);
    Input numbers = input;
    std::string text(input.text(isBytes ? kSize - 1 : size));
    if (isBytes && text.size() == kSize - 1) {
        char sum = 0;
        for (const char c : text) sum = static_cast<char>(sum ^ c);
        text = handset::toHex(text + sum);
    }
    FlashStatus status;
    const std::string expected = expectedBytes(text);
    requireEqual(status.read(text), expected.empty() ? Code::FlashChecksum : Code::Success, "reading");
    if (expected.empty()) {
        refused.reach();
        return 0;
    }
    if (expected == std::string(kSize, '\0')) blank.reach();
    for (std::size_t i = 0; i < steps; ++i) doSomething(status, numbers);
    return 0;
}
