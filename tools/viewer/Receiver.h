// The receiving end of the debug channel: one viewer on a machine (on Linux: of a user) holds it.
#pragma once
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace mova::viewer {

// The channel cannot be listened on: another viewer does, or the system refuses. The text says what to do.
class ChannelError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Receiver {
public:
    virtual ~Receiver() = default;  // frees the channel

    // The next message, whole; nothing when none came within the time or a signal ended the wait. Throws ChannelError
    // when the channel is lost.
    virtual std::optional<std::string> next(int milliseconds) = 0;

    virtual std::string channelName() const = 0;  // "\\.\mailslot\KSDW_DEBUG", "/run/user/1000/KSDW_DEBUG.sock"
};

// Where the component of this system posts to. Throws ChannelError.
std::unique_ptr<Receiver> listenOnDebugChannel();

// From here on Ctrl-C and the like only set what interrupted() tells.
void catchInterruption();
bool interrupted();

// The file would stand until somebody reads it.
bool isPipeWithoutReader(const std::string& path);
// The file is a pipe that nobody reads any more, as far as the system tells.
bool readerGone(std::FILE* file);

}  // namespace mova::viewer
