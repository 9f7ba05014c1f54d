// The entry points of the DLL.
#include "component/automation/ClassFactory.h"
#include "component/automation/Guard.h"
#include "component/automation/Module.h"
#include "component/automation/Registration.h"

STDAPI DllGetClassObject(REFCLSID classId, REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (classId != __uuidof(VeCmdManager)) return CLASS_E_CLASSNOTAVAILABLE;
    return mova::ClassFactory::instance().QueryInterface(iid, object);
}

STDAPI DllCanUnloadNow() { return mova::ModuleLock::anyHeld() ? S_FALSE : S_OK; }

STDAPI DllRegisterServer() {
    return mova::guarded([] { return mova::registerComponent(mova::RegisteredFor::Machine); });
}

STDAPI DllUnregisterServer() {
    return mova::guarded([] { return mova::unregisterComponent(mova::RegisteredFor::Machine); });
}

// What "regsvr32 /n /i:user" calls: no administrator is needed for the user's own classes.
STDAPI DllInstall(BOOL install, LPCWSTR commandLine) {
    return mova::guarded([&] {
        auto whom = mova::RegisteredFor::Machine;
        if (commandLine != nullptr && *commandLine != L'\0') {
            if (lstrcmpiW(commandLine, L"user") != 0) return E_INVALIDARG;
            whom = mova::RegisteredFor::User;
        }
        return install ? mova::registerComponent(whom) : mova::unregisterComponent(whom);
    });
}
