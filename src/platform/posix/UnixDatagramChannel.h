// The message channel is a local datagram socket: "\\.\mailslot\NAME" is folder/NAME.sock, which the listener binds.
// Sending never waits: what a full listener cannot take is dropped and counts as sent.
#pragma once
#include "platform/DatagramChannel.h"

namespace mova {

class UnixDatagramChannel final : public DatagramChannel {
public:
    explicit UnixDatagramChannel(std::string folder) : folder_(std::move(folder)) {}

    Handle open(const std::string& name) override;
    bool write(Handle channel, std::string_view message) override;  // false when the listener is gone
    void close(Handle channel) override;

private:
    std::string folder_;
};

}  // namespace mova
