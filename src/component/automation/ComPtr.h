// Holds one reference to an interface.
#pragma once
#include <utility>

#include "component/automation/Ole.h"

namespace mova {

template <class Interface>
class ComPtr {
public:
    ComPtr() = default;
    explicit ComPtr(Interface* pointer) : pointer_(pointer) {
        if (pointer_) pointer_->AddRef();
    }
    ComPtr(const ComPtr& other) : ComPtr(other.pointer_) {}
    ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(pointer_, other.pointer_);
        return *this;
    }
    ~ComPtr() {
        if (pointer_) pointer_->Release();
    }

    // The interface of another object; empty when it does not have it.
    template <class Other>
    static ComPtr of(Other* object) {
        ComPtr result;
        if (object) object->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(result.receive()));
        return result;
    }

    Interface* get() const { return pointer_; }
    Interface* operator->() const { return pointer_; }
    explicit operator bool() const { return pointer_ != nullptr; }
    // For a call that hands out a reference; only while empty.
    Interface** receive() { return &pointer_; }
    Interface* release() { return std::exchange(pointer_, nullptr); }

private:
    Interface* pointer_ = nullptr;
};

}  // namespace mova
