#include "viewer/SocketReceiver.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>

#include "base/Environment.h"
#include "logging/MyDebugMsg.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PosixFolders.h"

namespace mova::viewer {

namespace {

volatile std::sig_atomic_t interruption = 0;

extern "C" void noteInterruption(int) { interruption = 1; }

std::string whyNot(const std::string& path) {
    return path + " cannot be listened on: " + std::generic_category().message(errno);
}

FileDescriptor makeSocket(int type) { return FileDescriptor(socket(AF_UNIX, type | SOCK_CLOEXEC, 0)); }

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw ChannelError(path + " is too long for a socket's name; set " + variable::kRuntimeDir +
                           " to a shorter folder");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

const sockaddr* generic(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

// Held as long as the process lives, however it ends: a socket in the abstract namespace leaves no file behind.
FileDescriptor claim(const std::string& path) {
    FileDescriptor claimed = makeSocket(SOCK_STREAM);
    const std::string name = std::string(1, '\0') + "mova-viewer:" + path;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::size_t length = std::min(name.size(), sizeof address.sun_path);
    std::memcpy(address.sun_path, name.data(), length);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    if (!claimed || bind(claimed.get(), generic(address), size) != 0) {
        if (errno == EADDRINUSE)
            throw ChannelError("another viewer is already listening on " + path + "; end it first");
        throw ChannelError(whyNot(path));
    }
    return claimed;
}

// What a viewer left behind that was ended by force; a listener of another kind is left alone.
void removeStale(const std::string& path, const sockaddr_un& address) {
    const FileDescriptor probe = makeSocket(SOCK_DGRAM);
    if (connect(probe.get(), generic(address), sizeof address) == 0) {
        throw ChannelError("another program is already listening on " + path + "; end it first");
    }
    if (errno == ECONNREFUSED) unlink(path.c_str());
}

class SocketReceiver final : public Receiver {
public:
    explicit SocketReceiver(std::string path) : path_(std::move(path)) {
        const sockaddr_un address = addressOf(path_);
        claimed_ = claim(path_);
        removeStale(path_, address);
        socket_ = makeSocket(SOCK_DGRAM | SOCK_NONBLOCK);
        constexpr int kRoom = 4 << 20;  // the system may give less
        setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &kRoom, sizeof kRoom);
        if (!socket_ || bind(socket_.get(), generic(address), sizeof address) != 0) throw ChannelError(whyNot(path_));
    }
    ~SocketReceiver() override { unlink(path_.c_str()); }

    std::optional<std::string> next(int milliseconds) override {
        pollfd waited{socket_.get(), POLLIN, 0};
        if (poll(&waited, 1, milliseconds) <= 0) return std::nullopt;
        const auto size = recv(socket_.get(), nullptr, 0, MSG_PEEK | MSG_TRUNC);
        if (size < 0) return std::nullopt;
        std::string message(static_cast<std::size_t>(size), '\0');
        recv(socket_.get(), message.data(), message.size(), 0);
        return message;
    }
    std::string channelName() const override { return path_; }

private:
    std::string path_;
    FileDescriptor claimed_;
    FileDescriptor socket_;
};

}  // namespace

std::unique_ptr<Receiver> listenIn(const std::string& folder) {
    return std::make_unique<SocketReceiver>(channelPath(folder, MyDebugMsg::kMailslotName, ".sock"));
}

std::unique_ptr<Receiver> listenOnDebugChannel() { return listenIn(channelDir()); }

void catchInterruption() {
    struct sigaction action {};
    action.sa_handler = noteInterruption;  // without SA_RESTART: waits end
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);  // a reader that leaves shows as a failing write
}

bool interrupted() { return interruption != 0; }

bool isPipeWithoutReader(const std::string& path) {
    const FileDescriptor file(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    return !file && errno == ENXIO;
}

bool readerGone(std::FILE* file) {
    pollfd output{fileno(file), 0, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

}  // namespace mova::viewer
