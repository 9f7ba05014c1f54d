// Many simulated handsets behind pseudo-terminals, served by one process of its own, so that what is measured in the
// caller's process is the caller's alone. Handset i (from 1) is reached at the link COM<i> of the folder.
//
// grain: microseconds between two looks at the lines. 0 is exact to the byte, for one or a few handsets; many busy ones
// are served in steps, as adapters with a FIFO or a latency timer deliver: a byte's arrival is late by up to a step.
#pragma once
#include <sys/types.h>

#include <cstdint>
#include <string>

namespace mova::bench {

class HandsetFarm {
public:
    HandsetFarm(std::string folder, int handsets, unsigned baudRate, std::uint64_t grain);
    ~HandsetFarm();
    HandsetFarm(const HandsetFarm&) = delete;
    HandsetFarm& operator=(const HandsetFarm&) = delete;

    std::string link(int number) const { return folder_ + "/COM" + std::to_string(number); }

private:
    const std::string folder_;
    const int handsets_;
    pid_t process_;
};

}  // namespace mova::bench
