// One command manager, its port COM7 and a living handset, in virtual time: where a failure is tried out, and whether
// the object is of use again afterwards.
#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "handset/Handset.h"
#include "mova/CVeCmdManager.h"
#include "support/PeerDevice.h"
#include "support/ScriptedPlatform.h"

namespace mova {

enum class Card { Usb, Plain };  // Plain: requests are written byte by byte

// What the station does around the platform's calls and the listener's, for tests that count what the code does.
class Surroundings {
public:
    virtual ~Surroundings() = default;
    virtual Platform& around(Platform& platform) { return platform; }
    virtual void pause() {}  // what follows on this thread is the test's own
    virtual void resume() {}
};

class Station : public ConfirmationEvents {
public:
    static constexpr const char* kTraceFile = "C:\\logs\\trace.log";
    static constexpr const char* kLogFile = "C:\\logs\\handset.log";
    static constexpr std::uint32_t kEventMode = 1;

    Station(std::uint32_t mode, Card card, Surroundings& surroundings);
    ~Station() override;

    static bool isBackground(std::uint32_t mode) { return mode == 1 || mode == 2 || mode == 5; }
    bool isBackground() const { return isBackground(mode_); }
    std::uint32_t mode() const { return mode_; }

    void make();  // the manager, with viewer, trace file and log file
    void open();  // on COM7, in the station's mode
    // The port's handle of somebody else.
    std::int32_t lend();
    void takeBack();

    // What a situation does beside calling the manager.
    void aside(const std::function<void()>& what);
    void pass(std::uint32_t milliseconds) {
        aside([&] { platform.advance(milliseconds); });
    }
    void sendUnsolicited();

    // What went before is over: no more failures, the cable in, nothing half said on either side.
    void heal();
    // Opens anew where that is what a caller has to do. Empty when it worked.
    std::string reopen();
    // An E2P request, an AT command and an RF request with their answers, and no others. Empty when all is right.
    std::string tryOut();

    std::string leaks() const { return platform.leaks(); }

    ScriptedPlatform platform;
    ScriptedPort& port;
    handset::Handset handset;
    std::unique_ptr<CVeCmdManager> manager;
    std::vector<std::string> events;  // texts of the confirmations that were raised

private:
    void OnCpGetMovaCnf(std::int32_t lType, std::int32_t lParam, const std::string& text) override;

    std::string tryRequest();
    std::string tryCommand();
    std::string tryConfirmation();
    std::string tryEvent();

    std::uint32_t mode_;
    Surroundings& surroundings_;
    Platform& seen_;
    PeerAdapter<handset::Handset> peer_{handset};
    PortHandle lent_ = kInvalidPort;
};

}  // namespace mova
