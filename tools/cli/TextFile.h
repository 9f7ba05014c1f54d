// Whole text files in and out; failures are told with the system's reason.
#pragma once
#include <string>

namespace mova::cli {

std::string readTextFile(const std::string& path);                     // throws Failure
void writeTextFile(const std::string& path, const std::string& text);  // throws Failure
// Makes the file where it is absent, so that on Linux its owner alone can read it; what is there keeps its mode. False
// when it cannot be written.
bool makeForOwner(const std::string& path);
bool fileExists(const std::string& path);

}  // namespace mova::cli
