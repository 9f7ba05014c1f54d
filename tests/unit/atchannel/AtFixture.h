// The AT layer on the scripted platform: a port on COM7, answers into the queue, the trace recorded.
#pragma once
#include "atchannel/AtCommands.h"
#include "atchannel/AtProperties.h"
#include "atchannel/DeviceInfo.h"
#include "unit/services/ServicesFixture.h"

namespace mova {

class AtLayerTest : public ServicesTest {
protected:
    AtCommands at{port, answers, session, log, debug, trace};
    AtProperties properties{platform, port, at, session, trace};
    E2pRequests e2p{sender, answers, log};
    DeviceInfo info{platform, at, e2p};
};

}  // namespace mova
