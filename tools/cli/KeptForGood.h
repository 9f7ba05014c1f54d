// What threads may use that outlive main: it is never freed.
#pragma once
#include <memory>
#include <mutex>
#include <vector>

namespace mova::cli {

template <class Thing>
Thing& keepForGood(std::unique_ptr<Thing> thing) {
    static auto& mutex = *new std::mutex();
    static auto& kept = *new std::vector<std::unique_ptr<Thing>>();
    const std::lock_guard guard(mutex);
    return *kept.emplace_back(std::move(thing));
}

}  // namespace mova::cli
