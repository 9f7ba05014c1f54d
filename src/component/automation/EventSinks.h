// The clients' event sinks: a growable array of places, one for each subscriber. Events go to each in turn, on the
// thread that runs the receive engine, without a lock held; a sink may unsubscribe itself or others meanwhile.
#pragma once
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "component/CVeCmdManager.h"
#include "component/automation/ComPtr.h"

namespace mova {

class EventSinks final : public ConfirmationEvents {
public:
    ~EventSinks() override { clear(); }

    // The cookie, never 0, names the subscriber until it leaves.
    HRESULT advise(IUnknown* subscriber, DWORD* cookie);
    HRESULT unadvise(DWORD cookie);
    void clear();

    struct Subscriber {
        DWORD cookie;
        ComPtr<IDispatch> sink;
    };
    std::vector<Subscriber> subscribers() const;

    void OnCpGetMovaCnf(std::int32_t lType, std::int32_t lParam, const std::string& text) override;
    void readerStarted() override;
    void readerEnded() override;
    void letCallsIn() override;

private:
    struct Place {
        DWORD cookie = 0;        // 0: nobody
        ComPtr<IDispatch> sink;  // as it was subscribed
        IID iid{};               // the interface that this is
        DWORD globalCookie = 0;  // 0: called directly
    };

    std::size_t count() const;
    ComPtr<IDispatch> reachable(std::size_t place) const;
    static void abandon(const Place& place);

    mutable std::mutex mutex_;
    std::vector<Place> places_;
    std::vector<DWORD> comThreads_;  // that COM was initialised on, and is to be uninitialised
    DWORD lastCookie_ = 0;
};

}  // namespace mova
