#include "Imports.h"

#include <gtest/gtest.h>

#include <cstring>

namespace mova::test {

namespace {

template <class T>
T* at(HMODULE module, std::size_t offset) {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(module) + offset);
}

// Where the module keeps the address of the function that it imports; null when it does not import it.
void** placeOf(HMODULE module, const char* function) {
    const auto* const headers =
        at<IMAGE_NT_HEADERS>(module, static_cast<std::size_t>(at<IMAGE_DOS_HEADER>(module, 0)->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto* library = at<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
    for (; library->Name != 0; ++library) {
        const auto* name = at<IMAGE_THUNK_DATA>(module, library->OriginalFirstThunk);
        auto* address = at<IMAGE_THUNK_DATA>(module, library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++address) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
            const auto* const byName = at<IMAGE_IMPORT_BY_NAME>(module, name->u1.AddressOfData);
            const auto* const text = reinterpret_cast<const char*>(byName->Name);
            if (std::strcmp(text, function) == 0) return reinterpret_cast<void**>(&address->u1.Function);
        }
    }
    return nullptr;
}

void write(void** place, void* address) {
    DWORD protection = 0;
    VirtualProtect(place, sizeof *place, PAGE_READWRITE, &protection);
    *place = address;
    VirtualProtect(place, sizeof *place, protection, &protection);
}

}  // namespace

Import::Import(HMODULE module, const char* function, void* replacement) : place_(placeOf(module, function)) {
    if (!place_) {
        ADD_FAILURE() << function << " is not imported";
        return;
    }
    original_ = *place_;
    write(place_, replacement);
}

Import::~Import() {
    if (place_) write(place_, original_);
}

}  // namespace mova::test
