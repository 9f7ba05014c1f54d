// How many file descriptors this process has open.
#pragma once
#include <filesystem>
#include <iterator>

namespace mova {

inline auto descriptorCount() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

}  // namespace mova
