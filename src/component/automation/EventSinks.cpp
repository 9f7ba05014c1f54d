#include "component/automation/EventSinks.h"

#include <algorithm>
#include <iterator>

#include "component/automation/Bstr.h"
#include "platform/win32/OwnedHandle.h"

namespace mova {

namespace {

constexpr DISPID kOnCpGetMovaCnf = 2;
constexpr DWORD kLetCallsInFor = 1;  // milliseconds

// The system's proxies answer for their security; objects of clients do not.
bool isProxy(IDispatch* sink) { return static_cast<bool>(ComPtr<IClientSecurity>::of(sink)); }

struct Arguments {
    VARIANT values[3]{};
    Arguments() {
        for (VARIANT& value : values) VariantInit(&value);
    }
    ~Arguments() {
        for (VARIANT& value : values) VariantClear(&value);
    }
};

void set(VARIANT& argument, std::int32_t value) {
    V_VT(&argument) = VT_I4;
    V_I4(&argument) = value;
}

void set(VARIANT& argument, Bstr text) {
    VariantClear(&argument);
    V_VT(&argument) = VT_BSTR;
    V_BSTR(&argument) = text.release();
}

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
    Place place;
    // An object may have more than one dispatch interface: this one is meant.
    IID iid{};
    for (const IID& asked : {__uuidof(_IVeCmdManagerEvents), __uuidof(IDispatch)}) {
        if (place.sink) break;
        iid = asked;
        subscriber->QueryInterface(iid, reinterpret_cast<void**>(place.sink.receive()));
    }
    if (!place.sink) return CONNECT_E_CANNOTCONNECT;
    if (isProxy(place.sink.get())) {
        const auto entry = std::make_shared<TableEntry>();
        const HRESULT result = entry->enter(place.sink.get(), iid);
        if (FAILED(result)) return result;
        place.entry = entry;
    }

    const std::lock_guard guard(mutex_);
    const auto free = std::find_if(places_.begin(), places_.end(), [](const Place& p) { return p.cookie == 0; });
    Place& taken = free == places_.end() ? places_.emplace_back() : *free;
    place.cookie = ++lastCookie_;
    taken = std::move(place);
    *cookie = taken.cookie;
    return S_OK;
}

HRESULT EventSinks::unadvise(DWORD cookie) {
    Place left;
    {
        const std::lock_guard guard(mutex_);
        const auto place = std::find_if(places_.begin(), places_.end(),
                                        [cookie](const Place& p) { return cookie != 0 && p.cookie == cookie; });
        if (place == places_.end()) return CONNECT_E_NOCONNECTION;
        std::swap(left, *place);
    }
    return S_OK;
}

void EventSinks::clear() {
    // cppcheck-suppress variableScope ; outlives the lock: sinks are released without it
    std::vector<Place> left;
    {
        const std::lock_guard guard(mutex_);
        left.swap(places_);
    }
}

std::vector<EventSinks::Subscriber> EventSinks::subscribers() const {
    std::vector<Subscriber> result;
    const std::lock_guard guard(mutex_);
    for (const Place& place : places_) {
        if (place.cookie != 0) result.push_back({place.cookie, place.sink});
    }
    return result;
}

std::size_t EventSinks::count() const {
    const std::lock_guard guard(mutex_);
    return places_.size();
}

ComPtr<IDispatch> EventSinks::reachable(std::size_t place) const {
    ComPtr<IDispatch> sink;
    std::shared_ptr<const TableEntry> entry;
    {
        const std::lock_guard guard(mutex_);
        if (place >= places_.size()) return sink;
        sink = places_[place].sink;
        entry = places_[place].entry;
    }
    ComPtr<IDispatch> own;
    if (entry) own = entry->fetch();
    return own ? own : sink;
}

void EventSinks::OnCpGetMovaCnf(std::int32_t lType, std::int32_t lParam, const std::string& text) {
    const std::size_t places = count();
    for (std::size_t place = 0; place < places; ++place) {
        const ComPtr<IDispatch> sink = reachable(place);
        if (!sink) continue;
        // Last argument first. Fresh for each sink: whatever one does to them, the next gets its own.
        Arguments arguments;
        set(arguments.values[0], wide(text));
        set(arguments.values[1], lParam);
        set(arguments.values[2], lType);
        DISPPARAMS parameters{arguments.values, nullptr, static_cast<UINT>(std::size(arguments.values)), 0};
        sink->Invoke(kOnCpGetMovaCnf, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr, nullptr,
                     nullptr);
    }
}

// Sinks may use COM on the thread that calls them. Kept by thread, since one may still be ending when the next begins,
// but not in the runtime's thread storage: that opens handles, which stay behind when the thread unloads the module.
void EventSinks::readerStarted() {
    {
        const std::lock_guard guard(mutex_);
        comThreads_.push_back(GetCurrentThreadId());  // first: with no memory for it, COM is not initialised either
    }
    if (SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return;
    const std::lock_guard guard(mutex_);
    std::erase(comThreads_, GetCurrentThreadId());
}

void EventSinks::readerEnded() {
    {
        const std::lock_guard guard(mutex_);
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
