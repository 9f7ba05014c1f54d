#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "cli/Failure.h"
#include "cli/FileAccess.h"

namespace mova::cli {

void requireWritable(const std::string& path, const std::string& name) {
    std::FILE* const file = std::fopen(path.c_str(), "ab");
    if (file == nullptr) failFile(name + " cannot be written", "is the folder there, and may you write to it?");
    std::fclose(file);
}

std::FILE* openClaimed(const std::string& path) {
    constexpr unsigned long kSharingViolation = 32;  // the system's ERROR_SHARING_VIOLATION
    std::error_code failed;
    const auto type = std::filesystem::symlink_status(path, failed).type();
    if (type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found) {
        failFile(path + " is no regular file");
    }
    int descriptor = -1;
    const errno_t error = _sopen_s(&descriptor, path.c_str(), _O_RDWR | _O_CREAT | _O_BINARY | _O_NOINHERIT, _SH_DENYWR,
                                   _S_IREAD | _S_IWRITE);
    if (error != 0) {
        if (_doserrno == kSharingViolation) {
            failFile(path + " is being written by another program", "let it end, or choose another name");
        }
        failFile(path + " cannot be written: " + std::generic_category().message(error),
                 "is the folder there, and may you write to it?");
    }
    return _fdopen(descriptor, "r+b");
}

bool cutTo(std::FILE* file, std::size_t bytes) {
    return std::fflush(file) == 0 && _chsize_s(_fileno(file), static_cast<long long>(bytes)) == 0;
}

}  // namespace mova::cli
