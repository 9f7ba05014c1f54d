// Plain text helpers of the oracle, its own: the component's are among what it judges.
#pragma once
#include <string>
#include <vector>

namespace mova::oracle {

[[gnu::format(printf, 1, 2)]] std::string printed(const char* format, ...);

// What stands before each separator; what stands behind the last one goes into rest.
std::vector<std::string> splitAt(const std::string& text, const std::string& separator, std::string& rest);
void replaceAll(std::string& text, const std::string& what, const std::string& with);
std::string rightTrimmed(std::string text);
std::string trimmed(std::string text);
std::string lowered(std::string text);
std::string folded(std::string text);  // as a trace and an answer have it: "~" for line ends, never two of them

}  // namespace mova::oracle
