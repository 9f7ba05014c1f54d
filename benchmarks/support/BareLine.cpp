#include "support/BareLine.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <stdexcept>

namespace mova::bench {

namespace {
constexpr double kPatience = 30;  // seconds
constexpr std::string_view kEnd = "OK\r\n";
}  // namespace

double nowSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void sleepMilliseconds(std::uint32_t milliseconds) {
    const timespec wait{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000 * 1'000'000)};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &wait, nullptr);
}

BareLine::BareLine(const std::string& path)
    : descriptor_(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    if (descriptor_ < 0) throw std::runtime_error(path);
    termios settings{};
    tcgetattr(descriptor_, &settings);
    cfmakeraw(&settings);
    tcsetattr(descriptor_, TCSANOW, &settings);
}

BareLine::~BareLine() { close(descriptor_); }

std::uint32_t BareLine::waiting() const {
    int count = 0;
    ioctl(descriptor_, FIONREAD, &count);
    return static_cast<std::uint32_t>(count);
}

void BareLine::await(std::uint32_t milliseconds) const {
    pollfd polled{descriptor_, POLLIN, 0};
    poll(&polled, 1, static_cast<int>(milliseconds));
}

std::string_view BareLine::take() {
    const ssize_t got = read(descriptor_, buffer_.data(), buffer_.size());
    return {buffer_.data(), got > 0 ? static_cast<std::size_t>(got) : 0};
}

BareLine::Counts BareLine::run(const Script& script, Manner manner) {
    Counts counts;
    for (const std::string& request : script) counts.complete = step(request, manner, counts) && counts.complete;
    return counts;
}

bool BareLine::step(const std::string& request, Manner manner, Counts& counts) {
    const std::size_t portion = manner == Manner::AtOnce ? request.size() : 1;
    for (std::size_t at = 0; at < request.size();) {
        const ssize_t put = write(descriptor_, request.data() + at, std::min(portion, request.size() - at));
        ++counts.writes;
        if (put > 0) at += static_cast<std::size_t>(put);
    }
    counts.sent += request.size();
    answer_.clear();
    const double limit = nowSeconds() + kPatience;
    while (!answer_.ends_with(kEnd)) {
        if (manner != Manner::Paced) await(1000);
        if (manner != Manner::Paced || waiting() > 0) {
            const std::string_view got = take();
            answer_.append(got);
            counts.received += got.size();
        }
        if (answer_.ends_with(kEnd)) break;
        if (nowSeconds() > limit) return false;
        if (manner == Manner::Paced) sleepMilliseconds(1);
    }
    return true;
}

}  // namespace mova::bench
