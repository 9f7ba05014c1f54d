#include "component/automation/ClassFactory.h"

#include "component/automation/AutomationObject.h"
#include "component/automation/Module.h"

namespace mova {

ClassFactory& ClassFactory::instance() {
    static ClassFactory factory;
    return factory;
}

STDMETHODIMP ClassFactory::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid != __uuidof(IUnknown) && iid != __uuidof(IClassFactory)) return E_NOINTERFACE;
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
}

// A reference to the factory keeps the module loaded; the factory itself needs no count.
STDMETHODIMP_(ULONG) ClassFactory::AddRef() {
    ModuleLock::add();
    return 2;
}

STDMETHODIMP_(ULONG) ClassFactory::Release() {
    ModuleLock::remove();
    return 1;
}

STDMETHODIMP ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer && iid != __uuidof(IUnknown)) return CLASS_E_NOAGGREGATION;
    return AutomationObject::create(outer, iid, object);
}

STDMETHODIMP ClassFactory::LockServer(BOOL lock) {
    if (lock) {
        ModuleLock::add();
    } else {
        ModuleLock::remove();
    }
    return S_OK;
}

}  // namespace mova
