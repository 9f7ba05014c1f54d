// Turns everything sent and received into readable trace records: each goes to the debug sink and, while traffic
// logging is active, to the trace file, which is opened and closed once per record.
#pragma once
#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "logging/MyDebugMsg.h"
#include "logging/Trace.h"
#include "mova/Codes.h"
#include "platform/Platform.h"
#include "platform/Threading.h"

namespace mova {

// The record's text. Kinds outside the table give the empty text.
std::string traceText(TraceKind kind, std::string_view text);

class TrafficTrace : public Trace {
public:
    TrafficTrace(Platform& platform, MyDebugMsg& debug) : platform_(platform), debug_(debug) {}

    // From any thread. A record that there is no memory for is lost.
    void record(TraceKind kind, std::string_view text) noexcept override;
    bool hasReader() noexcept override;

    // request kStartTrace starts traffic logging, every other value stops it. Result: NoTraceFile when neither the file nor the
    // host's fallback could be opened, else Success.
    Code activate(const std::string& fileName, std::uint32_t startTick, std::uint32_t request);

private:
    bool canOpen(const std::string& path, FileMode mode);
    void append(const std::string& path, std::uint32_t startTick, std::string text);

    Platform& platform_;
    MyDebugMsg& debug_;
    Mutex mutex_;                      // guards the settings, not the file
    std::atomic<bool> active_{false};  // also looked at without the lock
    std::uint32_t startTick_ MOVA_GUARDED_BY(mutex_) = 0;
    std::string path_ MOVA_GUARDED_BY(mutex_);
};

}  // namespace mova
