#include "platform/posix/PosixNamedMutex.h"

#include <fcntl.h>
#include <sys/file.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PosixWait.h"

namespace mova {

// Shared by all objects of one name in this process.
struct PosixNamedMutex::ProcessLock {
    explicit ProcessLock(std::string path) : lockFile(std::move(path)) {}

    const std::string lockFile;
    std::mutex mutex;
    std::condition_variable freed;
    unsigned depth = 0;
    std::thread::id owner;
    FileDescriptor heldFile;  // its lock ends with this process at the latest

    void free() {
        // Unlocked, not only closed: a child that was forked meanwhile has the file open too.
        if (heldFile) flock(heldFile.get(), LOCK_UN);
        heldFile.reset();
        freed.notify_one();
    }
};

namespace {

// Opened for reading, so that every user's processes can lock the file whoever made it; made only when absent, since
// the system refuses to make a file over another user's in a folder that all may write to.
FileDescriptor openLockFile(const std::string& path) {
    constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    const int existing = uninterrupted([&] { return ::open(path.c_str(), kFlags); });
    if (existing >= 0 || errno != ENOENT) return FileDescriptor(existing);
    return FileDescriptor(uninterrupted([&] { return ::open(path.c_str(), kFlags | O_CREAT, 0644); }));
}

}  // namespace

// One for each name, kept as long as the process: threads may log while it ends.
PosixNamedMutex::ProcessLock& PosixNamedMutex::processLock(const std::string& lockFile) {
    static std::mutex& mutex = *new std::mutex;
    static auto& locks = *new std::map<std::string, ProcessLock>;
    const std::lock_guard guard(mutex);
    return locks.try_emplace(lockFile, lockFile).first->second;
}

PosixNamedMutex::PosixNamedMutex(const std::string& lockFile) : lock_(processLock(lockFile)) {}

PosixNamedMutex::~PosixNamedMutex() {
    if (held_ == 0) return;
    const std::lock_guard guard(lock_.mutex);
    lock_.depth -= held_;
    if (lock_.depth == 0) lock_.free();
}

bool PosixNamedMutex::acquire() {
    const auto self = std::this_thread::get_id();
    std::unique_lock guard(lock_.mutex);
    if (lock_.depth > 0 && lock_.owner == self) {
        ++lock_.depth;
        ++held_;
        return true;
    }
    lock_.freed.wait(guard, [this] { return lock_.depth == 0; });
    lock_.depth = 1;
    lock_.owner = self;
    held_ = 1;
    guard.unlock();  // this thread owns it now; only other processes are still to be waited for
    FileDescriptor file = openLockFile(lock_.lockFile);
    if (file) uninterrupted([&] { return flock(file.get(), LOCK_EX); });
    lock_.heldFile = std::move(file);
    return true;
}

void PosixNamedMutex::release() {
    const std::lock_guard guard(lock_.mutex);
    if (lock_.depth == 0 || lock_.owner != std::this_thread::get_id() || held_ == 0) return;
    --held_;
    if (--lock_.depth == 0) lock_.free();
}

}  // namespace mova
