// One completed answer of the handset.
#pragma once
#include <cstdint>
#include <string>

#include "transport/FrameCodec.h"

namespace mova {

struct MovaRetCmdTag {
    LineClass kind = LineClass::AtText;  // of the record's block
    std::uint32_t primitive = 0;         // first payload byte
    std::string responseText;            // first text: the lines before the terminator, each followed by "\r\n"
    std::string terminatorText;          // second text: the line that completed the record, or empty
    std::string hexData;                 // third text: confirmation data as hexadecimal text
    std::string byteData;                // the payload bytes of a general confirmation
    Code error = Code::Success;          // or MalformedConfirmation, ChecksumMismatch
    std::uint32_t valid = 0;             // 1: complete; 0 whenever error is none of success, and in an empty record
};

}  // namespace mova
