// The handset's EEPROM: objects by identifier and record, each of a fixed size.
#pragma once
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace mova::handset {

class E2pStore {
public:
    using Key = std::pair<std::uint16_t, std::uint16_t>;  // object, record

    static E2pStore erased();  // the identity objects and some more, all 0xFF

    bool has(std::uint16_t object) const;
    std::string* find(std::uint16_t object, std::uint16_t record);  // bytes; null when there is none
    void put(std::uint16_t object, std::uint16_t record, std::string bytes);
    const std::map<Key, std::string>& objects() const { return objects_; }

    // One object a line: "4099 1 FFFF…"; "#" begins a comment. Errors are told with their line, else empty.
    std::string toText() const;
    static std::optional<E2pStore> fromText(const std::string& text, std::string& error);

private:
    std::map<Key, std::string> objects_;
};

}  // namespace mova::handset
