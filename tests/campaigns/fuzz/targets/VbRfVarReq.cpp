// RF requests by text: whatever the parameter text, the frames that leave the port are those of the values in it.
#include <algorithm>

#include "campaigns/fuzz/Input.h"
#include "campaigns/fuzz/LineBench.h"
#include "campaigns/fuzz/Require.h"
#include "handset/Frames.h"
#include "mova/CVeCmdManager.h"
#include "oracle/Frames.h"

using namespace mova;
using namespace mova::fuzz;

namespace {

Landmark kinds[] = {{"VbRfVarReq", "a general test"},
                    {"VbRfVarReq", "a changed parameter"},
                    {"VbRfVarReq", "a changed table"},
                    {"VbRfVarReq", "a test case"},
                    {"VbRfVarReq", "statistics"}};
Landmark segments("VbRfVarReq", "a table of several segments");

std::string token(std::string_view text, std::size_t index) {
    std::string current;
    for (const char c : text) {
        if (c != ',') {
            current += c;
        } else if (index-- == 0) {
            return current;
        } else {
            current.clear();
        }
    }
    return index == 0 ? current : std::string();
}

// The decimal number at the text's beginning, modulo 65536; numbers beyond 64 bits are none.
unsigned number(const std::string& text) {
    std::size_t at = text.find_first_not_of(" \t\r\n\v\f");
    if (at == std::string::npos) return 0;
    bool negative = false;
    if (text[at] == '+') {
        ++at;
        if (at < text.size() && text[at] == '-') negative = true, ++at;
    } else if (text[at] == '-') {
        negative = true;
        ++at;
    }
    constexpr std::uint64_t kLimit = std::uint64_t{1} << 63;
    std::uint64_t value = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        const auto next = static_cast<unsigned>(text[at] - '0');
        if (value > (kLimit - next) / 10) return 0;
        value = value * 10 + next;
    }
    if (value == kLimit && !negative) return 0;
    return static_cast<unsigned>((negative ? 0 - value : value) & 0xFFFF);
}

struct Expected {
    unsigned access = 0;
    unsigned index = 0;
    std::string data;
};

Expected expectedOf(std::int32_t kind, std::string_view text) {
    const auto at = [&](std::size_t index) { return number(token(text, index)); };
    Expected expected;
    switch (kind) {
        case 1:
        case 4:
            expected.access = at(0) & 0xFF;
            expected.index = at(1);
            expected.data = handset::word(static_cast<std::uint16_t>(at(2)));
            break;
        case 2: {
            expected.access = at(0) & 0xFF;
            expected.index = at(1);
            const std::string hex = token(text, 3);
            expected.data = oracle::lenientBytes(std::string_view(hex).substr(0, hex.size() / 2 * 2));
            expected.data.resize(std::min({expected.data.size(), std::size_t{at(2)}, std::size_t{1024}}));
            break;
        }
        case 3: expected.access = at(0) & 0xFF; break;
        default: expected.index = at(0); break;
    }
    return expected;
}

// The payloads of all frames in the bytes.
std::vector<std::string> payloads(std::string_view written) {
    std::vector<std::string> list;
    while (!written.empty()) {
        require(written.starts_with("AT*MOVA="), "a request's beginning");
        const auto end = written.find('\r');
        require(end != written.npos, "a request's end");
        const handset::Request request = handset::readRequest(written.substr(8, end - 8));
        require(request.fault == handset::FrameFault::None, "the handset reads the request");
        list.push_back(request.payload);
        written.remove_prefix(end + 1);
    }
    return list;
}

void compare(const std::vector<std::string>& list, std::uint8_t service, const Expected& expected) {
    const std::size_t count = std::max<std::size_t>(1, (expected.data.size() + 99) / 100);
    requireEqual(list.size(), count, "segments");
    if (count > 1) segments.reach();
    for (std::size_t i = 0; i < count; ++i) {
        const std::string part = expected.data.size() > 100 * i ? expected.data.substr(100 * i, 100) : std::string();
        std::string payload{static_cast<char>(service), static_cast<char>(expected.access)};
        payload += handset::word(static_cast<std::uint16_t>(expected.index));
        payload += handset::word(static_cast<std::uint16_t>(part.size()));
        payload += static_cast<char>(count > 1 ? i + 1 : 0);
        payload += static_cast<char>(count > 1 ? count : 0);
        requireEqual(handset::toHex(list[i]), handset::toHex(payload + part), "a segment's payload");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::uint8_t kind = input.byte();
    const std::int32_t type = kind < 250 ? kind % 6 : static_cast<std::int32_t>(input.number());
    const std::uint8_t service = input.byte();
    const std::string text(input.text());

    ScriptedPlatform platform;
    ScriptedPort& comm = quietPort(platform);
    {
        CVeCmdManager manager(platform);
        manager.put_CommPortId(7);
        requireEqual(manager.InitCmdManager(0), 0, "opening");
        comm.clearWritten();
        // The plain synchronous mode: what is there ends the wait at once.
        requireEqual(manager.VbRfVarReq(type, service, text), 0, "code");
        const Expected expected = expectedOf(type, text);
        compare(payloads(comm.written()), service, expected);
        kinds[type >= 1 && type <= 4 ? type : 0].reach();
    }
    return 0;
}
