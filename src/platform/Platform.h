// Platform gathers everything that is asked of the operating system, so that it can be handed around as one.
#pragma once
#include "platform/Clock.h"
#include "platform/DatagramChannel.h"
#include "platform/Files.h"
#include "platform/Host.h"
#include "platform/KeyTree.h"
#include "platform/SerialDriver.h"
#include "platform/Threading.h"

namespace mova {

struct Platform {
    SerialDriver& serial;
    Threading& threading;
    Clock& clock;
    KeyTree& keys;
    DatagramChannel& datagrams;
    Files& files;
    Host& host;
};

// The platform of the running system lives as long as the module. On Linux variables of the environment say where the
// COMn links are, and the private folder of the datagram sockets and lock files.
Platform& nativePlatform();

}  // namespace mova
