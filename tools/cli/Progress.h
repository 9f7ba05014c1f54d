// A bar on the error output that shows how far a long transfer is. Shows nothing where nobody watches.
#pragma once
#include <chrono>
#include <cstdint>
#include <string>

#include "cli/Output.h"

namespace mova::cli {

class Progress {
public:
    Progress(const Output& out, std::string label, std::uint64_t total, std::uint64_t done = 0);
    ~Progress();  // takes the bar away
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance(std::string_view what);  // one done; what is next

private:
    using Clock = std::chrono::steady_clock;
    void draw(std::string_view what);

    const bool shown_;
    const std::string label_;
    const std::uint64_t total_;
    const std::uint64_t first_;
    std::uint64_t done_;
    const Clock::time_point begin_;
    Clock::time_point drawn_;
};

}  // namespace mova::cli
