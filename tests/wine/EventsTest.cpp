// Confirmations as events: sinks of the same apartment, sinks behind a proxy, sinks that do what they must not.
#include <functional>
#include <thread>

#include "Client.h"
#include "Sink.h"

namespace mova::test {
namespace {

using testing::ElementsAre;

void switchTo(IVeCmdManager* manager, ULONG mode) {
    ULONG code = 1;
    EXPECT_EQ(manager->SwitchOperateMode(mode, 0, &code), S_OK);
    EXPECT_EQ(code, 0u);
}

// Asks the handset for numbered confirmations, far enough from each other to be taken in one by one: of general
// confirmations that are taken in together the last one stands for all.
void ask(IVeCmdManager* manager, const std::wstring& count) {
    const Text command((L"AT%CNF=" + count + L",100").c_str());
    LONG code = 1;
    EXPECT_EQ(manager->SendNormalAtCmd(0, command.get(), &code), S_OK);
    EXPECT_EQ(code, 0);
}

bool isConfirmation(const Event& event) { return event.text.starts_with(L"7E00"); }

std::size_t confirmations(Sink& sink) {
    std::size_t count = 0;
    for (const Event& event : sink.events()) count += isConfirmation(event);
    return count;
}

// --- the connection point

TEST(ConnectionPoint, BelongsToItsContainer) {
    const auto manager = makeManager();
    const auto point = pointOf(manager.get());
    IID iid{};
    EXPECT_EQ(point->GetConnectionInterface(&iid), S_OK);
    EXPECT_EQ(iid, __uuidof(_IVeCmdManagerEvents));
    ComPtr<IConnectionPointContainer> container;
    EXPECT_EQ(point->GetConnectionPointContainer(container.receive()), S_OK);
    EXPECT_EQ(ComPtr<IUnknown>::of(container.get()).get(), ComPtr<IUnknown>::of(manager.get()).get());
    ComPtr<IConnectionPoint> other;
    EXPECT_EQ(container->FindConnectionPoint(__uuidof(IDispatch), other.receive()), CONNECT_E_NOCONNECTION);
    EXPECT_FALSE(other);
    ComPtr<IEnumConnectionPoints> points;
    ASSERT_EQ(container->EnumConnectionPoints(points.receive()), S_OK);
    ComPtr<IConnectionPoint> first;
    EXPECT_EQ(points->Next(1, first.receive(), nullptr), S_OK);
    EXPECT_EQ(first.get(), point.get());
    ComPtr<IConnectionPoint> second;
    ULONG fetched = 7;
    EXPECT_EQ(points->Next(1, second.receive(), &fetched), S_FALSE);
    EXPECT_EQ(fetched, 0u);
    EXPECT_EQ(points->Reset(), S_OK);
    EXPECT_EQ(points->Skip(2), S_FALSE);
}

TEST(ConnectionPoint, KeepsItsSubscribers) {
    const auto manager = makeManager();
    const auto point = pointOf(manager.get());
    Sink first;
    Sink second;
    const DWORD firstCookie = advise(manager.get(), first);
    const DWORD secondCookie = advise(manager.get(), second);
    EXPECT_NE(firstCookie, secondCookie);
    ComPtr<IEnumConnections> connections;
    ASSERT_EQ(point->EnumConnections(connections.receive()), S_OK);
    ComPtr<IEnumConnections> copy;
    ASSERT_EQ(connections->Clone(copy.receive()), S_OK);
    CONNECTDATA data[3] = {};
    ULONG fetched = 0;
    EXPECT_EQ(copy->Next(3, data, &fetched), S_FALSE);
    ASSERT_EQ(fetched, 2u);
    EXPECT_EQ(data[0].dwCookie, firstCookie);
    EXPECT_EQ(data[0].pUnk, &first);
    EXPECT_EQ(data[1].dwCookie, secondCookie);
    for (ULONG i = 0; i < fetched; ++i) data[i].pUnk->Release();
    connections = {};
    copy = {};
    EXPECT_EQ(point->Unadvise(firstCookie), S_OK);
    EXPECT_EQ(first.references, 1u);
    EXPECT_EQ(point->Unadvise(firstCookie), static_cast<HRESULT>(0x80040200));
    EXPECT_EQ(point->Unadvise(0), static_cast<HRESULT>(0x80040200));
    EXPECT_EQ(point->Unadvise(secondCookie), S_OK);
    EXPECT_EQ(second.references, 1u);
}

TEST(ConnectionPoint, WhoCannotBeCalledCannotSubscribe) {
    class Silent final : public IUnknown {
    public:
        STDMETHODIMP QueryInterface(REFIID, void** object) override {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        STDMETHODIMP_(ULONG) AddRef() override { return 2; }
        STDMETHODIMP_(ULONG) Release() override { return 1; }
    } silent;
    const auto manager = makeManager();
    DWORD cookie = 7;
    EXPECT_EQ(pointOf(manager.get())->Advise(&silent, &cookie), CONNECT_E_CANNOTCONNECT);
    EXPECT_EQ(cookie, 0u);
    EXPECT_EQ(pointOf(manager.get())->Advise(nullptr, &cookie), E_POINTER);
    EXPECT_EQ(pointOf(manager.get())->Advise(&silent, nullptr), E_POINTER);
}

TEST(ConnectionPoint, ReleasesItsSubscribersWithTheObject) {
    Sink sink;
    {
        const auto manager = makeManager();
        advise(manager.get(), sink);
        EXPECT_EQ(sink.references, 2u);
    }
    EXPECT_EQ(sink.references, 1u);
}

// --- events

class Events : public testing::Test {
protected:
    // The sinks outlive the object that they are subscribed to.
    Sink sink;
    Sink second;
    Sink third;
    const ComPtr<IVeCmdManager> manager = openManager(fastPort());
};

TEST_F(Events, ConfirmationsArriveOnTheReadersThreadInModeOne) {
    advise(manager.get(), sink);
    switchTo(manager.get(), 1);
    ask(manager.get(), L"2");
    ASSERT_TRUE(eventually([&] { return confirmations(sink) == 2; }));
    std::vector<std::wstring> texts;
    for (const Event& event : sink.events()) {
        EXPECT_EQ(event.id, 2);
        EXPECT_EQ(event.type, 1);
        EXPECT_EQ(event.parameter, static_cast<LONG>(event.text.size()));
        EXPECT_NE(event.thread, GetCurrentThreadId());
        if (isConfirmation(event)) texts.push_back(event.text.substr(0, 4));
    }
    EXPECT_THAT(texts, ElementsAre(L"7E00", L"7E00"));
    switchTo(manager.get(), 0);
}

TEST_F(Events, AnAtAnswerArrivesOnOneLine) {
    exchange(manager.get(), L"ATE0");
    advise(manager.get(), sink);
    switchTo(manager.get(), 1);
    const Text command(L"AT+CGMI");
    LONG code = 1;
    manager->SendNormalAtCmd(0, command.get(), &code);
    ASSERT_TRUE(eventually([&] { return sink.count() > 0; }));
    switchTo(manager.get(), 0);
    EXPECT_EQ(sink.events().front().text, L"ACME~OK~");
    EXPECT_EQ(sink.events().front().parameter, 8);
    exchange(manager.get(), L"ATE1");
}

TEST_F(Events, OtherModesRaiseNone) {
    advise(manager.get(), sink);
    switchTo(manager.get(), 2);
    ask(manager.get(), L"1");
    ULONG remained = 0;
    ULONG length = 0;
    ULONG error = 0;
    EXPECT_TRUE(eventually([&] {
        Text data;
        manager->FetchQueuedCnfItem(&remained, &length, &error, data.receive());
        return length == 4;
    }));
    switchTo(manager.get(), 0);
    EXPECT_EQ(sink.count(), 0u);
}

TEST_F(Events, SeveralSinksAreCalledInTurnAndAFailingOneStopsNobody) {
    sink.answer = E_FAIL;
    advise(manager.get(), sink);
    const DWORD gone = advise(manager.get(), second);
    advise(manager.get(), third);
    EXPECT_EQ(pointOf(manager.get())->Unadvise(gone), S_OK);
    switchTo(manager.get(), 1);
    ask(manager.get(), L"3");
    EXPECT_TRUE(eventually([&] { return confirmations(third) == 3; }));
    EXPECT_EQ(confirmations(sink), 3u);
    EXPECT_EQ(second.count(), 0u);
    switchTo(manager.get(), 0);
}

TEST_F(Events, ASinkMayLeaveAndMakeOthersLeaveInsideItsEvent) {
    DWORD own = 0;
    DWORD others = 0;
    const auto point = pointOf(manager.get());
    sink.action = [&] {
        for (DWORD* cookie : {&own, &others}) {
            const DWORD leaving = std::exchange(*cookie, 0);
            EXPECT_TRUE(leaving == 0 || point->Unadvise(leaving) == S_OK);
        }
    };
    own = advise(manager.get(), sink);
    others = advise(manager.get(), second);
    advise(manager.get(), third);
    switchTo(manager.get(), 1);
    ask(manager.get(), L"3");
    EXPECT_TRUE(eventually([&] { return confirmations(third) == 3; }));
    EXPECT_EQ(sink.count(), 1u);
    EXPECT_EQ(second.count(), 0u);
    EXPECT_EQ(sink.references, 1u);
    switchTo(manager.get(), 0);
}

TEST_F(Events, ASinkMayCallTheObject) {
    std::atomic<int> calls{0};
    sink.action = [&] {
        LONG open = 0;
        EXPECT_EQ(manager->IsCommDeviceOpen(&open), S_OK);
        ULONG remained = 0;
        ULONG length = 0;
        ULONG error = 0;
        Text data;
        EXPECT_EQ(manager->FetchQueuedCnfItem(&remained, &length, &error, data.receive()), S_OK);
        ++calls;
    };
    advise(manager.get(), sink);
    switchTo(manager.get(), 1);
    ask(manager.get(), L"5");
    EXPECT_TRUE(eventually([&] { return confirmations(sink) == 5; }));
    EXPECT_GE(calls, 5);
    switchTo(manager.get(), 0);
}

TEST_F(Events, ASinkMayCloseThePort) {
    std::atomic<bool> closed{false};
    sink.action = [&] {
        LONG code = -1;
        EXPECT_EQ(manager->ProprietaryCloseComPort(0, &code), S_OK);
        EXPECT_EQ(code, 0);
        closed = true;
    };
    advise(manager.get(), sink);
    switchTo(manager.get(), 1);
    ask(manager.get(), L"1");
    EXPECT_TRUE(eventually([&] { return closed.load(); }));
    LONG open = 1;
    EXPECT_EQ(manager->IsCommDeviceOpen(&open), S_OK);
    EXPECT_EQ(open, 0);
}

TEST_F(Events, ASinkMaySwitchTheMode) {
    std::atomic<bool> switched{false};
    sink.action = [&] {
        switchTo(manager.get(), 0);
        switched = true;
    };
    advise(manager.get(), sink);
    switchTo(manager.get(), 1);
    ask(manager.get(), L"1");
    EXPECT_TRUE(eventually([&] { return switched.load(); }));
    EXPECT_EQ(exchange(manager.get(), L"AT"), L"AT\r~OK~");
}

TEST(EventsAtTheEnd, ASinkMayReleaseTheLastReference) {
    Sink sink;
    std::atomic<bool> released{false};
    IVeCmdManager* raw = openManager(fastPort()).release();
    sink.action = [&] {
        if (released.exchange(true)) return;
        raw->Release();
    };
    advise(raw, sink);
    switchTo(raw, 1);
    ask(raw, L"3");
    EXPECT_TRUE(eventually([&] { return released.load(); }));
    EXPECT_TRUE(eventually([&] { return sink.references == 1; }));
    const auto again = openManager(fastPort());  // the port is free
    EXPECT_EQ(exchange(again.get(), L"AT"), L"AT\r~OK~");
}

TEST(EventsAtTheEnd, ASinkMayReleaseTheLastReferenceInsideALateBoundCall) {
    Sink sink;
    std::atomic<bool> released{false};
    ULONG left = 77;
    IVeCmdManager* raw = openManager(fastPort()).release();
    const DWORD caller = GetCurrentThreadId();
    sink.action = [&] {
        if (GetCurrentThreadId() != caller || released.exchange(true)) return;
        left = raw->Release();
    };
    advise(raw, sink);
    switchTo(raw, 1);
    for (int i = 0; i < 100 && !released; ++i) {  // until the answer is not taken by the reader's pass
        Variant code;
        EXPECT_EQ(call(raw, L"SetAtCmdProperty", {Variant(101).raw(), Variant(1).raw(), variable(code)}).result, S_OK);
        EXPECT_EQ(code.type(), VT_I4);
    }
    ASSERT_TRUE(released);
    EXPECT_EQ(left, 1u);  // the call's own: what it still uses is not gone yet
    EXPECT_TRUE(eventually([&] { return sink.references == 1; }));
}

// Of those that one pass takes in together the last stands for all: numbers may be left out, never repeated or swapped.
TEST(EventsAtSpeed, TenThousandConfirmationsArriveInOrder) {
    Sink sink;
    const auto manager = openManager(linePort());
    advise(manager.get(), sink);
    switchTo(manager.get(), 1);
    const Text command(L"AT%CNF=10000");
    LONG code = 1;
    EXPECT_EQ(manager->SendNormalAtCmd(0, command.get(), &code), S_OK);
    const auto number = [](const Event& event) {  // two bytes, least significant first
        return std::stoul(event.text.substr(6, 2) + event.text.substr(4, 2), nullptr, 16);
    };
    EXPECT_TRUE(eventually(
        [&] {
            const auto events = sink.events();
            for (auto event = events.rbegin(); event != events.rend(); ++event) {
                if (isConfirmation(*event)) return number(*event) == 9999;
            }
            return false;
        },
        120000));
    switchTo(manager.get(), 0);
    long last = -1;
    std::size_t arrived = 0;
    for (const Event& event : sink.events()) {
        if (!isConfirmation(event)) continue;
        EXPECT_GT(static_cast<long>(number(event)), last);
        last = static_cast<long>(number(event));
        ++arrived;
    }
    EXPECT_EQ(last, 9999);
    RecordProperty("arrived", static_cast<int>(arrived));
}

// --- another apartment

// A client whose threads share one apartment: the sink is a proxy to the object. Returns the confirmations it got. The
// sink outlives the apartment, which holds it too.
std::size_t confirmationsOfMtaClient(Sink& sink) {
    sink.direct = false;
    std::size_t got = 0;
    std::thread client([&] {
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        {
            const auto manager = openManager(fastPort());
            const DWORD cookie = advise(manager.get(), sink);
            switchTo(manager.get(), 1);
            ask(manager.get(), L"3");
            eventually([&] { return confirmations(sink) == 3; });
            got = confirmations(sink);
            switchTo(manager.get(), 0);
            EXPECT_EQ(pointOf(manager.get())->Unadvise(cookie), S_OK);
        }
        CoUninitialize();
    });
    client.join();
    EXPECT_TRUE(eventually([&] { return sink.references == 1; }));
    return got;
}

TEST(EventsThroughAProxy, AnMtaClientGetsThem) {
    Sink sink;
    EXPECT_EQ(confirmationsOfMtaClient(sink), 3u);
}

TEST(EventsThroughAProxy, GoToTheInterfaceThatWasSubscribed) {
    Sink other;
    Sink sink;
    sink.eventsOnly = true;
    sink.other = &other;
    EXPECT_EQ(confirmationsOfMtaClient(sink), 3u);
    EXPECT_EQ(other.count(), 0u);
}

}  // namespace
}  // namespace mova::test
