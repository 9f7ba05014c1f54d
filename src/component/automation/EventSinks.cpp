#include "component/automation/EventSinks.h"

#include <algorithm>
#include <iterator>

#include "component/automation/Variant.h"
#include "platform/win32/OwnedHandle.h"

namespace mova {

namespace {

constexpr DISPID kOnCpGetMovaCnf = 2;
constexpr DWORD kLetCallsInFor = 1;  // milliseconds

// The system's proxies answer for their security; objects of clients do not.
bool isProxy(IDispatch* sink) { return static_cast<bool>(ComPtr<IClientSecurity>::of(sink)); }

}  // namespace

EventSinks::TableEntry::~TableEntry() {
    if (cookie_ != 0) table_->RevokeInterfaceFromGlobal(cookie_);
}

HRESULT EventSinks::TableEntry::enter(IDispatch* sink, REFIID iid) {
    const HRESULT result =
        CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IGlobalInterfaceTable),
                         reinterpret_cast<void**>(table_.receive()));
    if (FAILED(result)) return result;
    iid_ = iid;
    return table_->RegisterInterfaceInGlobal(sink, iid, &cookie_);
}

ComPtr<IDispatch> EventSinks::TableEntry::fetch() const {
    ComPtr<IDispatch> own;
    table_->GetInterfaceFromGlobal(cookie_, iid_, reinterpret_cast<void**>(own.receive()));
    return own;
}

HRESULT EventSinks::advise(IUnknown* subscriber, DWORD* cookie) {
    if (!cookie) return E_POINTER;
    *cookie = 0;
    if (!subscriber) return E_POINTER;
    Subscription entered;
    // An object may have more than one dispatch interface: this one is meant.
    IID iid{};
    for (const IID& asked : {__uuidof(_IVeCmdManagerEvents), __uuidof(IDispatch)}) {
        if (entered.sink) break;
        iid = asked;
        subscriber->QueryInterface(iid, reinterpret_cast<void**>(entered.sink.receive()));
    }
    if (!entered.sink) return CONNECT_E_CANNOTCONNECT;
    if (isProxy(entered.sink.get())) {
        const auto entry = std::make_shared<TableEntry>();
        const HRESULT result = entry->enter(entered.sink.get(), iid);
        if (FAILED(result)) return result;
        entered.entry = entry;
    }

    const LockGuard guard(mutex_);
    const auto free =
        std::find_if(subscriptions_.begin(), subscriptions_.end(), [](const Subscription& s) { return s.cookie == 0; });
    Subscription& kept = free == subscriptions_.end() ? subscriptions_.emplace_back() : *free;
    entered.cookie = ++lastCookie_;
    kept = std::move(entered);
    *cookie = kept.cookie;
    return S_OK;
}

HRESULT EventSinks::unadvise(DWORD cookie) {
    Subscription left;
    {
        const LockGuard guard(mutex_);
        const auto found = std::find_if(subscriptions_.begin(), subscriptions_.end(),
                                        [cookie](const Subscription& s) { return cookie != 0 && s.cookie == cookie; });
        if (found == subscriptions_.end()) return CONNECT_E_NOCONNECTION;
        std::swap(left, *found);
    }
    return S_OK;
}

void EventSinks::clear() {
    // cppcheck-suppress variableScope ; outlives the lock: sinks are released without it
    std::vector<Subscription> left;
    {
        const LockGuard guard(mutex_);
        left.swap(subscriptions_);
    }
}

std::vector<EventSinks::Subscriber> EventSinks::subscribers() const {
    std::vector<Subscriber> result;
    const LockGuard guard(mutex_);
    for (const Subscription& subscription : subscriptions_) {
        if (subscription.cookie != 0) result.push_back({subscription.cookie, subscription.sink});
    }
    return result;
}

std::size_t EventSinks::count() const {
    const LockGuard guard(mutex_);
    return subscriptions_.size();
}

ComPtr<IDispatch> EventSinks::reachable(std::size_t index) const {
    ComPtr<IDispatch> sink;
    std::shared_ptr<const TableEntry> entry;
    {
        const LockGuard guard(mutex_);
        if (index >= subscriptions_.size()) return sink;
        sink = subscriptions_[index].sink;
        entry = subscriptions_[index].entry;
    }
    ComPtr<IDispatch> own;
    if (entry) own = entry->fetch();
    return own ? own : sink;
}

void EventSinks::OnCpGetMovaCnf(std::int32_t lType, std::int32_t lParam, const std::string& text) {
    const std::size_t end = count();
    for (std::size_t index = 0; index < end; ++index) {
        const ComPtr<IDispatch> sink = reachable(index);
        if (!sink) continue;
        // Last argument first. Fresh for each sink: whatever one does to them, the next gets its own.
        Variant arguments[]{Variant(wide(text)), Variant(lParam), Variant(lType)};
        DISPPARAMS parameters{arguments, nullptr, static_cast<UINT>(std::size(arguments)), 0};
        sink->Invoke(kOnCpGetMovaCnf, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr, nullptr,
                     nullptr);
    }
}

// Sinks may use COM on the thread that calls them. Kept by thread, since one may still be ending when the next begins,
// but not in the runtime's thread storage: that opens handles, which stay behind when the thread unloads the module.
void EventSinks::readerStarted() {
    {
        const LockGuard guard(mutex_);
        comThreads_.push_back(GetCurrentThreadId());  // first: with no memory for it, COM is not initialised either
    }
    if (SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return;
    const LockGuard guard(mutex_);
    std::erase(comThreads_, GetCurrentThreadId());
}

void EventSinks::readerEnded() {
    {
        const LockGuard guard(mutex_);
        if (std::erase(comThreads_, GetCurrentThreadId()) == 0) return;
    }
    CoUninitialize();
}

// The reader may be in a sink that needs this apartment's thread.
void EventSinks::letCallsIn() {
    const OwnedHandle never(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    HANDLE handle = never.get();
    DWORD index = 0;
    if (never) CoWaitForMultipleHandles(0, kLetCallsInFor, 1, &handle, &index);
}

}  // namespace mova
