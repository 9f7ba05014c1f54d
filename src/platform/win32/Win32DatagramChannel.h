// The message channels are mailslots, which are written to as files.
#pragma once
#include "platform/DatagramChannel.h"

namespace mova {

class Win32DatagramChannel final : public DatagramChannel {
public:
    Handle open(const std::string& name) override;
    bool write(Handle channel, std::string_view message) override;
    void close(Handle channel) override;
};

}  // namespace mova
