// A parameter text of values separated by ",". A missing field reads as the empty text.
#pragma once
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/Text.h"

namespace mova {

class Fields {
public:
    explicit Fields(std::string_view text) : text_(text) {}

    std::string_view text(std::size_t index) const {
        std::string_view rest = text_;
        for (; index > 0; --index) {
            const auto comma = rest.find(',');
            if (comma == rest.npos) return {};
            rest.remove_prefix(comma + 1);
        }
        return rest.substr(0, rest.find(','));
    }

    // A decimal integer (leading white space and a sign allowed, text behind the digits ignored) cut to the width of
    // T; anything else is 0.
    template <class T>
    T number(std::size_t index) const {
        std::string_view digits = trim(text(index));
        if (digits.starts_with('+')) digits.remove_prefix(1);
        std::int64_t value = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return static_cast<T>(value);
    }

private:
    std::string_view text_;
};

}  // namespace mova
