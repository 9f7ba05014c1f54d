#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "cli/Failure.h"
#include "cli/FileAccess.h"

namespace mova::cli {

namespace {

constexpr mode_t kOwnersFile = 0600;

enum class Claim { Good, Taken, NotRegular, Gone };

Claim claim(int descriptor, const std::string& path) {
    struct stat opened {};
    struct stat named {};
    if (fstat(descriptor, &opened) != 0 || !S_ISREG(opened.st_mode)) return Claim::NotRegular;
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) return Claim::Taken;
    // Whoever had it before may have given it its final name meanwhile.
    const bool same =
        lstat(path.c_str(), &named) == 0 && named.st_ino == opened.st_ino && named.st_dev == opened.st_dev;
    return same ? Claim::Good : Claim::Gone;
}

[[noreturn]] void failWriting(const std::string& name) {
    failFile(name + " cannot be written: " + std::generic_category().message(errno),
             "is the folder there, and may you write to it?");
}

}  // namespace

void requireWritable(const std::string& path, const std::string& name) {
    const int descriptor =
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kOwnersFile);
    if (descriptor >= 0) {
        ::close(descriptor);
        return;
    }
    if (errno == ENXIO) failFile(name + " is a pipe without a reader", "start the reader first");
    failWriting(name);
}

std::FILE* openClaimed(const std::string& path) {
    for (;;) {
        // Neither through a symbolic link nor waiting for the other end of a pipe.
        const int descriptor =
            ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kOwnersFile);
        if (descriptor < 0) {
            if (errno == ELOOP || errno == EISDIR || errno == ENXIO) failFile(path + " is no regular file");
            failWriting(path);
        }
        const Claim made = claim(descriptor, path);
        if (made == Claim::Good) return ::fdopen(descriptor, "r+b");
        ::close(descriptor);
        if (made == Claim::NotRegular) failFile(path + " is no regular file");
        if (made == Claim::Taken)
            failFile(path + " is being written by another program", "let it end, or choose another name");
    }
}

bool cutTo(std::FILE* file, std::size_t bytes) {
    return std::fflush(file) == 0 && ftruncate(fileno(file), static_cast<off_t>(bytes)) == 0;
}

}  // namespace mova::cli
