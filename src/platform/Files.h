// Files opens and writes the log and trace files.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace mova {

enum class FileMode {
    LogAppend,     // create if absent, write at the end, bytes as they are; on Windows no other writer while open
    TextAppend,    // "a+t": create if absent, write at the end, the system's text line ends
    TextTruncate,  // "w+t"; on Linux of a file of the user's own with one name only: nobody chose what is emptied here
};

class Files {
public:
    using Handle = std::intptr_t;
    static constexpr Handle kInvalid = -1;

    virtual ~Files() = default;
    virtual Handle open(const std::string& path, FileMode mode) = 0;
    virtual bool write(Handle file, std::string_view text) = 0;
    virtual void close(Handle file) = 0;
};

}  // namespace mova
