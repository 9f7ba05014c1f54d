#include "handset/E2pStore.h"

#include <sstream>

#include "handset/Frames.h"

namespace mova::handset {

E2pStore E2pStore::erased() {
    struct Size {
        std::uint16_t object;
        std::uint16_t record;
        std::size_t bytes;
    };
    E2pStore store;
    for (const Size& size : {Size{4097, 1, 64}, Size{4099, 1, 64}, Size{4099, 2, 96}, Size{4099, 7, 32},
                             Size{4256, 1, 16}, Size{4260, 1, 24}, Size{36895, 1, 512}, Size{0x1234, 1, 16},
                             Size{0x1234, 2, 2}, Size{0x2000, 1, 256}, Size{0x2000, 2, 5100}}) {
        store.put(size.object, size.record, std::string(size.bytes, '\xFF'));
    }
    return store;
}

bool E2pStore::has(std::uint16_t object) const {
    const auto first = objects_.lower_bound({object, 0});
    return first != objects_.end() && first->first.first == object;
}

std::string* E2pStore::find(std::uint16_t object, std::uint16_t record) {
    const auto found = objects_.find({object, record});
    return found == objects_.end() ? nullptr : &found->second;
}

void E2pStore::put(std::uint16_t object, std::uint16_t record, std::string bytes) {
    objects_[{object, record}] = std::move(bytes);
}

std::string E2pStore::toText() const {
    std::string text = "# object record data\n";
    for (const auto& [key, bytes] : objects_) {
        text += std::to_string(key.first) + " " + std::to_string(key.second) + " " + toHex(bytes) + "\n";
    }
    return text;
}

std::optional<E2pStore> E2pStore::fromText(const std::string& text, std::string& error) {
    E2pStore store;
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        line.resize(std::min(line.find('#'), line.size()));
        std::istringstream fields(line);
        unsigned object = 0, record = 0;
        std::string hex, more;
        if (!(fields >> object)) {
            if (line.find_first_not_of(" \t\r") == line.npos) continue;
            error = "line " + std::to_string(number) + ": no object number";
            return std::nullopt;
        }
        const bool complete = static_cast<bool>(fields >> record >> hex);
        const auto bytes = fromHex(hex);
        if (!complete || (fields >> more) || object > 0xFFFF || record > 0xFFFF || !bytes) {
            error = "line " + std::to_string(number) + ": expected object, record and hexadecimal data";
            return std::nullopt;
        }
        store.put(static_cast<std::uint16_t>(object), static_cast<std::uint16_t>(record), *bytes);
    }
    return store;
}

}  // namespace mova::handset
