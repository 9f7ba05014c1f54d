// These folders are where the component finds its ports on Linux and where processes of one machine meet.
#pragma once
#include <string>
#include <string_view>

namespace mova {

constexpr const char* kDefaultDeviceDir = "/dev";

// The links COMn are in the folder that MOVA_DEVICE_DIR names, or in kDefaultDeviceDir without it.
std::string deviceDir();

// The datagram sockets and lock files are in the folder that XDG_RUNTIME_DIR names, or in /tmp without it.
std::string channelDir();

// "\\.\mailslot\NAME", "Global\NAME" and "NAME" all give folder/NAME and the suffix.
std::string channelPath(const std::string& folder, std::string_view name, std::string_view suffix);

}  // namespace mova
