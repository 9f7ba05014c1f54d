// What a request of a text family came to.
#pragma once
#include <string>

#include "mova/Codes.h"

namespace mova {

struct TextReply {
    Code code = Code::Success;
    std::string data;  // hexadecimal text; of a success, of an HCI action also of a reply that failed its checks
};

}  // namespace mova
