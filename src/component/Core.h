// The parts of one command manager, composed. The manager and its reader thread each hold a reference, so that nothing
// goes before the thread that uses it has ended.
#pragma once
#include <memory>
#include <optional>
#include <string>

#include "atchannel/AtCommands.h"
#include "atchannel/AtProperties.h"
#include "atchannel/DeviceInfo.h"
#include "component/EventOutbox.h"
#include "component/MyCallback.h"
#include "component/ReaderThread.h"
#include "device/DirectAccess.h"
#include "device/HandsetPort.h"
#include "logging/FileLog.h"
#include "logging/MyDebugMsg.h"
#include "logging/VersionBanner.h"
#include "services/E2pRequests.h"
#include "services/HciWifiActions.h"
#include "services/RequestSender.h"
#include "services/RfRequests.h"
#include "services/TrafficTrace.h"
#include "transport/Answers.h"
#include "transport/RecordEvents.h"
#include "transport/Session.h"

namespace mova {

struct Core final : RecordEvents {
    Core(Platform& platform, std::shared_ptr<ConfirmationEvents> events);

    static Code startReader(const std::shared_ptr<Core>& core);
    // Between two passes of the reader: see ReaderThread::Work.
    static std::uint32_t readerRest(const std::shared_ptr<Core>& core, Event& call) noexcept;
    static void receivePass(const std::shared_ptr<Core>& core) noexcept;

    void completed(const MovaRetCmdTag& record) MOVA_REQUIRES(portLockRole) override;
    // Raises what the pass completed, on this thread, with the port's lock let go of. What called the pass goes on with
    // the lock held again; meanwhile the reader thread makes no pass, so that it takes no answer of an exchange that is
    // under way.
    void passEnded() MOVA_REQUIRES(portLockRole) override;
    // Whether there is nothing that the reader's next pass could find but new bytes.
    bool nothingToDo() MOVA_REQUIRES(portLockRole);
    // Whoever lets go of the port's lock calls the reader when it has left something behind for it.
    void callReader() MOVA_REQUIRES(portLockRole);
    void statusText(const std::string& text) { trace.record(TraceKind::FreeText, text); }
    void tellListener(void (ConfirmationEvents::*what)()) noexcept;

    Platform& platform;
    std::shared_ptr<ConfirmationEvents> events;
    Session session;
    FileLog log MOVA_GUARDED_BY(portLockRole);
    MyDebugMsg debug;
    VersionTexts version;
    TrafficTrace trace;
    MyCallback<Core> callback;  // before the port, which may still report to it at its own end
    HandsetPort port;
    Answers answers;
    RequestSender sender;
    RfRequests rf;
    E2pRequests e2p;
    HciWifiActions actions;
    AtCommands at;
    AtProperties properties;
    DeviceInfo info;
    DirectAccess direct;
    ReaderThread reader;
    EventOutbox outbox;

    int lockDepth MOVA_GUARDED_BY(portLockRole) = 0;  // times that the lock's holder holds it
    // The port whose bytes the reader rests for; none while it does not rest, kInvalidPort while no port is open.
    std::optional<PortHandle> readerRestsFor MOVA_GUARDED_BY(portLockRole);
    // Calls of other threads than the reader's that have let go of it to raise an event.
    int interrupted MOVA_GUARDED_BY(portLockRole) = 0;
};

// Holds the port's lock, and the core, which a listener may otherwise end.
class MOVA_SCOPED_CAPABILITY PortLock {
public:
    explicit PortLock(std::shared_ptr<Core> core) MOVA_ACQUIRE(portLockRole);
    ~PortLock() MOVA_RELEASE();
    PortLock(const PortLock&) = delete;
    PortLock& operator=(const PortLock&) = delete;

private:
    std::shared_ptr<Core> core_;
};

}  // namespace mova
