// Turns the lines before a terminator into one answer record.
#pragma once
#include <string>
#include <string_view>

#include "logging/Trace.h"
#include "transport/MovaRetCmdTag.h"

namespace mova {

struct BuiltRecord {
    MovaRetCmdTag record;
    std::string leftOver;  // lines of another family, each with its "\r\n": they belong to a record of their own
};

// response: whole lines, each with its "\r\n". Echoes and bad checksums are traced on the way.
BuiltRecord buildRecord(std::string_view response, std::string_view terminator, Trace& trace);

// Writes the finished record to the trace; stillPending is what the engine holds behind it.
void traceRecord(const MovaRetCmdTag& record, std::string_view stillPending, Trace& trace);

}  // namespace mova
