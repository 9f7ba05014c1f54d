// A Bell wakes whoever waits for anything of a simulated system: it rings at each change.
#pragma once
#include <condition_variable>
#include <mutex>

namespace mova::simulation {

struct Bell {
    std::mutex mutex;  // guards what the system's parts know
    std::condition_variable rung;
};

}  // namespace mova::simulation
