// Message channels by name, with or without somebody who listens. Nobody does until listen().
#pragma once
#include <map>
#include <string>
#include <vector>

#include "platform/DatagramChannel.h"
#include "support/ScriptedCore.h"

namespace mova {

class ScriptedDatagramChannel : public DatagramChannel {
public:
    struct Message {
        VirtualTime when;
        std::string channel;
        std::string text;
    };

    explicit ScriptedDatagramChannel(ScriptedCore& core) : core_(core) {}

    void listen(const std::string& name);
    void vanish(const std::string& name);  // writes to what is open fail from now on, also when a new one listens
    void stall(VirtualTime perWrite) { stall_ = perWrite; }  // a viewer that takes its time with each message

    const std::vector<Message>& messages() const { return messages_; }
    std::vector<std::string> texts() const;
    void clear() { messages_.clear(); }
    std::size_t openChannels() const { return open_.size(); }

    Handle open(const std::string& name) override;
    bool write(Handle channel, std::string_view message) override;
    void close(Handle channel) override;

private:
    struct Open {
        std::string name;
        unsigned listener;
    };

    ScriptedCore& core_;
    std::map<std::string, unsigned> listeners_;
    std::map<Handle, Open> open_;
    std::vector<Message> messages_;
    VirtualTime stall_{0};
    unsigned nextListener_ = 1;
    Handle nextHandle_ = 1;
};

}  // namespace mova
