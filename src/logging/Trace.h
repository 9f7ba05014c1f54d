// What the lower core write their traffic to, without knowing the trace file or its layout.
#pragma once
#include <string_view>

namespace mova {

enum class TraceKind : int {
    RfSent = 1,
    RfReply = 2,
    E2pFirstSent = 3,
    E2pLaterSent = 4,
    E2pReply = 5,
    AckSeen = 6,
    OkSeen = 7,
    E2pMessage = 8,
    AtSent = 9,
    AtReply = 10,
    BadChecksum = 11,
    ReplyInError = 12,
    Purged = 13,
    HciFirstSent = 14,
    HciLaterSent = 15,
    HciReply = 16,
    Echo = 17,
    FreeText = 18,
    WifiFirstSent = 19,
    WifiLaterSent = 20,
    WifiReply = 21,
};

class Trace {
public:
    virtual ~Trace() = default;
    virtual void record(TraceKind kind, std::string_view text) = 0;
    // False while a record would reach nobody: its text need not be put together.
    virtual bool hasReader() { return true; }
};

}  // namespace mova
