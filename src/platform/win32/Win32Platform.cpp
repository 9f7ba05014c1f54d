#include <new>

#include "platform/Platform.h"
#include "platform/win32/Win32Clock.h"
#include "platform/win32/Win32DatagramChannel.h"
#include "platform/win32/Win32Files.h"
#include "platform/win32/Win32Host.h"
#include "platform/win32/Win32KeyTree.h"
#include "platform/win32/Win32SerialDriver.h"
#include "platform/win32/Win32Threading.h"

namespace mova {

namespace {

// None of them owns anything of the system, so nothing stays behind when the module goes.
struct Win32Platform {
    Win32SerialDriver serial;
    Win32Threading threading;
    Win32Clock clock;
    Win32KeyTree keys;
    Win32DatagramChannel datagrams;
    Win32Files files;
    Win32Host host;
    Platform platform{serial, threading, clock, keys, datagrams, files, host};
};

alignas(Win32Platform) unsigned char instanceStorage[sizeof(Win32Platform)];

// The instance is made with the module, so that no guard is needed on the way to it. It is never destroyed: threads may
// outlive main and, in a DLL, the last user.
// NOLINTNEXTLINE(cert-err58-cpp): a module that cannot have it cannot be loaded
Win32Platform& instance = *new (instanceStorage) Win32Platform;

}  // namespace

Platform& nativePlatform() { return instance.platform; }

}  // namespace mova
