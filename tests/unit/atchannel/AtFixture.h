// The AT layer on the scripted platform: a port on COM7, answers into the queue, the trace recorded.
#pragma once
#include "atchannel/AtChannel.h"
#include "atchannel/AtProperties.h"
#include "atchannel/DeviceInfo.h"
#include "unit/services/ServicesFixture.h"

namespace mova {

class AtLayerTest : public ServicesTest {
protected:
    AtChannel at{platform, port, answers, session, debug, trace};
    AtProperties properties{platform, port, at, session, trace};
    E2pRequests e2p{platform, sender, answers, session};
    DeviceInfo info{platform, at, e2p};
};

}  // namespace mova
