// These folders are where the component finds its ports on Linux and where its own files are. Where processes meet is
// PrivateFolder's.
#pragma once
#include <string>
#include <string_view>

namespace mova {

constexpr const char* kDefaultDeviceDir = "/dev";

// The links COMn are in the folder that MOVA_DEVICE_DIR names, or in kDefaultDeviceDir without it.
std::string deviceDir();

// The user's own files that outlive a program are in the folder that XDG_STATE_HOME names, or in ~/.local/state without
// it. Empty: neither is told, or not from the root on.
std::string stateDir();

// "\\.\mailslot\NAME", "Global\NAME" and "NAME" all give NAME and the suffix: what stands for it in a private folder.
std::string entryName(std::string_view name, std::string_view suffix);

}  // namespace mova
