#include "platform/posix/RemoteName.h"

#include <algorithm>

namespace mova {

namespace {

constexpr unsigned kPortMax = 65535;
constexpr std::size_t kPortDigitsMax = 5;
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

bool hasOnly(std::string_view text, std::string_view marks) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
        return kDigits.find(c) != kDigits.npos || kLetters.find(c) != kLetters.npos || marks.find(c) != marks.npos;
    });
}

bool isPort(std::string_view digits) {
    if (digits.empty() || digits.size() > kPortDigitsMax || digits.find_first_not_of(kDigits) != digits.npos) {
        return false;
    }
    unsigned number = 0;
    for (const char digit : digits) number = number * 10 + static_cast<unsigned>(digit - '0');
    return number > 0 && number <= kPortMax;
}

}  // namespace

std::optional<RemoteName> remoteNameOf(std::string_view name) {
    const auto colon = name.rfind(':');
    if (colon == name.npos || !isPort(name.substr(colon + 1))) return std::nullopt;
    std::string_view host = name.substr(0, colon);
    const bool inBrackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
    if (inBrackets) host = host.substr(1, host.size() - 2);
    if (!hasOnly(host, inBrackets ? ":.%" : ".-_")) return std::nullopt;
    return RemoteName{std::string(host), std::string(name.substr(colon + 1))};
}

}  // namespace mova
