// The line classifier against the plain reference, for any line beside any companion.
#include "campaigns/fuzz/Input.h"
#include "campaigns/fuzz/Require.h"
#include "oracle/Frames.h"
#include "transport/FrameCodec.h"

using namespace mova;
using namespace mova::fuzz;

namespace {
Landmark classes[] = {{"LineClass", "AT text"},
                      {"LineClass", "a general confirmation"},
                      {"LineClass", "an echo"},
                      {"LineClass", "an E2P confirmation"},
                      {"LineClass", "an acknowledgement"},
                      {"LineClass", "an HCI confirmation"},
                      {"LineClass", "a WiFi confirmation"}};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    constexpr std::string_view kCompanions[] = {"", "OK", "ERROR", "*MOVA=ACK", "*MOVA=ACKED", " *MOVA=ACK", "*MOVA="};
    const std::size_t choice = input.below(8);
    const std::string_view text = input.text();
    std::string_view line = text;
    std::string_view companion;
    if (choice < 7) {
        companion = kCompanions[choice];
    } else {  // both from the text
        line = text.substr(0, text.find('\n'));
        companion = text.substr(line.size());
    }
    const auto is = static_cast<unsigned>(classifyLine(line, companion));
    requireEqual(is, oracle::kindOf(line, companion), "class");
    classes[is].reach();
    requireEqual(isConfirmation(static_cast<LineClass>(is)) ? 1 : 0, is == 1 || is == 3 || is == 5 || is == 6 ? 1 : 0,
                 "whether it is a confirmation");
    return 0;
}
