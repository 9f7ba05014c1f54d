#include "platform/win32/OwnModule.h"

namespace mova {

namespace {

const char ownSymbol = 0;

HMODULE find(DWORD flags) {
    HMODULE module = nullptr;
    if (!GetModuleHandleExA(flags | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, &ownSymbol, &module)) return nullptr;
    return module;
}

}  // namespace

HMODULE ownModule() { return find(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT); }

ModuleReference ModuleReference::take() { return ModuleReference(find(0)); }

ModuleReference::~ModuleReference() {
    if (module_ != nullptr) FreeLibrary(module_);
}

}  // namespace mova
