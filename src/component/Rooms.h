// The rooms of one command manager, composed. The manager and its reader thread each hold a reference, so that nothing
// goes before the thread that uses it has ended.
#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "atchannel/AtChannel.h"
#include "atchannel/AtProperties.h"
#include "atchannel/DeviceInfo.h"
#include "mova/CVeCmdManager.h"
#include "component/MyCallback.h"
#include "component/ReaderThread.h"
#include "device/DirectAccess.h"
#include "device/HandsetPort.h"
#include "logging/MyDebugMsg.h"
#include "logging/VersionBanner.h"
#include "platform/Platform.h"
#include "services/E2pRequests.h"
#include "services/HciWifiActions.h"
#include "services/RequestSender.h"
#include "services/RfRequests.h"
#include "services/TrafficTrace.h"
#include "transport/AnswerChannel.h"
#include "transport/ReceiveEngine.h"
#include "transport/Session.h"

namespace mova {

struct Rooms : RecordSink {
    Rooms(Platform& platform, std::shared_ptr<ConfirmationEvents> events);

    static std::uint32_t startReader(const std::shared_ptr<Rooms>& rooms);
    static void receivePass(const std::shared_ptr<Rooms>& rooms) noexcept;

    // A finished record goes to the queue or, in the unsolicited mode, out as an event.
    void deliver(MovaRetCmdTag record) override;
    void statusText(const std::string& text) { trace.record(TraceKind::FreeText, text); }

    struct Confirmation {
        std::int32_t lParam;
        std::string text;
    };
    void tellListener(void (ConfirmationEvents::*what)()) noexcept;
    void raise(const std::vector<Confirmation>& confirmations) noexcept;

    Platform& platform;
    std::shared_ptr<ConfirmationEvents> events;
    Session session;
    MyDebugMsg debug;
    VersionTexts version;
    TrafficTrace trace;
    MyCallback<Rooms> callback;  // before the port, which may still report to it at its own end
    HandsetPort port;
    AnswerChannel answers;
    RequestSender sender;
    RfRequests rf;
    E2pRequests e2p;
    HciWifiActions actions;
    AtChannel at;
    AtProperties properties;
    DeviceInfo info;
    DirectAccess direct;
    ReaderThread reader;

    // Guarded by the port's lock.
    int tenures = 0;
    std::vector<Confirmation> outbox;  // raised once the lock is free
};

// The text and length with which a record is raised as an event.
Rooms::Confirmation confirmationOf(const MovaRetCmdTag& record);

// Holds the port's lock; what was delivered meanwhile is raised, on this thread, after the lock is free again.
class Tenure {
public:
    explicit Tenure(std::shared_ptr<Rooms> rooms);
    ~Tenure();
    Tenure(const Tenure&) = delete;
    Tenure& operator=(const Tenure&) = delete;

private:
    std::shared_ptr<Rooms> rooms_;  // a listener may release the manager
};

}  // namespace mova
