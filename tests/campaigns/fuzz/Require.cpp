#include "campaigns/fuzz/Require.h"

#include <cstdio>
#include <cstdlib>

namespace mova::fuzz {

namespace {

std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c >= ' ' && c <= '~' && c != '\\') {
            out += c;
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
            out += code;
        }
    }
    return out;
}

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "does not hold: %s\n", what.c_str());
    std::abort();
}

}  // namespace

void require(bool holds, std::string_view what) {
    if (!holds) fail(std::string(what));
}

void requireEqual(std::string_view is, std::string_view expected, std::string_view what) {
    if (is != expected)
        fail(std::string(what) + ": is \"" + escaped(is) + "\", expected \"" + escaped(expected) + "\"");
}

void requireEqual(std::uint64_t is, std::uint64_t expected, std::string_view what) {
    if (is == expected) return;
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, ": is 0x%llX, expected 0x%llX", static_cast<unsigned long long>(is),
                  static_cast<unsigned long long>(expected));
    fail(std::string(what) + numbers);
}

Landmark::Landmark(const char* target, const char* name) : target_(target), name_(name) { all().push_back(this); }

std::vector<const Landmark*>& Landmark::all() {
    static std::vector<const Landmark*> list;
    return list;
}

}  // namespace mova::fuzz
