// The line format of the request protocol: requests "AT*MOVA=" + length + payload + checksum + "\r", confirmations
// "*MOVA=" + the same. Everything between the prefix and the line end is hexadecimal text (base/HexText.h).
// Pure functions on text.
//
//   length    4 characters, 16 bits, least significant byte first: payload bytes plus one
//   payload   two characters per byte
//   checksum  2 characters: the exclusive-or of the bytes of length and payload
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "mova/Codes.h"

namespace mova {

constexpr std::string_view kRequestPrefix = "AT*MOVA=";
constexpr std::string_view kConfirmationPrefix = "*MOVA=";
constexpr std::string_view kAcknowledgement = "*MOVA=ACK";

// First payload byte of the text families, in requests and confirmations.
enum class Family : std::uint8_t { E2p = 0x80, Hci = 0xA0, Wifi = 0xB0 };

enum class LineClass : std::uint32_t {
    AtText = 0,
    Confirmation = 1,  // general (RF): first payload byte of none of the families
    Echo = 2,
    E2p = 3,
    Acknowledgement = 4,
    Hci = 5,
    Wifi = 6,
};

constexpr bool isConfirmation(LineClass c) {
    return c == LineClass::Confirmation || c == LineClass::E2p || c == LineClass::Hci || c == LineClass::Wifi;
}

// The companion is the terminator line of the record being built.
LineClass classifyLine(std::string_view line, std::string_view companion);

std::string buildRequest(std::string_view payloadHex);

struct ParsedConfirmation {
    Code status = Code::Success;  // or MalformedConfirmation, ChecksumMismatch
    std::uint8_t firstByte = 0;
    std::string_view payload;  // into the parsed line; deliberate: also given when the checksum is wrong
};

ParsedConfirmation parseConfirmation(std::string_view line);

struct SplitPayload {
    Code status = Code::Success;  // or MalformedConfirmation
    std::uint8_t header1 = 0;
    std::uint8_t header2 = 0;  // segment number
    std::string_view data;     // into the payload
};

SplitPayload splitPayload(std::string_view payload);

}  // namespace mova
