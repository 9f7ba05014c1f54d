#include "platform/win32/Win32DatagramChannel.h"

#include <limits>
#include <memory>

#include "platform/win32/OwnedHandle.h"

namespace mova {

namespace {

constexpr DWORD kAttributes = FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OVERLAPPED;

// A DatagramChannel::Handle points to one of these.
struct Channel {
    OwnedHandle slot;
    OwnedHandle written;  // event
};

Channel* channelOf(DatagramChannel::Handle channel) { return reinterpret_cast<Channel*>(channel); }

}  // namespace

DatagramChannel::Handle Win32DatagramChannel::open(const std::string& name) {
    auto channel = std::make_unique<Channel>();
    channel->slot = OwnedHandle(CreateFileA(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                            OPEN_EXISTING, kAttributes, nullptr));
    if (!channel->slot) return kInvalid;
    channel->written = OwnedHandle(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    return channel->written ? reinterpret_cast<Handle>(channel.release()) : kInvalid;
}

// One call is one message. Where a slot that is full lets its writers wait, the message is dropped instead.
bool Win32DatagramChannel::write(Handle channel, std::string_view message) {
    if (message.size() > std::numeric_limits<DWORD>::max()) return false;
    const Channel& to = *channelOf(channel);
    OVERLAPPED record{};
    record.hEvent = to.written.get();
    DWORD count = 0;
    if (!WriteFile(to.slot.get(), message.data(), static_cast<DWORD>(message.size()), nullptr, &record)) {
        if (GetLastError() != ERROR_IO_PENDING) return false;
        CancelIo(to.slot.get());
    }
    return GetOverlappedResult(to.slot.get(), &record, &count, TRUE) || GetLastError() == ERROR_OPERATION_ABORTED;
}

void Win32DatagramChannel::close(Handle channel) { delete channelOf(channel); }

}  // namespace mova
