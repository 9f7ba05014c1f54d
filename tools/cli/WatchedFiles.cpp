#include "cli/WatchedFiles.h"

namespace mova::cli {

Files::Handle WatchedFiles::open(const std::string& path, FileMode mode) {
    const Handle file = files_.open(path, mode);
    if (file == kInvalid) {
        noteLost(path);
    } else {
        const std::lock_guard guard(mutex_);
        open_[file] = path;
    }
    return file;
}

bool WatchedFiles::write(Handle file, std::string_view text) {
    const bool written = files_.write(file, text);
    if (!written) {
        std::string path;
        {
            const std::lock_guard guard(mutex_);
            path = open_[file];
        }
        noteLost(path);
    }
    return written;
}

void WatchedFiles::close(Handle file) {
    {
        const std::lock_guard guard(mutex_);
        open_.erase(file);
    }
    files_.close(file);
}

std::string WatchedFiles::takeLost() {
    const std::lock_guard guard(mutex_);
    return std::exchange(lost_, {});
}

void WatchedFiles::noteLost(const std::string& path) {
    const std::lock_guard guard(mutex_);
    if (lost_.empty()) lost_ = path;
}

}  // namespace mova::cli
