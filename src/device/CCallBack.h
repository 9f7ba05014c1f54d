// What the serial device reports its status texts to.
#pragma once
#include <string>

namespace mova {

class CCallBack {
public:
    virtual ~CCallBack() = default;
    virtual void text(const std::string& message) = 0;
};

}  // namespace mova
