#include "component/automation/ConnectionPoint.h"

#include "component/automation/SnapshotEnumerator.h"

namespace mova {

namespace {

struct Connection {
    EventSinks::Subscriber subscriber;

    void copyTo(CONNECTDATA& raw) const {
        raw.pUnk = ComPtr<IUnknown>(subscriber.sink.get()).release();
        raw.dwCookie = subscriber.cookie;
    }
};

struct Point {
    ComPtr<IConnectionPoint> point;

    void copyTo(IConnectionPoint*& raw) const { raw = ComPtr<IConnectionPoint>(point).release(); }
};

}  // namespace

STDMETHODIMP ConnectionPoint::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid != __uuidof(IUnknown) && iid != __uuidof(IConnectionPoint)) return E_NOINTERFACE;
    *object = static_cast<IConnectionPoint*>(this);
    AddRef();
    return S_OK;
}

STDMETHODIMP ConnectionPoint::GetConnectionInterface(IID* iid) {
    if (!iid) return E_POINTER;
    *iid = __uuidof(_IVeCmdManagerEvents);
    return S_OK;
}

STDMETHODIMP ConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** container) {
    if (!container) return E_POINTER;
    *container = ComPtr<IConnectionPointContainer>(&container_).release();
    return S_OK;
}

STDMETHODIMP ConnectionPoint::Advise(IUnknown* subscriber, DWORD* cookie) {
    return guarded([&] { return sinks_.advise(subscriber, cookie); });
}

STDMETHODIMP ConnectionPoint::Unadvise(DWORD cookie) {
    return guarded([&] { return sinks_.unadvise(cookie); });
}

STDMETHODIMP ConnectionPoint::EnumConnections(IEnumConnections** connections) {
    if (!connections) return E_POINTER;
    *connections = nullptr;
    return guarded([&] {
        std::vector<Connection> items;
        for (auto& subscriber : sinks_.subscribers()) items.push_back({std::move(subscriber)});
        return SnapshotEnumerator<IEnumConnections, CONNECTDATA, Connection>::make(std::move(items), connections);
    });
}

STDMETHODIMP ConnectionPointContainer::EnumConnectionPoints(IEnumConnectionPoints** points) {
    if (!points) return E_POINTER;
    *points = nullptr;
    return guarded([&] {
        std::vector<Point> items{{ComPtr<IConnectionPoint>(&point_)}};
        return SnapshotEnumerator<IEnumConnectionPoints, IConnectionPoint*, Point>::make(std::move(items), points);
    });
}

STDMETHODIMP ConnectionPointContainer::FindConnectionPoint(REFIID iid, IConnectionPoint** point) {
    if (!point) return E_POINTER;
    *point = nullptr;
    if (iid != __uuidof(_IVeCmdManagerEvents)) return CONNECT_E_NOCONNECTION;
    *point = ComPtr<IConnectionPoint>(&point_).release();
    return S_OK;
}

}  // namespace mova
