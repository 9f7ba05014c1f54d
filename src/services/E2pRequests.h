// Reads and writes objects of the handset's EEPROM store, addressed by object identifier and record number, and
// carries the provisioning exchanges of the same message shape. What the handset does with a password, key or serial
// number is its own business.
//
// Message text of a request, in hexadecimal digits; 16-bit values least significant byte first. The reply has the
// same layout with the handset's status in place of the flag; one of fewer than 16 characters reads as all zero.
//   characters 0-3    message length in bytes: data bytes + 6
//              4-5    command
//              6-7    flag (0); in the reply status
//              8-11   object identifier
//              12-15  record number
//              16-    data
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "logging/FileLog.h"
#include "services/RequestSender.h"
#include "services/TextReply.h"
#include "transport/Answers.h"

namespace mova {

enum class E2pCommand : std::uint8_t {
    Read = 0x80,
    Write = 0x81,
    Password = 0x82,
    AuthenticationRequest = 0x83,
    AuthenticationKey = 0x84,
    SerialNumber = 0x85,
    HashRequest = 0x86,
    LockOtp = 0x87,
};

class E2pRequests {
public:
    struct RangeReply {
        Code code = Code::Success;
        bool lengthKnown = false;
        std::int32_t length = 0;  // characters
        std::string data;
    };

    E2pRequests(RequestSender& sender, Answers& answers, FileLog& log)
        : sender_(sender), answers_(answers), log_(log) {}

    TextReply request(E2pCommand command, std::int32_t object, std::int32_t record, std::string_view data = {})
        MOVA_REQUIRES(portLockRole);

    // A read that takes no damaged reply for the object: WrongDataLength unless the data is hexadecimal digits alone, as
    // many as the handset announces.
    TextReply readWhole(std::int32_t object, std::int32_t record) MOVA_REQUIRES(portLockRole);

    // Positions and lengths in characters; negative ones count as 0. Beyond the object's end: what is left of it.
    RangeReply readRange(std::int32_t object, std::int32_t record, std::int32_t start, std::int32_t length)
        MOVA_REQUIRES(portLockRole);
    // Writes over a part of the object, never lengthening it. A text shorter than the length goes as far as it reaches.
    RangeReply writeRange(std::int32_t object, std::int32_t record, std::int32_t start, std::int32_t length,
                          std::string_view data) MOVA_REQUIRES(portLockRole);

private:
    enum class Demand { Any, Whole };  // deliberate: hosts rely on it that a damaged text is handed out

    TextReply exchange(E2pCommand command, std::int32_t object, std::int32_t record, std::string_view data,
                       Demand demand) MOVA_REQUIRES(portLockRole);

    RequestSender& sender_;
    Answers& answers_;
    FileLog& log_;
};

}  // namespace mova
