// One fuzz input taken apart: numbers come from its end, the text is what is left in front of them. So a recorded
// conversation with a few bytes behind it is an input, and what a fuzzer does to the numbers leaves the text alone.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

namespace mova::fuzz {

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    std::uint8_t byte() {  // 0 when all is used up
        if (rest_.empty()) return 0;
        const char last = rest_.back();
        rest_.remove_suffix(1);
        return static_cast<std::uint8_t>(last);
    }
    std::uint16_t word() {
        const std::uint8_t low = byte();
        return static_cast<std::uint16_t>(byte() << 8 | low);
    }
    std::uint32_t number() {
        const std::uint32_t low = word();
        return std::uint32_t{word()} << 16 | low;
    }
    std::size_t below(std::size_t limit) { return byte() % limit; }  // limit: 1 to 256
    bool flag() { return byte() % 2 == 1; }
    template <class List>
    const auto& of(const List& list) {
        return list[below(std::size(list))];
    }

    std::string_view text() { return text(rest_.size()); }
    std::string_view text(std::size_t count) {
        const std::string_view front = rest_.substr(0, count);
        rest_.remove_prefix(front.size());
        return front;
    }

private:
    std::string_view rest_;
};

}  // namespace mova::fuzz
