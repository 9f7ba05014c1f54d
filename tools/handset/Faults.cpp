#include "handset/Faults.h"

#include <charconv>

namespace mova::handset {

namespace {
constexpr std::array<std::string_view, kFaults> kNames{
    "silence",    "wrong-checksum",    "wrong-echo",      "wrong-record", "wrong-data", "missing-ack",
    "missing-ok", "duplicate-segment", "skipped-segment", "two-families", "hang-up"};
}

std::optional<Fault> faultByName(std::string_view name) {
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        if (kNames[i] == name) return static_cast<Fault>(i);
    }
    return std::nullopt;
}

std::string_view nameOf(Fault fault) { return kNames[static_cast<std::size_t>(fault)]; }

std::string faultNames() {
    std::string names;
    for (const std::string_view name : kNames) names.append(names.empty() ? "" : ", ").append(name);
    return names;
}

bool Faults::take(Fault fault) {
    int& left = left_[static_cast<std::size_t>(fault)];
    if (left == 0) return false;
    if (left > 0) --left;
    return true;
}

std::string addFault(Faults& faults, std::string_view text) {
    const auto equals = text.find('=');
    const auto fault = faultByName(text.substr(0, equals));
    if (!fault) return "no fault is called " + std::string(text) + "; there are: " + faultNames();
    int answers = Faults::kAlways;
    if (equals != text.npos) {
        const char* const end = text.data() + text.size();
        const auto [rest, wrong] = std::from_chars(text.data() + equals + 1, end, answers);
        if (wrong != std::errc() || rest != end || answers <= 0) {
            return std::string(text) + ": the count must be a number above 0";
        }
    }
    faults.set(*fault, answers);
    return {};
}

}  // namespace mova::handset
