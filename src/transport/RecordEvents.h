// How finished answers travel up in the unsolicited mode, instead of into the queue.
#pragma once
#include "device/PortLockRole.h"
#include "transport/MovaRetCmdTag.h"

namespace mova {

class RecordEvents {
public:
    virtual ~RecordEvents() = default;
    // On the thread that runs the receive engine, which holds the port's lock.
    virtual void completed(const MovaRetCmdTag& record) MOVA_REQUIRES(portLockRole) = 0;
    // The same, after a receive pass, and before what called it goes on. May let go of the port's lock meanwhile.
    virtual void passEnded() MOVA_REQUIRES(portLockRole) = 0;
};

}  // namespace mova
