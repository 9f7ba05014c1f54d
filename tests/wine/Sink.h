// A client's event sink, and how it is subscribed.
#pragma once
#include <atomic>
#include <functional>
#include <mutex>

#include "Client.h"

namespace mova::test {

struct Event {
    DISPID id;
    LONG type;
    LONG parameter;
    std::wstring text;
    DWORD thread;
    friend bool operator==(const Event&, const Event&) = default;
};

// A client's sink. Its action runs inside the event.
class Sink final : public IDispatch {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        *object = nullptr;
        const bool forEvents = eventsOnly && iid == __uuidof(_IVeCmdManagerEvents);
        const bool asProxy = proxy && iid == __uuidof(IClientSecurity);
        if (eventsOnly && iid == __uuidof(IDispatch)) return other->QueryInterface(iid, object);
        if (iid != __uuidof(IUnknown) && iid != __uuidof(IDispatch) && !forEvents && !asProxy) return E_NOINTERFACE;
        *object = static_cast<IDispatch*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
    STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID id, REFIID, LCID locale, WORD flags, DISPPARAMS* parameters, VARIANT* result, EXCEPINFO*,
                        UINT*) override {
        EXPECT_EQ(locale, 0x400u);
        EXPECT_EQ(flags, DISPATCH_METHOD);
        EXPECT_EQ(parameters->cArgs, 3u);
        EXPECT_EQ(parameters->cNamedArgs, 0u);
        EXPECT_TRUE(!direct || result == nullptr);
        const VARIANT* const arguments = parameters->rgvarg;
        EXPECT_EQ(V_VT(&arguments[0]), VT_BSTR);
        EXPECT_EQ(V_VT(&arguments[1]), VT_I4);
        EXPECT_EQ(V_VT(&arguments[2]), VT_I4);
        {
            const std::lock_guard guard(mutex);
            seen.push_back({id,
                            V_I4(&arguments[2]),
                            V_I4(&arguments[1]),
                            {V_BSTR(&arguments[0]), SysStringLen(V_BSTR(&arguments[0]))},
                            GetCurrentThreadId()});
        }
        if (action) action();
        return answer;
    }

    std::size_t count() {
        const std::lock_guard guard(mutex);
        return seen.size();
    }
    std::vector<Event> events() {
        const std::lock_guard guard(mutex);
        return seen;
    }

    std::atomic<ULONG> references{1};
    std::function<void()> action;
    HRESULT answer = S_OK;
    bool direct = true;
    bool eventsOnly = false;  // its IDispatch is another interface, that of `other`
    Sink* other = nullptr;
    bool proxy = false;  // answers for its security, as the system's proxies do

private:
    std::mutex mutex;
    std::vector<Event> seen;
};

ComPtr<IConnectionPoint> pointOf(IUnknown* object);
DWORD advise(IUnknown* object, Sink& sink);

}  // namespace mova::test
