// The debug sink: posts free text to a local message channel that a viewer may or may not be listening on.
// While nobody listens messages are dropped; a low-priority thread looks for a listener, so that a post costs at
// most the 50 ms pause after it started that search.
#pragma once
#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Platform.h"
#include "platform/Threading.h"

namespace mova {

class MyDebugMsg {
public:
    static constexpr const char* kMailslotName = "\\\\.\\mailslot\\KSDW_DEBUG";

    enum class OutputMode { Mailslot, Off };

    explicit MyDebugMsg(Platform& platform);
    virtual ~MyDebugMsg();  // ends the search
    MyDebugMsg(const MyDebugMsg&) = delete;
    MyDebugMsg& operator=(const MyDebugMsg&) = delete;

    void setPrefix(std::string_view prefix);  // put in front of every message; empty: none
    void setOutputMode(OutputMode mode);
    void post(std::string_view message) noexcept;  // from any thread; lost when there is no memory for it
    bool hasListener() noexcept;  // looks for a listener when none is known, as a post does; from any thread

private:
    struct Probe;  // what the searching thread touches; it holds its own reference

    void lookForListener();
    void send(const std::string& text);

    Platform& platform_;
    std::atomic<OutputMode> outputMode_{OutputMode::Mailslot};
    std::shared_ptr<Probe> probe_;

    Mutex mutex_;
    std::unique_ptr<Thread> probeThread_ MOVA_GUARDED_BY(mutex_);
    std::string prefix_ MOVA_GUARDED_BY(mutex_);
    DatagramChannel::Handle mailslot_ MOVA_GUARDED_BY(mutex_) = DatagramChannel::kInvalid;
};

}  // namespace mova
