#include "component/automation/Module.h"

#include <atomic>

#include "platform/win32/OwnModule.h"

namespace mova {

namespace {
std::atomic<long> locks{0};
}

void ModuleLock::add() { ++locks; }
void ModuleLock::remove() { --locks; }
bool ModuleLock::anyHeld() { return locks != 0; }

std::wstring modulePath() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(ownModule(), path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

HRESULT loadTypeLibrary(ComPtr<ITypeLib>& library) {
    ComPtr<ITypeLib> loaded;
    const HRESULT result = LoadTypeLibEx(modulePath().c_str(), REGKIND_NONE, loaded.receive());
    library = std::move(loaded);
    return result;
}

HRESULT loadTypeInfo(REFGUID id, ComPtr<ITypeInfo>& info) {
    ComPtr<ITypeLib> library;
    HRESULT result = loadTypeLibrary(library);
    if (FAILED(result)) return result;
    ComPtr<ITypeInfo> found;
    result = library->GetTypeInfoOfGuid(id, found.receive());
    info = std::move(found);
    return result;
}

}  // namespace mova
