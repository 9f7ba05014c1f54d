#include "platform/posix/PosixFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/posix/FileDescriptor.h"

namespace mova {

namespace {

constexpr mode_t kOwnersFile = 0600;

int flagsOf(FileMode mode) {
    switch (mode) {
        case FileMode::LogAppend: return O_WRONLY | O_CREAT | O_APPEND;
        case FileMode::TextAppend: return O_RDWR | O_CREAT | O_APPEND;
        case FileMode::TextTruncate: return O_RDWR | O_CREAT | O_NOFOLLOW;
    }
    return O_RDONLY;
}

// Nobody chose what is emptied, so it is emptied when it can be nobody else's and nothing else's: another name of it may
// be one that the user cares for.
bool empty(const FileDescriptor& file) {
    struct stat status {};
    return fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
           status.st_nlink == 1 && ftruncate(file.get(), 0) == 0;
}

}  // namespace

Files::Handle PosixFiles::open(const std::string& path, FileMode mode) {
    // Nothing waits here: a pipe that nobody reads costs its lines, not the caller's time.
    const int flags = flagsOf(mode) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    FileDescriptor file(uninterrupted([&] { return ::open(path.c_str(), flags, kOwnersFile); }));
    if (!file || (mode == FileMode::TextTruncate && !empty(file))) return kInvalid;
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

void PosixFiles::close(Handle file) { FileDescriptor(descriptorOf(file)).reset(); }

}  // namespace mova
