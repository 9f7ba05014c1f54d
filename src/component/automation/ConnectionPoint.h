// The connection point of the events and its container. Both live as long as the object that they belong to.
#pragma once
#include "component/automation/EventSinks.h"

namespace mova {

class ConnectionPoint final : public IConnectionPoint {
public:
    // container: counts the references and answers for the container.
    ConnectionPoint(IConnectionPointContainer& container, EventSinks& sinks) : container_(container), sinks_(sinks) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return container_.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return container_.Release(); }

    STDMETHODIMP GetConnectionInterface(IID* iid) override;
    STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** container) override;
    STDMETHODIMP Advise(IUnknown* subscriber, DWORD* cookie) override;
    STDMETHODIMP Unadvise(DWORD cookie) override;
    STDMETHODIMP EnumConnections(IEnumConnections** connections) override;

private:
    IConnectionPointContainer& container_;
    EventSinks& sinks_;
};

class ConnectionPointContainer final : public IConnectionPointContainer {
public:
    ConnectionPointContainer(IUnknown& owner, EventSinks& sinks) : owner_(owner), point_(*this, sinks) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return owner_.QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return owner_.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return owner_.Release(); }

    STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** points) override;
    STDMETHODIMP FindConnectionPoint(REFIID iid, IConnectionPoint** point) override;

private:
    IUnknown& owner_;
    ConnectionPoint point_;
};

}  // namespace mova
