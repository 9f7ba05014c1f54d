#include "component/automation/AutomationObject.h"

#include "component/automation/Guard.h"

namespace mova {

HRESULT AutomationObject::create(IUnknown* outer, REFIID iid, void** object) {
    return guarded([&] {
        AutomationObject* const created = new AutomationObject(outer);
        const HRESULT result = created->inner_.QueryInterface(iid, object);
        created->inner_.Release();
        return result;
    });
}

AutomationObject::AutomationObject(IUnknown* outer)
    : inner_(*this),
      outer_(outer ? outer : &inner_),
      sinks_(std::make_shared<EventSinks>()),
      connectionPoints_(*outer_, *sinks_),
      manager_(sinks_) {}

AutomationObject::~AutomationObject() {
    guarded([&] {
        manager_.FinalRelease();
        return S_OK;
    });
    sinks_->clear();
}

STDMETHODIMP AutomationObject::Inner::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    IUnknown* found = nullptr;
    if (iid == __uuidof(IUnknown)) {
        found = this;
    } else if (iid == __uuidof(IVeCmdManager) || iid == __uuidof(IDispatch)) {
        found = static_cast<IVeCmdManager*>(&object_);
    } else if (iid == __uuidof(IConnectionPointContainer)) {
        found = &object_.connectionPoints_;
    } else if (iid == __uuidof(IProvideClassInfo) || iid == __uuidof(IProvideClassInfo2)) {
        found = static_cast<IProvideClassInfo2*>(&object_);
    }
    *object = found;
    if (!found) return E_NOINTERFACE;
    found->AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) AutomationObject::Inner::Release() {
    const ULONG left = --references_;
    if (left == 0) {
        references_ = 1;  // what happens meanwhile may take and give references
        delete &object_;
    }
    return left;
}

// --- late binding

STDMETHODIMP AutomationObject::GetTypeInfoCount(UINT* count) {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
}

STDMETHODIMP AutomationObject::GetTypeInfo(UINT index, LCID, ITypeInfo** info) {
    if (!info) return E_POINTER;
    *info = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    return guarded([&] {
        ComPtr<ITypeInfo> own;
        const HRESULT result = lateBinding_.typeInfo(own);
        *info = own.release();
        return result;
    });
}

STDMETHODIMP AutomationObject::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
    return guarded([&] { return lateBinding_.namesToIds(names, count, ids); });
}

STDMETHODIMP AutomationObject::Invoke(DISPID id, REFIID iid, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                                      EXCEPINFO* exception, UINT* wrongArgument) {
    if (iid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    const ComPtr<IUnknown> alive(outer_);  // a sink that is called meanwhile may release the last reference
    return guarded([&] {
        return lateBinding_.invoke(static_cast<IVeCmdManager*>(this), id, flags, parameters, result, exception,
                                   wrongArgument);
    });
}

// --- class information

STDMETHODIMP AutomationObject::GetClassInfo(ITypeInfo** info) {
    if (!info) return E_POINTER;
    *info = nullptr;
    return guarded([&] {
        ComPtr<ITypeInfo> own;
        const HRESULT result = loadTypeInfo(__uuidof(VeCmdManager), own);
        *info = own.release();
        return result;
    });
}

STDMETHODIMP AutomationObject::GetGUID(DWORD kind, GUID* id) {
    if (!id) return E_POINTER;
    *id = IID_NULL;
    if (kind != GUIDKIND_DEFAULT_SOURCE_DISP_IID) return E_INVALIDARG;
    *id = __uuidof(_IVeCmdManagerEvents);
    return S_OK;
}

}  // namespace mova
