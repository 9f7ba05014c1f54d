// How finished answers travel up in the unsolicited mode, instead of into the queue.
#pragma once
#include "transport/MovaRetCmdTag.h"

namespace mova {

class RecordEvents {
public:
    virtual ~RecordEvents() = default;
    // On the thread that runs the receive engine, which holds the port's lock.
    virtual void completed(const MovaRetCmdTag& record) = 0;
    // The same, after a receive pass, and before what called it goes on. May let go of the port's lock meanwhile.
    virtual void passEnded() = 0;
};

}  // namespace mova
