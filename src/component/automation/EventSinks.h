// The clients' event sinks: a list of subscriptions, which grows as needed. Events go to each in turn, on the
// thread that runs the receive engine, without a lock held; a sink may unsubscribe itself or others meanwhile.
#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "component/automation/ComPtr.h"
#include "mova/CVeCmdManager.h"
#include "platform/Threading.h"

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
    // A proxy may be called on the thread that subscribed it only; through the system's table every other thread
    // fetches its own.
    class TableEntry {
    public:
        TableEntry() = default;
        TableEntry(const TableEntry&) = delete;
        TableEntry& operator=(const TableEntry&) = delete;
        ~TableEntry();

        HRESULT enter(IDispatch* sink, REFIID iid);
        ComPtr<IDispatch> fetch() const;  // empty when that fails

    private:
        ComPtr<IGlobalInterfaceTable> table_;  // kept: what was entered can be removed with no memory left
        IID iid_{};
        DWORD cookie_ = 0;  // 0: not entered
    };

    struct Subscription {
        DWORD cookie = 0;                         // 0: nobody
        ComPtr<IDispatch> sink;                   // as it was subscribed
        std::shared_ptr<const TableEntry> entry;  // null: called directly
    };

    std::size_t count() const;
    ComPtr<IDispatch> reachable(std::size_t index) const;

    mutable Mutex mutex_;
    std::vector<Subscription> subscriptions_ MOVA_GUARDED_BY(mutex_);
    std::vector<DWORD> comThreads_ MOVA_GUARDED_BY(mutex_);  // that COM was initialised on, and is to be uninitialised
    DWORD lastCookie_ MOVA_GUARDED_BY(mutex_) = 0;
};

}  // namespace mova
