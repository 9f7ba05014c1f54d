// A FileDescriptor owns one file descriptor; -1 is none. Beside it stands what every user of descriptors needs.
#pragma once
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <utility>

namespace mova {

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    int release() { return std::exchange(descriptor_, -1); }
    void reset(int descriptor = -1) {
        const int old = std::exchange(descriptor_, descriptor);
        if (old >= 0) ::close(old);
    }

private:
    int descriptor_ = -1;
};

// The handles that the interfaces hand out are descriptors on Linux.
constexpr int descriptorOf(std::intptr_t handle) { return static_cast<int>(handle); }

// uninterrupted() repeats a system call while a signal handler interrupts it.
template <class Call>
auto uninterrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}

}  // namespace mova
