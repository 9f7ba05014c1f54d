#include "viewer/SocketReceiver.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
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
#include "platform/posix/PrivateFolder.h"

namespace mova::viewer {

namespace {

volatile std::sig_atomic_t interruption = 0;

extern "C" void noteInterruption(int) { interruption = 1; }

std::string whyNot(const std::string& path) {
    return path + " cannot be listened on: " + std::generic_category().message(errno);
}

FileDescriptor makeSocket(int type) { return FileDescriptor(socket(AF_UNIX, type | SOCK_CLOEXEC, 0)); }

// Through the opened folder: what stands at the folder's name may be another one by now.
sockaddr_un addressOf(const FileDescriptor& folder, const std::string& entry) {
    const std::string path = pathThrough(folder, entry);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), std::min(path.size(), sizeof address.sun_path - 1));
    return address;
}

const sockaddr* generic(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

// Held as long as the process lives, however it ends. The file stays: who removed it could remove one that is held.
FileDescriptor claim(const FileDescriptor& folder, const std::string& path) {
    constexpr int kFlags = O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    const std::string entry = entryName(MyDebugMsg::kMailslotName, ".lock");
    FileDescriptor claimed(uninterrupted([&] { return openat(folder.get(), entry.c_str(), kFlags, 0600); }));
    if (!claimed || flock(claimed.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK)
            throw ChannelError("another viewer is already listening on " + path + "; end it first");
        throw ChannelError(whyNot(path));
    }
    return claimed;
}

// What a viewer left behind that was ended by force; a listener of another kind is left alone. The component speaks to
// no socket of another user (root's: nobody else gets into the folder), which therefore is told apart.
void removeStale(const FileDescriptor& folder, const std::string& entry, const std::string& path) {
    struct stat status {};
    if (fstatat(folder.get(), entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
    if (status.st_uid != geteuid()) {
        throw ChannelError(path + " belongs to another user (" + std::to_string(status.st_uid) +
                           "), to whom your programs say nothing; remove it first");
    }
    const sockaddr_un address = addressOf(folder, entry);
    const FileDescriptor probe = makeSocket(SOCK_DGRAM);
    if (connect(probe.get(), generic(address), sizeof address) == 0) {
        throw ChannelError("another program is already listening on " + path + "; end it first");
    }
    if (errno == ECONNREFUSED) unlinkat(folder.get(), entry.c_str(), 0);
}

class SocketReceiver final : public Receiver {
public:
    explicit SocketReceiver(const PrivateFolder& place)
        : folder_(place.make()),
          entry_(entryName(MyDebugMsg::kMailslotName, ".sock")),
          path_(place.path() + "/" + entry_) {
        if (!folder_) {
            throw ChannelError("there is no folder of your own to listen in: " + place.whyNot() + "; set " +
                               variable::kRuntimeDir + " to a folder that only you may enter (mode 700)");
        }
        claimed_ = claim(folder_, path_);
        removeStale(folder_, entry_, path_);
        const sockaddr_un address = addressOf(folder_, entry_);
        socket_ = makeSocket(SOCK_DGRAM | SOCK_NONBLOCK);
        constexpr int kRoom = 4 << 20;  // the system may give less
        setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &kRoom, sizeof kRoom);
        if (!socket_ || bind(socket_.get(), generic(address), sizeof address) != 0) throw ChannelError(whyNot(path_));
    }
    ~SocketReceiver() override {
        if (isOwnSocket(folder_, entry_)) unlinkat(folder_.get(), entry_.c_str(), 0);
    }

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
    FileDescriptor folder_;
    std::string entry_;
    std::string path_;
    FileDescriptor claimed_;
    FileDescriptor socket_;
};

}  // namespace

std::unique_ptr<Receiver> listenIn(const std::string& folder) {
    return std::make_unique<SocketReceiver>(PrivateFolder(folder));
}

std::unique_ptr<Receiver> listenOnDebugChannel() { return std::make_unique<SocketReceiver>(PrivateFolder()); }

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
