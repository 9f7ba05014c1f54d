#include "cli/Progress.h"

#include <algorithm>
#include <cstdio>

#include "base/Text.h"
#include "cli/Terminal.h"

namespace mova::cli {

namespace {

constexpr std::chrono::milliseconds kBetweenDraws(100);
constexpr std::size_t kBarWidth = 24;

std::string timeText(long long seconds) { return format("%lld:%02lld", seconds / 60, seconds % 60); }

}  // namespace

Progress::Progress(const Output& out, std::string label, std::uint64_t total, std::uint64_t done)
    : shown_(!out.isJson() && !out.isCapturing() && isTerminal(Stream::Error)),
      label_(std::move(label)),
      total_(std::max<std::uint64_t>(total, 1)),
      first_(done),
      done_(done),
      begin_(Clock::now()),
      drawn_(begin_ - kBetweenDraws) {}

Progress::~Progress() {
    if (!shown_) return;
    std::fprintf(stderr, "\r%*s\r", terminalWidth() - 1, "");
    std::fflush(stderr);
}

void Progress::advance(std::string_view what) {
    done_ = std::min(done_ + 1, total_);
    if (!shown_ || Clock::now() < drawn_ + kBetweenDraws) return;
    drawn_ = Clock::now();
    draw(what);
}

void Progress::draw(std::string_view what) {
    const auto filled = static_cast<std::size_t>(done_ * kBarWidth / total_);
    const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(drawn_ - begin_).count();
    const auto here = static_cast<long long>(done_ - first_);
    const long long left = here > 0 ? passed * static_cast<long long>(total_ - done_) / here / 1000 : 0;
    std::string text = label_ + " [" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] " +
                       format("%3llu%%", static_cast<unsigned long long>(done_ * 100 / total_)) + "  " +
                       timeText(left) + " left  " + std::string(what);
    const auto width = static_cast<std::size_t>(std::max(terminalWidth() - 1, 1));
    text.resize(width, ' ');
    std::fprintf(stderr, "\r%s", text.c_str());
    std::fflush(stderr);
}

}  // namespace mova::cli
