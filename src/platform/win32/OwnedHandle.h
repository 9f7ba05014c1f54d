// An OwnedHandle owns one kernel handle. Null is none; the invalid value of CreateFile is taken as none as well.
#pragma once
#include <utility>

#include "platform/win32/WindowsApi.h"

namespace mova {

class OwnedHandle {
public:
    OwnedHandle() = default;
    explicit OwnedHandle(HANDLE handle) : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    OwnedHandle(OwnedHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    OwnedHandle& operator=(OwnedHandle&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~OwnedHandle() {
        if (handle_ != nullptr) CloseHandle(handle_);
    }

    HANDLE get() const { return handle_; }
    explicit operator bool() const { return handle_ != nullptr; }

private:
    HANDLE handle_ = nullptr;
};

}  // namespace mova
