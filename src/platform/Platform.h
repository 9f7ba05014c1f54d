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

// The platform of the running system lives as long as the module.
Platform& nativePlatform();

// nativePlatform() heeds these variables of the environment on Linux: the folder of the COMn links, and the folder of
// the datagram sockets and lock files.

}  // namespace mova
