#include "support/ScriptedPlatform.h"

#include <gtest/gtest.h>

namespace mova {

ScriptedPlatform::ScriptedPlatform()
    : serial_(core_),
      threading_(core_),
      clock_(core_),
      keys_(core_),
      datagrams_(core_),
      files_(core_),
      host_(core_),
      platform_{serial_, threading_, clock_, keys_, datagrams_, files_, host_} {}

ScriptedPlatform::~ScriptedPlatform() {
    core_.scheduler.shutDown();
    if (!leaksAllowed_ && !leaks().empty()) ADD_FAILURE() << "left open at the platform's end: " << leaks();
}

ScriptedPort& ScriptedPlatform::withPort(int number, const std::string& friendlyName) {
    const std::string name = printed("COM%d", number);
    keys_.add("SYSTEM\\CurrentControlSet\\Enum\\ACPI\\PNP0501\\" + std::to_string(number),
              {{"FriendlyName", friendlyName.empty() ? "Communications Port (" + name + ")" : friendlyName},
               {"UpperFilters", "serenum"}});
    return serial_.add("\\\\.\\" + name);
}

void ScriptedPlatform::withDebugViewer() { datagrams_.listen("\\\\.\\mailslot\\KSDW_DEBUG"); }

std::int64_t ScriptedPlatform::elapsed() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(core_.scheduler.now()).count();
}

void ScriptedPlatform::at(VirtualTime when, std::function<void()> action) {
    core_.scheduler.at(when, std::move(action));
}

void ScriptedPlatform::after(VirtualTime delay, std::function<void()> action) { at(now() + delay, std::move(action)); }

void ScriptedPlatform::advance(std::uint32_t milliseconds) {
    core_.scheduler.wait(nullptr, nullptr, milliseconds);
    settle();
}

bool ScriptedPlatform::advanceUntil(const std::function<bool()>& reached, std::uint32_t limitMilliseconds) {
    for (std::uint32_t passed = 0; !reached(); ++passed) {
        if (passed == limitMilliseconds) return false;
        advance(1);
    }
    return true;
}

std::string ScriptedPlatform::leaks() const {
    std::string text;
    const auto count = [&](std::size_t open, const char* what) {
        if (open > 0) text += (text.empty() ? "" : ", ") + std::to_string(open) + " " + what;
    };
    // A handle whose closing was made to fail is not the code's own leak.
    const bool closeFailed = core_.failures.delivered(Op::Close) > 0;
    count(closeFailed ? 0 : serial_.openHandles(), "port handles");
    count(serial_.pendingTransfers(), "pending transfers");
    count(keys_.openKeys(), "keys");
    count(datagrams_.openChannels(), "channels");
    count(files_.openFiles(), "files");
    return text;
}

}  // namespace mova
