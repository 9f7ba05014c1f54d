#include "platform/win32/Win32DatagramChannel.h"

#include "platform/win32/FileWrite.h"

namespace mova {

namespace {
HANDLE handleOf(DatagramChannel::Handle channel) { return reinterpret_cast<HANDLE>(channel); }
}  // namespace

DatagramChannel::Handle Win32DatagramChannel::open(const std::string& name) {
    return reinterpret_cast<Handle>(CreateFileA(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                                nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool Win32DatagramChannel::write(Handle channel, std::string_view message) {
    return writeWhole(handleOf(channel), message);  // one call is one message
}

void Win32DatagramChannel::close(Handle channel) { CloseHandle(handleOf(channel)); }

}  // namespace mova
