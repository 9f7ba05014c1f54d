// Hands the serial device's status texts to a member operation of its owner.
#pragma once
#include <string>

#include "device/CCallBack.h"

namespace mova {

template <class Owner>
class MyCallback : public CCallBack {
public:
    using Handler = void (Owner::*)(const std::string&);

    MyCallback(Owner& owner, Handler handler) : owner_(owner), handler_(handler) {}
    void text(const std::string& message) override { (owner_.*handler_)(message); }

private:
    Owner& owner_;
    Handler handler_;
};

}  // namespace mova
