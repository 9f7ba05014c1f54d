// The message channel is a local datagram socket: "\\.\mailslot\NAME" is NAME.sock in the private folder, which the
// listener binds. A listener of another user is none. A datagram cannot be taken back once it is sent, and its socket
// does not tell who listens: so the owner is looked at where only this user and root can put a socket.
// Sending never waits: what a full listener cannot take is dropped and counts as sent.
#pragma once
#include "platform/DatagramChannel.h"
#include "platform/posix/PrivateFolder.h"

namespace mova {

class UnixDatagramChannel final : public DatagramChannel {
public:
    explicit UnixDatagramChannel(const std::string& privateDir) : folder_(privateDir) {}

    Handle open(const std::string& name) override;
    bool write(Handle channel, std::string_view message) override;  // false when the listener is gone
    void close(Handle channel) override;

private:
    PrivateFolder folder_;
};

}  // namespace mova
