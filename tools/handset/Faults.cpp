#include "handset/Faults.h"

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

}  // namespace mova::handset
