#include "support/ScriptedDatagramChannel.h"

namespace mova {

void ScriptedDatagramChannel::listen(const std::string& name) { listeners_[name] = nextListener_++; }

void ScriptedDatagramChannel::vanish(const std::string& name) { listeners_.erase(name); }

std::vector<std::string> ScriptedDatagramChannel::texts() const {
    std::vector<std::string> texts;
    for (const Message& message : messages_) texts.push_back(message.text);
    return texts;
}

DatagramChannel::Handle ScriptedDatagramChannel::open(const std::string& name) {
    const auto failure = core_.enter(Op::DatagramOpen, name);
    const auto listener = listeners_.find(name);
    const bool absent = listener == listeners_.end();
    core_.note(Op::DatagramOpen, name, "datagramOpen", absent ? "nobody listens" : ScriptedCore::outcomeOf(failure));
    if (failure || absent) return kInvalid;
    open_.emplace(nextHandle_, Open{name, listener->second});
    return nextHandle_++;
}

bool ScriptedDatagramChannel::write(Handle channel, std::string_view message) {
    const auto failure = core_.enter(Op::DatagramWrite, message);
    const auto open = open_.find(channel);
    if (open == open_.end()) {
        core_.complain("a write to a channel that is not open");
        return false;
    }
    if (stall_.count() > 0) core_.scheduler.passTime(stall_);
    const auto listener = listeners_.find(open->second.name);
    const bool gone = listener == listeners_.end() || listener->second != open->second.listener;
    core_.note(Op::DatagramWrite, open->second.name, "datagramWrite " + std::string(message),
               gone ? "listener gone" : ScriptedCore::outcomeOf(failure));
    if (failure || gone) return false;
    messages_.push_back({core_.scheduler.now(), open->second.name, std::string(message)});
    return true;
}

void ScriptedDatagramChannel::close(Handle channel) {
    core_.enter(Op::DatagramClose);
    if (open_.erase(channel) == 0) core_.complain("a channel is closed that is not open");
}

}  // namespace mova
