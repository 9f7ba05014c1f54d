// Passes Bluetooth controller commands and WiFi commands to the handset.
//
// Message texts, in hexadecimal digits; 16-bit values least significant byte first:
//   HCI request   0-3 command bytes   4-5 option         6- command
//   HCI reply     0-3 length          4-5 option echo    6- data (for options 1 and 2 led by a status, "00" is good)
//   WiFi request  0-1 command         2-3 "00"           4-7 parameter bytes   8- parameter
//   WiFi reply    0-1 command echo    2-3 status         4-7 length            8- data
// A reply shorter than its fixed part reads as all zero.
#pragma once
#include <cstdint>
#include <string_view>

#include "logging/FileLog.h"
#include "services/RequestSender.h"
#include "services/TextReply.h"
#include "transport/Answers.h"

namespace mova {

class HciWifiActions {
public:
    HciWifiActions(RequestSender& sender, Answers& answers, Session& session, FileLog& log)
        : sender_(sender), answers_(answers), session_(session), log_(log) {}

    // Deliberate: leaves the acknowledgement time-out at the option's value for all later requests.
    TextReply hci(std::int32_t option, std::string_view hexCommand) MOVA_REQUIRES(portLockRole);
    TextReply wifi(std::uint8_t command, std::string_view hexParameter) MOVA_REQUIRES(portLockRole);

private:
    RequestSender& sender_;
    Answers& answers_;
    Session& session_;
    FileLog& log_;
};

}  // namespace mova
