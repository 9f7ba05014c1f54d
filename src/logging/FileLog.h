// The log file of one object: where it is, and the way to it. Empty path: there is none. The lock of the object's port
// guards it.
#pragma once
#include <string>
#include <string_view>
#include <utility>

#include "logging/LogWriter.h"

namespace mova {

class FileLog {
public:
    explicit FileLog(Platform& platform) : platform_(platform) {}

    void setPath(std::string path) { path_ = std::move(path); }
    void write(LogType type, std::string_view message, LogDirection direction = LogDirection::Received) {
        // A log that is switched off or cannot be written is no reason for an exchange to fail.
        static_cast<void>(Log(platform_, path_, type, message, direction));
    }

private:
    Platform& platform_;
    std::string path_;
};

}  // namespace mova
