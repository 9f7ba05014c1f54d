// What a request of a text family came to.
#pragma once
#include <cstdint>
#include <string>

namespace mova {

struct TextReply {
    std::uint32_t code = 0;
    std::string data;  // hexadecimal text; only of a success
};

}  // namespace mova
