// SysfsKeyTree shows the serial devices of sysfs as a device tree in the shape that port discovery searches:
//   SYSTEM\CurrentControlSet\Enum \ bus \ driver \ COMn      for each port that PortLinks leads to a device,
// with the values "FriendlyName" ("name (COMn)") and "UpperFilters" ("serenum"), texts with a terminating zero.
// bus is "USB" for what sits on USB, else "ROOT". The name is the one under which the driver's counterpart on Windows
// lists the port, so that one table classifies both; for an unknown driver, in this order: the USB product's or
// interface's own text, the driver's name, "Pseudo-terminal", the device's name.
// A key is read when it is opened and stays as it was then.
#pragma once
#include <filesystem>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/KeyTree.h"
#include "platform/Threading.h"
#include "platform/posix/PortLinks.h"

namespace mova {

class SysfsKeyTree final : public KeyTree {
public:
    SysfsKeyTree(PortLinks links, std::filesystem::path sysDir)
        : links_(std::move(links)), sysDir_(std::move(sysDir)) {}

    Key open(const std::string& path, KeyAccess access) override;
    bool subkey(Key key, std::uint32_t index, std::string& name) override;
    bool value(Key key, const std::string& name, void* buffer, std::size_t& size) override;
    void close(Key key) override;

private:
    struct PortEntry {
        std::string bus;
        std::string driver;
        std::string link;  // COMn, or what else PortLinks calls it
        std::string friendlyName;
    };
    struct OpenKey {
        KeyAccess access = KeyAccess::Query;
        std::vector<std::string> subkeys;
        std::map<std::string, std::string> values;
    };

    std::optional<PortEntry> portEntry(const std::string& link) const;
    std::optional<OpenKey> portKey(const std::vector<std::string_view>& names) const;
    std::optional<OpenKey> folderKey(const std::vector<std::string_view>& names) const;
    const OpenKey* find(Key key) const MOVA_REQUIRES(mutex_);

    const PortLinks links_;
    const std::filesystem::path sysDir_;
    Mutex mutex_;
    Key lastKey_ MOVA_GUARDED_BY(mutex_) = kNoKey;
    std::map<Key, OpenKey> open_ MOVA_GUARDED_BY(mutex_);
};

}  // namespace mova
