// A mutex between the threads of this process for short sections, not recursive; for std::lock_guard and the like.
// It takes no memory and cannot fail. The runtime's own on Windows is only made when it is first locked, which may be
// in a destructor with no memory left, and what it then takes it never gives back.
#pragma once
#include <mutex>

namespace mova {

#ifdef _WIN32
class PlainMutex {
public:
    PlainMutex() = default;
    PlainMutex(const PlainMutex&) = delete;
    PlainMutex& operator=(const PlainMutex&) = delete;

    void lock() noexcept;
    bool try_lock() noexcept;
    void unlock() noexcept;

private:
    void* state_ = nullptr;  // the system's
};
#else
using PlainMutex = std::mutex;
#endif

}  // namespace mova
