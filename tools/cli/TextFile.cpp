#include "cli/TextFile.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "base/Text.h"
#include "cli/Context.h"
#include "cli/FileAccess.h"

namespace mova::cli {

std::string readTextFile(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || std::filesystem::is_directory(path)) {
        checkInterrupt();
        failFile(path + " cannot be read: " + (errno != 0 ? std::generic_category().message(errno) : "it is a folder"));
    }
    text << file.rdbuf();
    return std::string(withoutByteOrderMark(text.view()));
}

void writeTextFile(const std::string& path, const std::string& text) {
    requireWritable(path, path);
    errno = 0;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    if (!file.flush()) failFile(path + " cannot be written: " + std::generic_category().message(errno));
}

bool fileExists(const std::string& path) {
    std::error_code failed;
    return std::filesystem::exists(path, failed);
}

}  // namespace mova::cli
