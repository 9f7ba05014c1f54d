// What the codes are called and what they mean, for whoever shows them to a person.
#pragma once
#include <optional>
#include <string>

#include "mova/Codes.h"

namespace mova {

// "NoAnswer", "E2pStatus3"; empty for a value that is no code.
std::string codeName(Code code);
std::string codeMeaning(Code code);  // "no (accepted) answer within the time"; empty likewise
// The same texts without a copy: they are there as long as the program is.
const char* codeNameText(Code code) noexcept;
const char* codeMeaningText(Code code) noexcept;
std::optional<Code> codeOfName(const std::string& name);
std::string hexCode(Code code);  // "0x4004"

// Whether the code reports a status of the handset's.
bool isE2pStatus(Code code);

}  // namespace mova
