#include "handset/PtyHandset.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <system_error>

namespace mova::handset {

namespace {

[[noreturn]] void fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

constexpr std::uint64_t kSecond = 1'000'000;

timespec until(std::optional<std::uint64_t> due, std::uint64_t now) {
    const std::uint64_t wait = due ? (*due > now ? *due - now : 0) : 3600 * kSecond;
    return {static_cast<time_t>(wait / kSecond), static_cast<long>(wait % kSecond * 1000)};
}

}  // namespace

std::uint64_t PtyHandset::nowMicroseconds() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * kSecond + static_cast<std::uint64_t>(time.tv_nsec) / 1000;
}

PtyHandset::PtyHandset(Profile profile, std::string link)
    : link_(std::move(link)), handset_(std::move(profile)), wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wakeUp_ < 0) fail("eventfd");
    plug();
    thread_ = std::thread([this] { serve(); });
}

PtyHandset::~PtyHandset() {
    ending_ = true;
    wake();
    thread_.join();
    unplug();
    close(wakeUp_);
}

void PtyHandset::plug() {
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    std::array<char, 128> name{};
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 ||
        ptsname_r(master, name.data(), name.size()) != 0) {
        fail("pseudo-terminal");
    }
    slavePath_ = name.data();
    // Raw from the first byte on: a line discipline that echoes would talk to itself.
    const int slave = open(slavePath_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave < 0) fail(slavePath_.c_str());
    termios settings{};
    tcgetattr(slave, &settings);
    cfmakeraw(&settings);
    tcsetattr(slave, TCSANOW, &settings);
    close(slave);
    if (!link_.empty()) makeLink();
    master_ = master;
}

// Whatever else has the name stays: it may be dear to somebody.
void PtyHandset::makeLink() const {
    struct stat status {};
    if (lstat(link_.c_str(), &status) == 0) {
        if (!S_ISLNK(status.st_mode)) {
            errno = EEXIST;
            fail((link_ + " is no symbolic link and is not replaced").c_str());
        }
        if (unlink(link_.c_str()) != 0) fail(link_.c_str());
    }
    if (symlink(slavePath_.c_str(), link_.c_str()) != 0) fail(link_.c_str());
}

// Another one may have put its own there meanwhile.
void PtyHandset::removeLink() const {
    std::error_code failed;
    if (std::filesystem::read_symlink(link_, failed) == slavePath_) unlink(link_.c_str());
}

std::string PtyHandset::slavePath() const {
    const std::lock_guard guard(mutex_);
    return slavePath_;
}

bool PtyHandset::isPlugged() const {
    const std::lock_guard guard(mutex_);
    return master_ >= 0;
}

void PtyHandset::with(const std::function<void(Handset&)>& action) {
    {
        const std::lock_guard guard(mutex_);
        action(handset_);
    }
    wake();
}

void PtyHandset::unplug() {
    std::unique_lock guard(mutex_);
    if (master_ < 0) return;
    if (!link_.empty()) removeLink();
    close(master_);
    master_ = -1;
    unsent_.clear();
    handset_.lineLost();
    wake();
    left_.wait(guard, [this] { return !polled_; });
}

void PtyHandset::replug() {
    const std::lock_guard guard(mutex_);
    if (master_ >= 0) return;
    plug();
    wake();
}

void PtyHandset::wake() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(wakeUp_, &one, sizeof one);
}

void PtyHandset::serve() {
    while (!ending_) {
        timespec wait{};
        std::array<pollfd, 2> polled{pollfd{wakeUp_, POLLIN, 0}, pollfd{-1, 0, 0}};
        {
            const std::lock_guard guard(mutex_);
            wait = until(handset_.nextDue(), nowMicroseconds());
            // A hung-up slave side reports POLLHUP for ever; it is looked at again after a pause.
            polled[1] = {master_, static_cast<short>(POLLIN | (unsent_.empty() ? 0 : POLLOUT)), 0};
            polled_ = master_ >= 0;
        }
        const bool broken = ppoll(polled.data(), polled.size(), &wait, nullptr) < 0 && errno != EINTR;
        {
            const std::lock_guard guard(mutex_);
            polled_ = false;
        }
        left_.notify_all();
        if (broken) return;
        if (polled[0].revents & POLLIN) {
            std::uint64_t count = 0;
            [[maybe_unused]] const auto got = read(wakeUp_, &count, sizeof count);
        }
        takeIn();
        if ((polled[1].revents & POLLHUP) && !(polled[1].revents & POLLIN)) {
            pollfd quiet{wakeUp_, POLLIN, 0};
            constexpr int kPause = 5;
            poll(&quiet, 1, kPause);
        }
    }
}

void PtyHandset::takeIn() {
    bool hangUp = false;
    {
        const std::lock_guard guard(mutex_);
        if (master_ < 0) return;
        std::array<char, 4096> buffer{};
        for (;;) {
            const ssize_t got = read(master_, buffer.data(), buffer.size());
            if (got <= 0) break;
            handset_.receive(std::string_view(buffer.data(), static_cast<std::size_t>(got)), nowMicroseconds());
        }
        unsent_ += handset_.due(nowMicroseconds());
        while (!unsent_.empty()) {
            const ssize_t put = write(master_, unsent_.data(), unsent_.size());
            if (put <= 0) break;
            unsent_.erase(0, static_cast<std::size_t>(put));
        }
        hangUp = handset_.takeHangUp();
    }
    if (hangUp) unplug();
}

}  // namespace mova::handset
