// What a family's joined reply means to the caller of the request, told a second time.
#pragma once
#include <cstdint>
#include <string>

namespace mova::oracle {

struct Reply {
    std::uint32_t code = 0;
    std::string data;  // in hexadecimal; only of an HCI reply also with a code
};

// hex: the data of the record that came; empty without one. A command that writes must have its data echoed.
Reply e2pReply(unsigned command, std::uint16_t object, std::uint16_t record, const std::string& sent,
               const std::string& hex);
// Without a record they read as option (command) 0, a success without data.
Reply hciReply(std::uint8_t option, const std::string& hex);
Reply wifiReply(std::uint8_t command, const std::string& hex);

constexpr std::uint32_t kOtherCommand = 0x4203;  // the reply is to another command, or there is none

}  // namespace mova::oracle
