#include "platform/posix/PosixFiles.h"

#include <fcntl.h>
#include <sys/file.h>

#include "platform/posix/FileDescriptor.h"

namespace mova {

namespace {

int flagsOf(FileMode mode) {
    switch (mode) {
        case FileMode::LogAppend: return O_WRONLY | O_CREAT | O_APPEND;
        case FileMode::TextAppend: return O_RDWR | O_CREAT | O_APPEND;
        case FileMode::TextTruncate: return O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW;
    }
    return O_RDONLY;
}

}  // namespace

Files::Handle PosixFiles::open(const std::string& path, FileMode mode) {
    // Nothing waits here: a pipe that nobody reads costs its lines, not the caller's time.
    const int flags = flagsOf(mode) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    FileDescriptor file(uninterrupted([&] { return ::open(path.c_str(), flags, 0644); }));
    if (!file) return kInvalid;
    if (mode == FileMode::LogAppend && flock(file.get(), LOCK_EX | LOCK_NB) != 0) return kInvalid;
    return file.release();
}

bool PosixFiles::write(Handle file, std::string_view text) {
    while (!text.empty()) {
        const auto written = uninterrupted([&] { return ::write(descriptorOf(file), text.data(), text.size()); });
        if (written <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

void PosixFiles::close(Handle file) {
    const FileDescriptor closed(descriptorOf(file));
    flock(closed.get(), LOCK_UN);  // a child that was forked meanwhile would keep the lock
}

}  // namespace mova
