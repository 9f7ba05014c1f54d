// A test station in real time: the command manager on a pseudo-terminal with the simulated handset behind it.
// Machines are noisy, so waits for answers are long; tests of missing answers shorten them.
#pragma once
#include <unistd.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "handset/PtyHandset.h"
#include "mova/CVeCmdManager.h"
#include "platform/posix/PosixPlatform.h"
#include "unit/platform/TempFolder.h"

namespace mova::line {

using handset::Fault;
using handset::Handset;
using handset::Profile;
using handset::PtyHandset;

constexpr std::uint32_t kNotOpen = 0x4000;

// A test that takes longer is ended with its process.
class Hangs {
public:
    Hangs() { alarm(600); }
    ~Hangs() { alarm(0); }
};

// Until the condition holds; false when it does not within the generous limit.
inline bool waitUntil(const std::function<bool()>& condition) {
    constexpr std::chrono::seconds kGenerousLimit(120);
    const auto deadline = std::chrono::steady_clock::now() + kGenerousLimit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

inline Profile atOnce(bool echo = true) {
    Profile profile;
    profile.baudRate = 0;
    profile.echo = echo;
    return profile;
}

// A folder of port links and channels of its own, and the system seen through it.
class Bench {
public:
    Bench() : posix_({folder_.path().string(), folder_.path().string(), folder_.path().string()}) {}
    Platform& platform() { return posix_.platform(); }
    std::string link(int port) const { return folder_.file("COM" + std::to_string(port)); }
    std::string file(const std::string& name) const { return folder_.file(name); }

private:
    TempFolder folder_;
    PosixPlatform posix_;
};

inline std::string twoDigits(int number) {
    constexpr const char* kDigits = "0123456789ABCDEF";
    return {kDigits[number / 16 % 16], kDigits[number % 16]};
}

class RecordingEvents final : public ConfirmationEvents {
public:
    struct Event {
        std::int32_t type;
        std::int32_t parameter;
        std::string text;
        bool operator==(const Event&) const = default;
    };

    void OnCpGetMovaCnf(std::int32_t lType, std::int32_t lParam, const std::string& text) override {
        const std::lock_guard guard(mutex_);
        events_.push_back({lType, lParam, text});
    }
    std::vector<Event> events() const {
        const std::lock_guard guard(mutex_);
        return events_;
    }
    bool has(const std::string& text) const {
        for (const Event& event : events()) {
            if (event.text == text) return true;
        }
        return false;
    }

private:
    mutable std::mutex mutex_;
    std::vector<Event> events_;
};

enum class Timeout : std::int32_t { RfAcknowledgement = 3, TextAcknowledgement = 4, AtWrite = 5 };

class LineStation {
public:
    static constexpr std::int32_t kPort = 3;
    static constexpr std::int32_t kPatience = 200'000;     // milliseconds; a longer one would be taken as 500
    static constexpr std::uint32_t kAnswersEndWithOk = 3;  // operating mode

    explicit LineStation(Profile profile = atOnce(), std::shared_ptr<ConfirmationEvents> events = nullptr)
        : handset(std::move(profile), bench.link(kPort)), manager(bench.platform(), std::move(events)) {
        manager.put_CommPortId(kPort);
        setTimeout(Timeout::RfAcknowledgement, kPatience);
        setTimeout(Timeout::TextAcknowledgement, kPatience);
        setTimeout(Timeout::AtWrite, kPatience);
    }

    Code open(std::uint32_t mode = kAnswersEndWithOk) {
        const Code opened = manager.InitCmdManager(0);
        return opened != Code::Success ? opened : manager.SwitchOperateMode(mode, 0);
    }

    void setTimeout(Timeout which, std::int32_t milliseconds) {
        manager.AssignTimeoutConstant(static_cast<std::int32_t>(which), milliseconds);
    }

    void fault(Fault which, int answers = 1) {
        handset.with([&](Handset& h) { h.faults().set(which, answers); });
    }

    // Sends a command and collects the answer, whose length on the line is known.
    std::string at(const std::string& command, std::int32_t lengthOnTheLine) {
        const Code sent = manager.SendNormalAtCmd(0, command);
        if (sent != Code::Success) return "not sent: " + std::to_string(number(sent));
        if (!waitUntil([&] { return manager.DirectQueryDataInQueue() >= lengthOnTheLine; })) return "too short";
        return manager.GetNormalAtResult(1).text;
    }

    // The next confirmation's payload in hexadecimal text; empty when none comes.
    std::string confirmation() {
        std::string payload;
        waitUntil([&] {
            payload = manager.FetchQueuedCnfTextItem().data;
            return !payload.empty();
        });
        return payload;
    }

    Bench bench;
    PtyHandset handset;
    CVeCmdManager manager;
};

}  // namespace mova::line
