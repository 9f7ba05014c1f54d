#include "oracle/Tape.h"

#include <array>

#include "oracle/Text.h"

namespace mova::oracle {

namespace {
constexpr std::array kNames{"poll",   "sleep",     "input",      "open",     "close",     "mask",   "cancelAll",
                            "queues", "timeouts",  "properties", "settings", "configure", "clear",  "count",
                            "purge",  "beginRead", "beginWrite", "await",    "finish",    "cancel", "start"};
}

const char* nameOf(Act act) { return kNames[static_cast<std::size_t>(act)]; }

std::string describe(const Happening& h) {
    std::string text = printed("%9.3f ms  %s%s %u %u", static_cast<double>(h.when) / 1000.0, nameOf(h.act),
                               h.ok ? "" : " (no)", h.number, h.count);
    if (!h.text.empty()) {
        text += " \"";
        for (const char c : h.text) {
            const auto byte = static_cast<unsigned char>(c);
            text += byte >= 32 && byte < 127 ? std::string(1, c) : printed("\\x%02X", static_cast<unsigned>(byte));
        }
        text += '"';
    }
    return text;
}

}  // namespace mova::oracle
