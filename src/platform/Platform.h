// Everything that is asked of the operating system, in one place to hand around.
#pragma once
#include "platform/Clock.h"
#include "platform/DatagramChannel.h"
#include "platform/Files.h"
#include "platform/Host.h"
#include "platform/KeyTree.h"
#include "platform/SerialDriver.h"
#include "platform/Sync.h"

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

// The running system's. Lives as long as the module.
Platform& nativePlatform();

}  // namespace mova
