// A file that one program at a time writes: as long as it is open, no other can open it this way.
#pragma once
#include <cstddef>
#include <cstdio>
#include <string>

namespace mova::cli {

// For reading and writing, made if it is not there, and its user's alone then. Throws Failure: another program has it,
// it is no regular file, it cannot be written.
std::FILE* openClaimed(const std::string& path);
bool cutTo(std::FILE* file, std::size_t bytes);

}  // namespace mova::cli
