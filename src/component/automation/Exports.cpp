// The four entry points of the DLL.
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
    return mova::guarded([] { return mova::registerComponent(); });
}

STDAPI DllUnregisterServer() {
    return mova::guarded([] { return mova::unregisterComponent(); });
}
