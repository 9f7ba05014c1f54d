// Makes objects of the class VeCmdManager, plain or aggregated. One for the whole module, never freed.
#pragma once
#include "component/automation/Ole.h"

namespace mova {

class ClassFactory final : public IClassFactory {
public:
    static ClassFactory& instance();

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
    STDMETHODIMP LockServer(BOOL lock) override;
};

}  // namespace mova
