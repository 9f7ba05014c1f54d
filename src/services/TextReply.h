// What a request of a text family came to.
#pragma once
#include <string>

#include "mova/Codes.h"

namespace mova {

struct TextReply {
    Code code = Code::Success;
    std::string data;  // hexadecimal text; only of a success
};

}  // namespace mova
