// A device tree written down by the test:
//
//     keys.add("SYSTEM\\CurrentControlSet\\Enum\\ACPI\\PNP0501\\1",
//              {{"FriendlyName", "Communications Port (COM1)"}, {"UpperFilters", "serenum"}});
//     keys.add("...\\Control", {{"DeviceReference", 0x80u}});
//
// Parents come into being by themselves; subkeys enumerate in the order of their making. A text value has its
// terminating zero, as the registry keeps it; KeyValue::raw has exactly the bytes given.
#pragma once
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/KeyTree.h"
#include "support/ScriptedCore.h"

namespace mova {

struct KeyValue {
    KeyValue(const char* text) : bytes(std::string(text) + '\0') {}  // NOLINT: meant as a literal
    KeyValue(const std::string& text) : bytes(text + '\0') {}        // NOLINT
    KeyValue(std::uint32_t number);                                  // NOLINT: 4 bytes, low byte first
    static KeyValue raw(std::string bytes) {
        KeyValue value("");
        value.bytes = std::move(bytes);
        return value;
    }
    std::string bytes;
};

class ScriptedKeyTree : public KeyTree {
public:
    using Values = std::vector<std::pair<std::string, KeyValue>>;

    explicit ScriptedKeyTree(ScriptedCore& core) : core_(core) {}

    ScriptedKeyTree& add(const std::string& path, const Values& values = {});  // adds to or replaces what is there
    void remove(const std::string& path);                                      // with everything below
    std::vector<std::string> opened() const;  // paths in the order in which they were tried, failed ones too
    std::size_t openKeys() const { return open_.size(); }

    Key open(const std::string& path, KeyAccess access) override;
    bool subkey(Key key, std::uint32_t index, std::string& name) override;
    bool value(Key key, const std::string& name, void* buffer, std::size_t& size) override;
    void close(Key key) override;

private:
    struct Node {
        std::vector<std::string> children;
        std::map<std::string, std::string> values;
    };
    struct OpenKey {
        std::string path;
        KeyAccess access;
    };
    const OpenKey* find(Key key) const;
    const Node* nodeOf(const OpenKey& key) const;

    ScriptedCore& core_;
    std::map<std::string, Node> nodes_;
    std::map<Key, OpenKey> open_;
    Key nextKey_ = 1;
};

}  // namespace mova
