// The elements of an array as scripts make it: one dimension, each element a VARIANT. In place, and only while this
// holds them.
#pragma once
#include <span>

#include "component/automation/SafeArray.h"

namespace mova {

class ScriptArray {
public:
    explicit ScriptArray(const VARIANT& argument);

    // False when the argument is anything else; there may be no element.
    explicit operator bool() const { return static_cast<bool>(access_); }
    std::span<VARIANT> elements() const { return elements_; }

private:
    ArrayAccess access_;
    std::span<VARIANT> elements_;
};

}  // namespace mova
