#include "support/ScriptedFiles.h"

#include <algorithm>

namespace mova {

namespace {
const char* nameOf(FileMode mode) {
    switch (mode) {
        case FileMode::LogAppend: return "log append";
        case FileMode::TextAppend: return "text append";
        case FileMode::TextTruncate: return "text truncate";
    }
    return "?";
}
}  // namespace

std::string ScriptedFiles::content(const std::string& path) const {
    const auto found = contents_.find(path);
    return found == contents_.end() ? std::string() : found->second;
}

Files::Handle ScriptedFiles::open(const std::string& path, FileMode mode) {
    const auto failure = core_.enter(Op::FileOpen, path);
    // Only the log files keep other writers out while they are open.
    const bool shared = std::none_of(open_.begin(), open_.end(), [&](const auto& entry) {
        return entry.second.path == path && entry.second.mode == FileMode::LogAppend;
    });
    const char* refusal = denied_.contains(path) ? "denied" : !shared ? "in use" : "";
    core_.note(Op::FileOpen, path, "fileOpen " + path + " " + nameOf(mode),
               *refusal ? refusal : ScriptedCore::outcomeOf(failure));
    if (failure || *refusal) return kInvalid;
    std::string& content = contents_[path];
    if (mode == FileMode::TextTruncate) content.clear();
    open_.emplace(nextHandle_, Open{path, mode});
    return nextHandle_++;
}

bool ScriptedFiles::write(Handle file, std::string_view text) {
    const auto failure = core_.enter(Op::FileWrite, text);
    const auto open = open_.find(file);
    if (open == open_.end()) {
        core_.complain("a write to a file that is not open");
        return false;
    }
    core_.note(Op::FileWrite, open->second.path, "fileWrite " + std::string(text), ScriptedCore::outcomeOf(failure));
    if (failure) return false;
    contents_[open->second.path].append(text);
    return true;
}

void ScriptedFiles::close(Handle file) {
    core_.enter(Op::FileClose);
    if (open_.erase(file) == 0) core_.complain("a file is closed that is not open");
}

}  // namespace mova
