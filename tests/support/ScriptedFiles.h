// Files in memory, by path. Texts are kept as written, in the text modes too ("\n" stays "\n").
#pragma once
#include <map>
#include <set>
#include <string>

#include "platform/Files.h"
#include "support/ScriptedCore.h"

namespace mova {

class ScriptedFiles : public Files {
public:
    explicit ScriptedFiles(ScriptedCore& core) : core_(core) {}

    bool exists(const std::string& path) const { return contents_.contains(path); }
    std::string content(const std::string& path) const;
    void put(const std::string& path, std::string content) { contents_[path] = std::move(content); }
    void remove(const std::string& path) { contents_.erase(path); }  // an open one too: later writes make it anew
    void deny(const std::string& path) { denied_.insert(path); }     // opens of it fail
    void allow(const std::string& path) { denied_.erase(path); }
    std::size_t count() const { return contents_.size(); }
    std::size_t openFiles() const { return open_.size(); }

    Handle open(const std::string& path, FileMode mode) override;
    bool write(Handle file, std::string_view text) override;
    void close(Handle file) override;

private:
    struct Open {
        std::string path;
        FileMode mode;
    };

    ScriptedCore& core_;
    std::map<std::string, std::string> contents_;
    std::set<std::string> denied_;
    std::map<Handle, Open> open_;
    Handle nextHandle_ = 1;
};

}  // namespace mova
