// What the codes are called and what they mean, for whoever shows them to a person.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

namespace mova {

// "NoAnswer", "E2pStatus3"; empty for a number that is no code.
std::string codeName(std::uint32_t code);
std::string codeMeaning(std::uint32_t code);  // "no (accepted) answer within the time"; empty likewise
std::optional<std::uint32_t> codeOfName(const std::string& name);
std::string hexCode(std::uint32_t code);  // "0x4004"

// An E2P reply's status and the code that reports it; 0 is success, and statuses without a code of their own share one.
std::uint32_t e2pStatusCode(std::uint8_t status);
// Whether the code reports a status of the handset's.
bool isE2pStatus(std::uint32_t code);

}  // namespace mova
