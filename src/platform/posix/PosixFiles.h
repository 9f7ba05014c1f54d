// PosixFiles writes the log and trace files on Linux. Writes go straight to the file; line ends stay as they are.
// LogAppend holds the file's lock while it is open and fails while another holds it.
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
