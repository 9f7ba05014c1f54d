// Appends one time-stamped, tagged line to a text log file, under a mutex that processes share. The file is opened and closed
// for every line, so that it is always complete on disk and other programs may read or append between lines.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "mova/Codes.h"
#include "platform/Platform.h"

namespace mova {

enum class LogType : std::int32_t {
    At = 1,
    Gpib = 2,
    Qlib = 3,
    NodeBegin = 4,
    NodeEnd = 5,
    Step = 6,
    Comment = 7,
    ErrorCode = 8,
    ErrorDescription = 9,
    Qpd = 10,
    Comm = 11,
    Tcp = 12,
    Debug = 13,
};

enum class LogDirection { Received, Sent };

// Success when the line was handled (a file that cannot be opened or written drops it without a report), LogPathEmpty
// when the path is empty. A type outside the table writes an "[UNKNOWN]" line.
Code Log(Platform& platform, const std::string& path, LogType type, std::string_view message,
         LogDirection direction = LogDirection::Received);

// The path of the last call in this process, whichever object made it.
std::string lastLogPath();

}  // namespace mova
