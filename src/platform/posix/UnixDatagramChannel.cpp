#include "platform/posix/UnixDatagramChannel.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PosixFolders.h"

namespace mova {

namespace {

// The listener is there but does not take this message: its queue is full or the message is larger than it.
bool isDropped(int error) { return error == EAGAIN || error == ENOBUFS || error == EMSGSIZE; }

}  // namespace

DatagramChannel::Handle UnixDatagramChannel::open(const std::string& name) {
    const FileDescriptor folder = folder_.open();
    const std::string entry = entryName(name, ".sock");
    if (!folder || !isOwnSocket(folder, entry)) return kInvalid;
    const std::string path = pathThrough(folder, entry);
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) return kInvalid;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    FileDescriptor channel(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!channel) return kInvalid;
    if (connect(channel.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return kInvalid;
    return channel.release();
}

bool UnixDatagramChannel::write(Handle channel, std::string_view message) {
    const auto sent = uninterrupted(
        [&] { return send(descriptorOf(channel), message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL); });
    return sent >= 0 || isDropped(errno);
}

void UnixDatagramChannel::close(Handle channel) { FileDescriptor(descriptorOf(channel)).reset(); }

}  // namespace mova
