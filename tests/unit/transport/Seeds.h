// Random numbers for tests that try many inputs: the same every time, another series with MOVA_TEST_SEED=<number>.
// Each test says its seed; a failure repeats with that number alone.
#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace mova {

class Random {
public:
    explicit Random(std::uint32_t seed) : engine_(seed) {}

    std::size_t below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine_); }
    bool oneIn(std::size_t n) { return below(n) == 0; }
    char byte() { return static_cast<char>(below(256)); }
    std::string bytes(std::size_t count) {
        std::string text(count, '\0');
        for (char& c : text) c = byte();
        return text;
    }
    template <class T>
    const T& of(const std::vector<T>& choices) {
        return choices[below(choices.size())];
    }

private:
    std::mt19937 engine_;
};

inline std::vector<std::uint32_t> seeds(unsigned count) {
    std::vector<std::uint32_t> list;
    const char* wanted = std::getenv("MOVA_TEST_SEED");
    if (wanted) {
        list.push_back(static_cast<std::uint32_t>(std::strtoul(wanted, nullptr, 10)));
        std::printf("seed %u\n", list.front());
    } else {
        for (unsigned i = 1; i <= count; ++i) list.push_back(i);
        std::printf("seeds 1 to %u\n", count);
    }
    return list;
}

// What a line may bring at its worst: pieces of the protocol among any bytes.
inline std::string noise(Random& random, std::size_t pieces) {
    static const std::vector<std::string> kPieces{
        "\r\n",      "\r", "\n", "OK",   "OK\r\n", "ERROR\r\n",  "*MOVA=",     "AT*MOVA=",
        "*MOVA=ACK", "80", "A0", "b0",   "01",     "0500",       "\xFF\x1A",   "*MOVA=05000500020103\r\n",
        "  ",        "|",  "~~", "%s%n", "FFFF",   "*MOVA=0000", "8000010203", "*MOVA=0600800001AABB96\r\n"};
    std::string text;
    for (std::size_t i = 0; i < pieces; ++i) {
        text += random.oneIn(3) ? random.bytes(random.below(12)) : random.of(kPieces);
        if (random.oneIn(8)) text += '\0';
    }
    return text;
}

}  // namespace mova
