// Win32Files writes the log and trace files on Windows. The text modes go through the C runtime, which writes "\r\n"
// for "\n"; each write is flushed, so that a failure is that write's own.
#pragma once
#include "platform/Files.h"

namespace mova {

class Win32Files final : public Files {
public:
    Handle open(const std::string& path, FileMode mode) override;
    bool write(Handle file, std::string_view text) override;
    void close(Handle file) override;
};

}  // namespace mova
