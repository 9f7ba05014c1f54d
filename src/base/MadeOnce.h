// One object of a type for the module, made when it is first asked for and never destroyed: threads may outlive main.
// Instead of a static in a function: where that is guarded by the runtime's once, the guard opens handles for every
// thread that comes by, which stay behind when the module goes.
#pragma once
#include <atomic>
#include <memory>

namespace mova {

template <class T>
T& madeOnce() {
    static constinit std::atomic<T*> instance{nullptr};
    T* known = instance.load();
    if (known != nullptr) return *known;
    auto made = std::make_unique<T>();
    return instance.compare_exchange_strong(known, made.get()) ? *made.release() : *known;
}

}  // namespace mova
