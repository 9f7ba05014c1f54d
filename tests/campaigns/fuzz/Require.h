// What must hold for every input, and what a corpus must reach.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/CodeText.h"

namespace mova::fuzz {

// Ends the process with the text when it does not hold.
void require(bool holds, std::string_view what);
// The same with both values, escaped.
void requireEqual(std::string_view is, std::string_view expected, std::string_view what);
void requireEqual(std::uint64_t is, std::uint64_t expected, std::string_view what);
inline void requireEqual(Code is, std::uint64_t expected, std::string_view what) {
    requireEqual(std::uint64_t{number(is)}, expected, what);
}
inline void requireEqual(Code is, Code expected, std::string_view what) {
    requireEqual(is, std::uint64_t{number(expected)}, what);
}

// A place in a target that its corpus must reach: inputs that have come to mean something else show by it.
class Landmark {
public:
    Landmark(const char* target, const char* name);
    void reach() { ++count_; }

    std::string_view target() const { return target_; }
    std::string_view name() const { return name_; }
    std::size_t count() const { return count_; }
    static std::vector<const Landmark*>& all();

private:
    std::string_view target_;
    std::string_view name_;
    std::size_t count_ = 0;
};

}  // namespace mova::fuzz
