// Files that are written, as the system sees them.
#pragma once
#include <cstddef>
#include <cstdio>
#include <string>

namespace mova::cli {

// Nothing waits here, also where the file is a pipe. Throws Failure: it cannot be written, or is a pipe without a
// reader; name is how the user knows it. Makes the file if it is not there, on Linux for its user alone.
void requireWritable(const std::string& path, const std::string& name);

// A file that one program at a time writes: as long as it is open, no other can open it this way. For reading and
// writing, made if it is not there, and its user's alone then. Throws Failure: another program has it, it is no regular
// file, it cannot be written.
std::FILE* openClaimed(const std::string& path);
bool cutTo(std::FILE* file, std::size_t bytes);

}  // namespace mova::cli
