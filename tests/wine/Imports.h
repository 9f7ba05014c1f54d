// Stands between a loaded DLL and what it imports.
#pragma once
#include "component/automation/Ole.h"

namespace mova::test {

// While it lives, the module's calls of an imported function go to a replacement.
class Import {
public:
    // Fails the test when the module does not import such a function.
    Import(HMODULE module, const char* function, void* replacement);
    Import(const Import&) = delete;
    Import& operator=(const Import&) = delete;
    ~Import();

    void* original() const { return original_; }

private:
    void** place_ = nullptr;
    void* original_ = nullptr;
};

}  // namespace mova::test
