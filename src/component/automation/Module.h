// The component as a loaded module: what keeps it loaded, where it lies, its type library.
#pragma once
#include <string>

#include "component/automation/ComPtr.h"

namespace mova {

// Each object, and each lock of a class factory's client, counts once.
class ModuleLock {
public:
    ModuleLock() { add(); }
    ModuleLock(const ModuleLock&) = delete;
    ModuleLock& operator=(const ModuleLock&) = delete;
    ~ModuleLock() { remove(); }

    static void add();
    static void remove();
    static bool anyHeld();
};

std::wstring modulePath();  // empty when the system cannot tell
// From the module's own resource, never through the registry: it must be the one that this module was built with.
HRESULT loadTypeLibrary(ComPtr<ITypeLib>& library);
HRESULT loadTypeInfo(REFGUID id, ComPtr<ITypeInfo>& info);

}  // namespace mova
