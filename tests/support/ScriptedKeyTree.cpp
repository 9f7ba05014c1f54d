#include "support/ScriptedKeyTree.h"

#include <algorithm>
#include <cstring>

namespace mova {

KeyValue::KeyValue(std::uint32_t number) {
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift & 0xFF);
}

ScriptedKeyTree& ScriptedKeyTree::add(const std::string& path, const Values& values) {
    Node& node = nodes_[path];
    for (const auto& [name, value] : values) node.values[name] = value.bytes;
    for (std::string below = path; below.rfind('\\') != std::string::npos;) {
        const auto cut = below.rfind('\\');
        const std::string name = below.substr(cut + 1);
        below.erase(cut);
        auto& children = nodes_[below].children;
        if (std::find(children.begin(), children.end(), name) == children.end()) children.push_back(name);
    }
    return *this;
}

void ScriptedKeyTree::remove(const std::string& path) {
    std::erase_if(nodes_,
                  [&](const auto& entry) { return entry.first == path || entry.first.starts_with(path + "\\"); });
    const auto cut = path.rfind('\\');
    if (cut == std::string::npos) return;
    const auto parent = nodes_.find(path.substr(0, cut));
    if (parent != nodes_.end()) std::erase(parent->second.children, path.substr(cut + 1));
}

std::vector<std::string> ScriptedKeyTree::opened() const {
    std::vector<std::string> paths;
    for (const JournalEntry& entry : core_.journal.entries()) {
        if (entry.op == Op::KeyOpen) paths.push_back(entry.object);
    }
    return paths;
}

const ScriptedKeyTree::OpenKey* ScriptedKeyTree::find(Key key) const {
    const auto found = open_.find(key);
    if (found != open_.end()) return &found->second;
    core_.complain("a key that is not open");
    return nullptr;
}

const ScriptedKeyTree::Node* ScriptedKeyTree::nodeOf(const OpenKey& key) const {
    const auto found = nodes_.find(key.path);
    return found == nodes_.end() ? nullptr : &found->second;  // removed while open
}

KeyTree::Key ScriptedKeyTree::open(const std::string& path, KeyAccess access) {
    const auto failure = core_.enter(Op::KeyOpen, path);
    const bool missing = !nodes_.contains(path);
    core_.note(Op::KeyOpen, path, "keyOpen " + path + (access == KeyAccess::Query ? " query" : " read"),
               missing ? "missing" : ScriptedCore::outcomeOf(failure));
    if (failure || missing) return kNoKey;
    open_.emplace(nextKey_, OpenKey{path, access});
    return nextKey_++;
}

bool ScriptedKeyTree::subkey(Key key, std::uint32_t index, std::string& name) {
    const OpenKey* open = find(key);
    if (core_.enter(Op::KeyEnum, open ? open->path : "") || !open) return false;
    const Node* node = nodeOf(*open);
    if (open->access != KeyAccess::Read || !node || index >= node->children.size()) return false;
    name = node->children[index];
    return true;
}

bool ScriptedKeyTree::value(Key key, const std::string& name, void* buffer, std::size_t& size) {
    const OpenKey* open = find(key);
    if (core_.enter(Op::KeyQuery, name) || !open) return false;
    const Node* node = nodeOf(*open);
    if (!node) return false;
    const auto found = node->values.find(name);
    if (found == node->values.end() || found->second.size() > size) return false;
    size = found->second.size();
    std::memcpy(buffer, found->second.data(), size);
    return true;
}

void ScriptedKeyTree::close(Key key) {
    core_.enter(Op::KeyClose);
    if (find(key)) open_.erase(key);
}

}  // namespace mova
