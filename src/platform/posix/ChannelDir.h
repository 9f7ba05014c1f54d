// Where processes of one machine meet: the folder of the datagram sockets and lock files.
#pragma once
#include <string>
#include <string_view>

namespace mova {

// $XDG_RUNTIME_DIR, or /tmp without it.
std::string defaultChannelDir();

// "\\.\mailslot\NAME", "Global\NAME" and "NAME" all give folder/NAME and the suffix.
std::string channelPath(const std::string& folder, std::string_view name, std::string_view suffix);

}  // namespace mova
