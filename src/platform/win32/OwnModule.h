// The own module is the one that this code is linked into: the component's DLL, or a program that has the core inside.
#pragma once
#include <utility>

#include "platform/win32/WindowsApi.h"

namespace mova {

HMODULE ownModule();  // without a reference; null when the system cannot tell

// While a ModuleReference is held the own module stays loaded. It is empty when the system refused it.
class ModuleReference {
public:
    static ModuleReference take();
    ModuleReference(ModuleReference&& other) noexcept : module_(other.release()) {}
    ModuleReference& operator=(ModuleReference&&) = delete;
    ~ModuleReference();

    explicit operator bool() const { return module_ != nullptr; }
    HMODULE release() { return std::exchange(module_, nullptr); }  // whoever takes it gives the reference back

private:
    explicit ModuleReference(HMODULE module) : module_(module) {}
    HMODULE module_;
};

}  // namespace mova
