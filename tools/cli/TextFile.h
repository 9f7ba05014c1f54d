// Whole text files in and out; failures are told with the system's reason.
#pragma once
#include <string>

namespace mova::cli {

std::string readTextFile(const std::string& path);                     // throws Failure
void writeTextFile(const std::string& path, const std::string& text);  // throws Failure
bool fileExists(const std::string& path);

}  // namespace mova::cli
