#include "platform/posix/RemoteModule.h"

#include <dlfcn.h>

#include <filesystem>
#include <mutex>
#include <vector>

#include "platform/posix/PosixHost.h"

namespace mova {

namespace {

// Beside the library or program that this code is linked into, and where an installed program's libraries are, seen
// from it, both times also in the folder for modules; and where the system looks.
std::vector<std::string> places() {
    std::vector<std::string> places;
    std::error_code failed;
    const auto own = std::filesystem::canonical(PosixHost().modulePath(), failed).parent_path();
    if (!failed) {
        places.push_back(own / kRemoteLineModule);
#ifdef MOVA_LIBRARY_FOLDER
        places.push_back(own / MOVA_MODULE_FOLDER / kRemoteLineModule);
        places.push_back(own / MOVA_LIBRARY_FOLDER / kRemoteLineModule);
        places.push_back(own / MOVA_LIBRARY_FOLDER / MOVA_MODULE_FOLDER / kRemoteLineModule);
#endif
    }
    places.emplace_back(kRemoteLineModule);
    return places;
}

// Never unloaded: threads of it may outlive main. Where one is there and does not load, no other is looked for.
RemoteLineEntry load() {
    for (const std::string& place : places()) {
        std::error_code failed;
        if (place.find('/') != place.npos && !std::filesystem::exists(place, failed)) continue;
        void* const module = dlopen(place.c_str(), RTLD_NOW | RTLD_LOCAL);
        void* const entry = module != nullptr ? dlsym(module, kRemoteLineEntry) : nullptr;
        return reinterpret_cast<RemoteLineEntry>(entry);
    }
    return nullptr;
}

}  // namespace

RemoteLineEntry loadRemoteModule() {
    static std::mutex& mutex = *new std::mutex;
    static RemoteLineEntry loaded = nullptr;  // a module that was not there may be installed meanwhile
    const std::lock_guard guard(mutex);
    if (loaded == nullptr) loaded = load();
    return loaded;
}

}  // namespace mova
