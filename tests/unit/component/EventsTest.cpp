// Confirmations as events: on which thread, with what around them, and what a listener may do while it is told.
#include "unit/component/ComponentFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class EventsTest : public ComponentTest {
protected:
    EventsTest() {
        open();
        manager->SwitchOperateMode(1, 0);
        platform.settle();
    }
    void confirm(unsigned n) {
        comm.feed(confirmation(n));
        platform.advance(10);
    }
    std::uint32_t readerId() const { return listener->started.back(); }
};

// --- what arrives

TEST_F(EventsTest, GeneralConfirmationArrivesWithTypeLengthAndTextOnTheReaderThread) {
    confirm(0x55);
    ASSERT_EQ(listener->events.size(), 1u);
    EXPECT_EQ(listener->events[0].type, 1);
    EXPECT_EQ(listener->events[0].length, 4);
    EXPECT_EQ(listener->events[0].text, "0155");
    EXPECT_EQ(listener->events[0].thread, readerId());
    EXPECT_NE(listener->events[0].thread, 1u);
    EXPECT_THAT(fetchAll(), IsEmpty());
}

TEST_F(EventsTest, PlainTextArrivesFolded) {
    comm.feed("\r\n+CREG: 1\r\n\r\nRING\r\n");
    platform.advance(10);
    EXPECT_THAT(listener->texts(), ElementsAre("+CREG: 1~RING~"));
    EXPECT_EQ(listener->events[0].length, 14);
}

TEST_F(EventsTest, E2pConfirmationArrivesAsItsDataHciAndWifiEmpty) {
    comm.feed("*MOVA=0E008000010800800034120200AABB32\r\n");
    platform.advance(10);
    comm.feed("*MOVA=0900A0000102000300CC65\r\n");
    platform.advance(10);
    comm.feed("*MOVA=0A00B0000121000200CCDD89\r\n");
    platform.advance(10);
    ASSERT_EQ(listener->events.size(), 3u);
    EXPECT_EQ(listener->events[0].text, "0800800034120200AABB");
    EXPECT_EQ(listener->events[0].length, 20);
    EXPECT_EQ(listener->events[1].text, "");
    EXPECT_EQ(listener->events[1].length, 0);
    EXPECT_EQ(listener->events[2].text, "");
    EXPECT_EQ(listener->events[2].length, 0);
}

TEST_F(EventsTest, ConfirmationWithABadChecksumArrivesAsItsLines) {
    comm.feed("*MOVA=0300015500\r\n");
    platform.advance(10);
    EXPECT_THAT(listener->texts(), ElementsAre("*MOVA=0300015500\r\n"));
    EXPECT_EQ(listener->events[0].length, 18);
}

TEST_F(EventsTest, TwoFamiliesInOneAnswerAreTwoEventsInOrder) {
    comm.feed(confirmation(1) + "*MOVA=0E008000010800800034120200AABB32\r\n");
    platform.advance(20);
    EXPECT_THAT(listener->texts(), ElementsAre("0101", "0800800034120200AABB"));
}

TEST_F(EventsTest, UnfinishedLineRaisesAnEmptyEventOnEveryPoll) {
    comm.feed("RIN");
    platform.advance(26);
    const auto texts = listener->texts();
    EXPECT_EQ(texts.size(), 5u);
    for (const std::string& text : texts) EXPECT_EQ(text, "");
    comm.feed("G\r\n");
    platform.advance(10);
    EXPECT_EQ(listener->events.back().text, "RING~");
}

TEST_F(EventsTest, TenThousandConfirmationsArriveInOrder) {
    platform.journal().keep(false);
    for (unsigned n = 0; n < 10000; ++n) {
        comm.feed(confirmation(n & 0xFF));
        platform.clock().sleep(6);
    }
    platform.advance(20);
    ASSERT_EQ(listener->events.size(), 10000u);
    for (unsigned n = 0; n < 10000; ++n) ASSERT_EQ(listener->events[n].text, number(n & 0xFF)) << n;
    EXPECT_THAT(fetchAll(), IsEmpty());
}

// --- when none arrives

TEST_F(EventsTest, OutsideModeOneNoEventIsEverRaised) {
    for (const std::uint32_t mode : {0u, 2u, 3u, 4u, 5u, 6u}) {
        manager->SwitchOperateMode(mode, 0);
        comm.feed(confirmation(7) + "OK\r\n");
        platform.advance(20);
        if (mode != 2 && mode != 5) {
            EXPECT_EQ(manager->RfGeneralTestReq(5, 0x0102), mode == 3 || mode == 4 ? 0x4004u : 0u);
        }
        manager->FetchQueuedCnfTextItem();
        manager->ClearQueue();
    }
    EXPECT_THAT(listener->events, IsEmpty());
}

TEST_F(EventsTest, OutsideModeOneConfirmationsWaitInTheQueue) {
    manager->SwitchOperateMode(2, 0);
    confirm(1);
    confirm(2);
    EXPECT_THAT(listener->events, IsEmpty());
    EXPECT_THAT(fetchAll(), ElementsAre("0101", "0102"));
}

TEST(NoListenerTest, ConfirmationInModeOneIsConsumedAndNeitherQueuedNorDelivered) {
    ScriptedPlatform platform;
    platform.withDebugViewer();
    ScriptedPort& comm = platform.withPort(7, "USB Serial Port (COM7)");
    CVeCmdManager manager(platform, nullptr);
    manager.put_CommPortId(7);
    manager.SwitchOperateMode(1, 0);
    EXPECT_EQ(manager.InitCmdManager(0), 0u);
    comm.feed("*MOVA=0300015557\r\n");
    platform.advance(20);
    EXPECT_EQ(comm.waiting(), 0u);
    EXPECT_EQ(manager.FetchQueuedCnfItem().remained, 0u);
    manager.SwitchOperateMode(2, 0);
    platform.advance(20);
    EXPECT_EQ(manager.FetchQueuedCnfItem().length, 0u);
    EXPECT_EQ(platform.datagrams().texts().back(), "MovaCmdSvr:(COM7) Mv-R 01-55-%");  // traced all the same
}

// --- on the caller's thread

TEST_F(EventsTest, RecordsOfACallersExchangeAreRaisedOnTheCallersThreadRightAfterTheirPass) {
    std::vector<std::int64_t> times;
    const std::int64_t start = platform.elapsed();
    listener->onEvent = [&](const std::string&) { times.push_back(platform.elapsed() - start); };
    comm.expect("AT*MOVA=0C0080010106008000341202002E\r")
        .reply("*MOVA=ACK\r\n", 30ms)
        .reply("*MOVA=0E008000010800800034120200AABB32\r\nOK\r\n", 530ms);
    EXPECT_EQ(manager->ReadE2PObject(0x1234, 2).code, 0x4203u);  // the confirmation was an event
    ASSERT_EQ(listener->events.size(), 2u);
    EXPECT_EQ(listener->events[0].text, "");  // the acknowledgement
    EXPECT_EQ(listener->events[1].text, "0800800034120200AABB");
    EXPECT_EQ(listener->events[0].thread, 1u);
    EXPECT_EQ(listener->events[1].thread, 1u);
    EXPECT_EQ(times, (std::vector<std::int64_t>{30, 560}));  // not when the exchange is over
}

// --- in the midst of a caller's exchange

TEST_F(EventsTest, ReaderTakesNoAnswerOfAnExchangeThatAnEventInterrupts) {
    std::vector<std::string> order;
    listener->onEvent = [&](const std::string& text) {
        order.push_back(text);
        if (order.size() == 1) platform.clock().sleep(300);  // the rest of the answer arrives meanwhile
    };
    comm.expect("AT*MOVA=0C0080010106008000341202002E\r")
        .reply("*MOVA=ACK\r\n", 30ms)
        .reply("*MOVA=0E008000010800800034120200AABB32\r\nOK\r\n", 100ms);
    EXPECT_EQ(manager->ReadE2PObject(0x1234, 2).code, 0x4203u);  // it saw its "OK": without, it is 0x4004
    EXPECT_THAT(order, ElementsAre("", "0800800034120200AABB"));
    EXPECT_EQ(listener->events[1].thread, 1u);
    confirm(7);  // and then the reader goes on
    EXPECT_EQ(listener->events[2].text, "0107");
    EXPECT_EQ(listener->events[2].thread, readerId());
}

TEST_F(EventsTest, RecordThatIsCompletedWhileAnEarlierOneIsRaisedDoesNotOvertakeIt) {
    std::unique_ptr<Event> told = platform.threading().makeEvent();
    std::vector<std::string> ended;
    listener->onEvent = [&](const std::string& text) {
        told->set();
        platform.clock().sleep(200);
        ended.push_back(text);
    };
    comm.feed(confirmation(1));
    EXPECT_EQ(told->wait(1000), WaitResult::Signalled);
    comm.feed(confirmation(2));
    const auto before = platform.elapsed();
    manager->ClearQueue();                  // its pass completes the second record, on this thread
    EXPECT_EQ(platform.elapsed(), before);  // which waits for nobody's listener
    EXPECT_THAT(ended, IsEmpty());
    platform.advance(1000);
    EXPECT_THAT(ended, ElementsAre("0101", "0102"));
    EXPECT_THAT(listener->texts(), ElementsAre("0101", "0102"));
}

TEST_F(EventsTest, ListenerMayWaitForAnotherThreadThatCallsInTheMidstOfAnExchange) {
    std::unique_ptr<Event> called = platform.threading().makeEvent();
    std::unique_ptr<Thread> other;
    listener->onEvent = [&](const std::string& text) {
        if (!text.empty()) return;
        other = platform.threading().start([&] {
            EXPECT_EQ(manager->get_BaudRate(), 115200);
            called->set();
        });
        EXPECT_EQ(called->wait(1000), WaitResult::Signalled);
    };
    comm.expect("AT*MOVA=0C0080010106008000341202002E\r").reply("*MOVA=ACK\r\nOK\r\n", 30ms);
    EXPECT_EQ(manager->ReadE2PObject(0x1234, 2).code, 0x4203u);
    platform.settle();
}

TEST_F(EventsTest, ListenerThatClosesThePortInTheMidstOfAnExchangeEndsIt) {
    listener->onEvent = [&](const std::string&) { EXPECT_EQ(manager->ResetCmdManager(0), 0u); };
    comm.expect("AT*MOVA=0C0080010106008000341202002E\r").reply("*MOVA=ACK\r\n", 30ms);
    EXPECT_EQ(manager->ReadE2PObject(0x1234, 2).code, 0x4004u);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 0);
    EXPECT_EQ(readers(), 0u);
}

TEST_F(EventsTest, ListenerThatEndsTheObjectInTheMidstOfAnExchangeDoesNoHarm) {
    listener->onEvent = [&](const std::string&) { manager.reset(); };
    comm.expect("AT*MOVA=0C0080010106008000341202002E\r").reply("*MOVA=ACK\r\n", 30ms);
    CVeCmdManager* const object = manager.get();
    EXPECT_EQ(object->ReadE2PObject(0x1234, 2).code, 0x4004u);
    platform.settle();
    EXPECT_EQ(readers(), 0u);
    EXPECT_EQ(comm.isOpen(), false);
}

// --- no lock is held

TEST_F(EventsTest, ListenerMayWaitForTheCallersThread) {
    std::unique_ptr<Event> told = platform.threading().makeEvent();
    std::unique_ptr<Event> answered = platform.threading().makeEvent();
    listener->onEvent = [&](const std::string&) {
        told->set();
        EXPECT_EQ(answered->wait(1000), WaitResult::Signalled);
    };
    comm.feed(confirmation(1));
    EXPECT_EQ(told->wait(1000), WaitResult::Signalled);
    const auto before = platform.elapsed();
    EXPECT_EQ(manager->get_BaudRate(), 115200);
    manager->ClearQueue();
    EXPECT_EQ(manager->SendNormalAtCmd(0, "AT"), 0u);
    EXPECT_EQ(platform.elapsed(), before);
    answered->set();
    platform.settle();
    EXPECT_EQ(listener->events.size(), 1u);
}

TEST_F(EventsTest, ListenerThatNeedsTheCallersThreadIsLetInWhileTheCallerWaitsForTheReader) {
    std::unique_ptr<Event> letIn = platform.threading().makeEvent();
    listener->onLetCallsIn = [&] { letIn->set(); };
    listener->onEvent = [&](const std::string&) { EXPECT_EQ(letIn->wait(5000), WaitResult::Signalled); };
    comm.feed(confirmation(1));
    platform.advance(10);
    const auto before = platform.elapsed();
    EXPECT_EQ(manager->SwitchOperateMode(3, 0), 0u);
    EXPECT_EQ(platform.elapsed() - before, 20);
    EXPECT_EQ(readers(), 0u);
}

TEST_F(EventsTest, ListenerThatHangsHoldsNobodyUpForMoreThanTwoSeconds) {
    std::unique_ptr<Event> go = platform.threading().makeEvent();
    listener->onEvent = [&](const std::string&) { go->wait(kInfinite); };
    comm.feed(confirmation(1));
    platform.advance(10);
    auto before = platform.elapsed();
    EXPECT_EQ(manager->SwitchOperateMode(3, 0), 0u);
    EXPECT_EQ(platform.elapsed() - before, 2000);
    before = platform.elapsed();
    manager.reset();
    EXPECT_EQ(platform.elapsed() - before, 2500);  // and the closing's pause
    EXPECT_EQ(readers(), 1u);                      // it holds what it touches
    go->set();
    platform.settle();
    EXPECT_EQ(readers(), 0u);
    EXPECT_EQ(listener->ended.size(), 1u);
}

// --- failing and calling back

TEST_F(EventsTest, ListenerThatThrowsDoesNoHarm) {
    listener->onEvent = [](const std::string&) { throw std::runtime_error("in trouble"); };
    confirm(1);
    comm.feed(confirmation(2) + "*MOVA=0E008000010800800034120200AABB32\r\n");
    platform.advance(20);
    EXPECT_THAT(listener->texts(), ElementsAre("0101", "0102", "0800800034120200AABB"));
    EXPECT_EQ(readers(), 1u);
    listener->onEvent = nullptr;
}

TEST_F(EventsTest, ListenerThatClosesThePortEndsTheReader) {
    listener->onEvent = [&](const std::string&) { EXPECT_EQ(manager->ResetCmdManager(0), 0u); };
    confirm(1);
    platform.advance(600);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 0);
    EXPECT_EQ(readers(), 0u);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);  // and it opens again
    EXPECT_EQ(readers(), 1u);
    listener->onEvent = nullptr;
    confirm(2);
    EXPECT_THAT(listener->texts(), ElementsAre("0101", "0102"));
}

TEST_F(EventsTest, ListenerThatReopensThePortKeepsItsReader) {
    listener->onEvent = [&](const std::string& text) {
        if (text == "0101") {
            EXPECT_EQ(manager->InitCmdManager(0), 0u);
        }
    };
    confirm(1);
    platform.advance(600);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
    EXPECT_EQ(readers(), 1u);
    EXPECT_EQ(listener->started.size(), 1u);
    confirm(2);
    EXPECT_THAT(listener->texts(), ElementsAre("0101", "0102"));
}

TEST_F(EventsTest, ListenerThatClosesAndReopensKeepsOneReader) {
    listener->onEvent = [&](const std::string& text) {
        if (text != "0101") return;
        EXPECT_EQ(manager->ResetCmdManager(0), 0u);
        EXPECT_EQ(manager->InitCmdManager(0), 0u);
    };
    confirm(1);
    platform.advance(1200);
    EXPECT_EQ(readers(), 1u);
    EXPECT_EQ(listener->started.size(), 1u);
    confirm(2);
    EXPECT_THAT(listener->texts(), ElementsAre("0101", "0102"));
}

TEST_F(EventsTest, ListenerThatSwitchesToTheSynchronousModeEndsTheReader) {
    for (const std::uint32_t mode : {0u, 3u, 4u}) {
        listener->onEvent = [&](const std::string&) { EXPECT_EQ(manager->SwitchOperateMode(mode, 0), 0u); };
        confirm(1);
        EXPECT_EQ(readers(), 0u);
        listener->onEvent = nullptr;
        comm.feed(confirmation(2));
        platform.advance(20);
        EXPECT_EQ(comm.waiting(), 18u);  // nobody reads
        EXPECT_EQ(manager->SendNormalAtCmd(0, "AT"), 0u);
        manager->SwitchOperateMode(1, 0);
        platform.settle();
        EXPECT_EQ(readers(), 1u);
    }
    EXPECT_THAT(listener->texts(), ElementsAre("0101", "0101", "0101"));
}

TEST_F(EventsTest, ListenerThatSwitchesToTheSynchronousModeMayMakeARequestAtOnce) {
    Code code = Code::NoAnswer;
    TextResult result;
    listener->onEvent = [&](const std::string&) {
        code = manager->SwitchOperateMode(3, 0);
        comm.expect("AT*MOVA=0C0080010106008000341202002E\r")
            .reply("*MOVA=ACK\r\n*MOVA=0E008000010800800034120200AABB32\r\nOK\r\n", 30ms);
        result = manager->ReadE2PObject(0x1234, 2);
    };
    confirm(1);
    platform.advance(100);
    EXPECT_EQ(code, 0u);
    EXPECT_EQ(result.code, 0u);
    EXPECT_EQ(result.text, "AABB");
    platform.advance(20);
    EXPECT_EQ(readers(), 0u);
}

// The caller does not wait for it longer than 2 s, and then goes on without it.
TEST_F(EventsTest, ListenerThatKeepsTheReaderSpoilsNoRequestAfterASwitchToTheSynchronousMode) {
    listener->onEvent = [&](const std::string&) { platform.platform().clock.sleep(5000); };
    confirm(1);
    platform.advance(10);
    EXPECT_EQ(manager->SwitchOperateMode(3, 0), 0u);
    for (int i = 0; i < 2; ++i) {
        comm.expect("AT*MOVA=0C0080010106008000341202002E\r")
            .reply("*MOVA=ACK\r\n*MOVA=0E008000010800800034120200AABB32\r\nOK\r\n", 30ms);
        const TextResult result = manager->ReadE2PObject(0x1234, 2);
        EXPECT_EQ(result.code, 0u);
        EXPECT_EQ(result.text, "AABB");
    }
    EXPECT_EQ(readers(), 1u);
    platform.advance(5000);
    EXPECT_EQ(readers(), 0u);
}

TEST_F(EventsTest, ListenerThatSwitchesToAnotherBackgroundModeKeepsTheOneReader) {
    for (const std::uint32_t mode : {1u, 2u, 5u}) {
        manager->SwitchOperateMode(1, 0);
        listener->onEvent = [&](const std::string&) { EXPECT_EQ(manager->SwitchOperateMode(mode, 0), 0u); };
        confirm(1);
        EXPECT_EQ(readers(), 1u);
        listener->onEvent = nullptr;
        confirm(2);
        comm.feed("OK\r\n");
        platform.advance(20);
        EXPECT_EQ(fetchAll(), mode == 1 ? std::vector<std::string>{} : std::vector<std::string>{"0102"});
    }
    EXPECT_EQ(listener->started.size(), 1u);
}

TEST_F(EventsTest, ListenerThatGoesToSynchronousAndBackKeepsOneReader) {
    listener->onEvent = [&](const std::string& text) {
        if (text != "0101") return;
        manager->SwitchOperateMode(3, 0);
        manager->SwitchOperateMode(1, 0);
    };
    confirm(1);
    EXPECT_EQ(readers(), 1u);
    EXPECT_EQ(listener->started.size(), 1u);
    confirm(2);
    EXPECT_THAT(listener->texts(), ElementsAre("0101", "0102"));
}

TEST_F(EventsTest, ListenerThatFetchesFindsNothing) {
    std::vector<std::uint32_t> lengths;
    listener->onEvent = [&](const std::string&) {
        lengths.push_back(manager->FetchQueuedCnfTextItem().length);
        lengths.push_back(manager->FetchQueuedCnfItem().length);
    };
    confirm(1);
    EXPECT_THAT(lengths, ElementsAre(0u, 0u));
}

TEST_F(EventsTest, ListenerMayMakeARequestOfItsOwn) {
    TextResult result;
    listener->onEvent = [&](const std::string& text) {
        if (text != "0101") return;
        comm.expect("AT*MOVA=0C0080010106008000341202002E\r")
            .reply("*MOVA=ACK\r\n*MOVA=0E008000010800800034120200AABB32\r\nOK\r\n", 30ms);
        result = manager->ReadE2PObject(0x1234, 2);
    };
    confirm(1);
    platform.advance(100);
    EXPECT_EQ(result.code, 0x4203u);  // its confirmation is an event, too
    ASSERT_EQ(listener->events.size(), 3u);
    EXPECT_EQ(listener->events[2].text, "0800800034120200AABB");
    EXPECT_EQ(listener->events[2].thread, readerId());
}

TEST_F(EventsTest, ListenerMayReleaseTheLastReferenceOnTheReaderThread) {
    listener->onEvent = [&](const std::string&) { manager.reset(); };
    comm.feed(confirmation(1) + "*MOVA=0E008000010800800034120200AABB32\r\n");
    platform.advance(600);
    EXPECT_EQ(readers(), 0u);
    EXPECT_FALSE(comm.isOpen());
    EXPECT_THAT(listener->texts(), ElementsAre("0101"));  // and is told nothing more
    EXPECT_EQ(listener->ended, listener->started);
    EXPECT_EQ(debugTexts().back(), "FinalRelease");
    EXPECT_EQ(listener.use_count(), 1);  // everything that held it is gone
    EXPECT_EQ(platform.leaks(), "");
}

TEST_F(EventsTest, ListenerMayReleaseTheLastReferenceWhenItIsToldOfTheReadersEnd) {
    std::int64_t took = -1;
    listener->onEnded = [&] {
        const auto before = platform.elapsed();
        manager.reset();
        took = platform.elapsed() - before;
    };
    platform.advance(1);
    platform.failures().fail(Op::EventWait);  // ends the reader
    comm.feed("\r\n");                        // for which it stops to rest
    platform.advance(3000);
    EXPECT_EQ(took, 500);  // the close's pause: the thread does not wait for itself
    EXPECT_EQ(readers(), 0u);
    EXPECT_EQ(listener.use_count(), 1);
}

TEST_F(EventsTest, ListenerMayReleaseTheLastReferenceDuringACallersExchange) {
    listener->onEvent = [&](const std::string&) { manager.reset(); };
    comm.feed(confirmation(1) + "*MOVA=0E008000010800800034120200AABB32\r\n");
    manager->ClearQueue();  // its passes take the record on this thread
    EXPECT_EQ(manager, nullptr);
    EXPECT_EQ(listener->events.size(), 1u);
    EXPECT_EQ(listener->events[0].thread, 1u);
    EXPECT_EQ(readers(), 0u);
    EXPECT_FALSE(comm.isOpen());
}

TEST_F(EventsTest, ReleaseWhileEventsComeInNeverTellsAfterwards) {
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        ScriptedPlatform own;
        own.withDebugViewer();
        ScriptedPort& port = own.withPort(7, "USB Serial Port (COM7)");
        auto recorder = std::make_shared<Listener>(own.threading());
        auto object = std::make_unique<CVeCmdManager>(own, recorder);
        object->put_CommPortId(7);
        object->SwitchOperateMode(1, 0);
        ASSERT_EQ(object->InitCmdManager(0), 0u);
        own.interleave(seed, 2);
        for (int i = 0; i < 20; ++i) port.feedAfter(std::chrono::milliseconds(i), confirmation(1));
        own.clock().sleep(seed % 12);
        object.reset();
        const std::size_t told = recorder->events.size();
        own.advance(100);
        EXPECT_EQ(recorder->events.size(), told) << seed;
        EXPECT_EQ(own.threading().alive(), 0u) << seed;
        EXPECT_EQ(recorder.use_count(), 1) << seed;
    }
}

}  // namespace
}  // namespace mova
