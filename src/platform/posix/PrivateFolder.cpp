#include "platform/posix/PrivateFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <system_error>

#include "base/Environment.h"
#include "base/Text.h"

namespace mova {

namespace {

constexpr mode_t kOwnersAlone = 0700;
constexpr mode_t kAllOthers = 0077;

bool isPrivate(const struct stat& status) {
    return S_ISDIR(status.st_mode) && status.st_uid == geteuid() && (status.st_mode & kAllOthers) == 0;
}

// A link is not followed: who planted it would choose the folder.
FileDescriptor openPrivate(const std::string& path) {
    constexpr int kFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    FileDescriptor folder(uninterrupted([&] { return ::open(path.c_str(), kFlags); }));
    struct stat status {};
    if (!folder || fstat(folder.get(), &status) != 0 || !isPrivate(status)) return {};
    return folder;
}

std::string sharedFolder() { return "/tmp/mova-" + std::to_string(geteuid()); }

}  // namespace

PrivateFolder::PrivateFolder(const std::string& path)
    : chosen_(path), runtime_(environmentOr(variable::kRuntimeDir, "")) {}

std::vector<std::string> PrivateFolder::candidates() const {
    if (!chosen_.empty()) return {chosen_};
    if (!runtime_.starts_with('/')) return {sharedFolder()};
    return {runtime_, sharedFolder()};
}

FileDescriptor PrivateFolder::open() const {
    for (const std::string& path : candidates()) {
        if (FileDescriptor folder = openPrivate(path)) return folder;
    }
    return {};
}

FileDescriptor PrivateFolder::make() const {
    if (FileDescriptor folder = open()) return folder;
    if (!chosen_.empty()) return {};
    // It may be there already, as another's or as a link: what is there is looked at like any other.
    mkdir(sharedFolder().c_str(), kOwnersAlone);
    return openPrivate(sharedFolder());
}

const std::string& PrivateFolder::wanted() const { return chosen_.empty() ? runtime_ : chosen_; }

std::string PrivateFolder::path() const {
    const std::vector<std::string> all = candidates();
    for (const std::string& path : all) {
        if (openPrivate(path)) return path;
    }
    return all.back();
}

std::string PrivateFolder::whyNot() const {
    const std::string at = path();
    struct stat status {};
    if (lstat(at.c_str(), &status) != 0) return at + ": " + std::generic_category().message(errno);
    if (S_ISLNK(status.st_mode)) return at + " is a link";
    if (!S_ISDIR(status.st_mode)) return at + " is no folder";
    if (status.st_uid != geteuid()) return at + " belongs to another user (" + std::to_string(status.st_uid) + ")";
    return at + " lets others in" + format(" (mode %o)", status.st_mode & 0777U);
}

std::string pathThrough(const FileDescriptor& folder, const std::string& entry) {
    return "/proc/self/fd/" + std::to_string(folder.get()) + "/" + entry;
}

bool isOwnSocket(const FileDescriptor& folder, const std::string& entry) {
    struct stat status {};
    return fstatat(folder.get(), entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISSOCK(status.st_mode) &&
           status.st_uid == geteuid();
}

}  // namespace mova
