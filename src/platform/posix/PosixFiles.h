// PosixFiles writes the log and trace files on Linux. Writes go straight to the file; line ends stay as they are.
// What it makes only its owner can read. A file is not locked while it is open: whoever may read a file may hold its
// lock, and would silence the log. Appending keeps the lines of several writers whole.
#pragma once
#include "platform/Files.h"

namespace mova {

class PosixFiles final : public Files {
public:
    Handle open(const std::string& path, FileMode mode) override;
    bool write(Handle file, std::string_view text) override;
    void close(Handle file) override;
};

}  // namespace mova
