// What the component is measured against: a terminal, written to and read with nothing in between.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace mova::bench {

// A request and what is read until the answer ends with "OK\r\n".
using Script = std::vector<std::string>;

enum class Manner {
    AtOnce,      // the limit: the request in one write, poll, read
    ByteByByte,  // the limit where the port does not sit on USB: each byte in a write of its own, poll, read
    Paced,       // as many lines at a time allow it: byte by byte; then a look, at most 2048 bytes, a pause of 1 ms
};

class BareLine {
public:
    explicit BareLine(const std::string& path);
    ~BareLine();
    BareLine(const BareLine&) = delete;
    BareLine& operator=(const BareLine&) = delete;

    struct Counts {
        std::uint64_t sent = 0;
        std::uint64_t received = 0;
        std::uint64_t writes = 0;
        bool complete = true;  // every answer came within its time
    };
    Counts run(const Script& script, Manner manner);
    std::uint32_t waiting() const;                 // bytes
    void await(std::uint32_t milliseconds) const;  // until bytes are there, at most so long
    std::string_view take();                       // at most 2048 bytes that are there

private:
    bool step(const std::string& request, Manner manner, Counts& counts);

    static constexpr std::size_t kPass = 2048;

    int descriptor_;
    std::string answer_;
    std::array<char, kPass> buffer_{};
};

double nowSeconds();
void sleepMilliseconds(std::uint32_t milliseconds);

}  // namespace mova::bench
