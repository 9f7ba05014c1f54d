// A million bytes of anything in front of a good answer: the next good answer is delivered, in every mode, for AT
// answers, acknowledgements and confirmations. In virtual time.
#include <functional>
#include <string>
#include <string_view>

#include "ComponentFixture.h"
#include "unit/transport/Seeds.h"

namespace mova {
namespace {

constexpr std::size_t kMillion = 1'000'000;

std::string repeated(std::string_view piece) {
    std::string text;
    text.reserve(kMillion + piece.size());
    while (text.size() < kMillion) text += piece;
    return text;
}

struct Flavour {
    const char* name;
    std::string (*make)();
    bool isGeneral = false;  // holds general confirmations, which take a record from an E2P reply behind them
};

const Flavour kFlavours[] = {
    {"RandomBytes", [] { return Random(7).bytes(kMillion); }},
    {"ZeroBytes", [] { return repeated(std::string_view("\0", 1)); }},
    {"CarriageReturns", [] { return repeated("\r"); }},
    {"LineFeeds", [] { return repeated("\n"); }},
    {"EmptyLines", [] { return repeated("\r\n"); }},
    {"EndlessLine", [] { return repeated("x"); }},
    {"HighBytes", [] { return repeated("\xFF"); }},
    {"RequestPrefixes", [] { return repeated("AT*MOVA="); }},
    {"HalfFramesWithoutEnd", [] { return repeated("*MOVA=05000500"); }, true},
    {"HalfFrames", [] { return repeated("*MOVA=05000500\r\n"); }, true},
    {"DamagedFrames", [] { return repeated("*MOVA=0600800001AABB97\r\n"); }},
    {"AnswerPrefixes", [] { return repeated("*MOVA=AC\r\n*MOVA=05000\r\nO\r\nERRO\r\n+CSQ: 21\r\nOKAY\r\n OK\r\n"); },
     true},
    {"TextLines", [] { return repeated("+CREG: 0,1\r\n"); }},
};

// Behind the garbage a line end: what stands directly behind an unfinished line is part of it.
const std::string kLineEnd = "\r\n";
const std::string kAck = "*MOVA=ACK\r\n";
const std::string kE2pReply = "*MOVA=0E008000010800800034120200AABB32\r\n";
const std::string kConfirmation = "*MOVA=05000500020103\r\n";

class HostileLinesTest : public ComponentTest, public ::testing::WithParamInterface<Flavour> {
protected:
    HostileLinesTest() {
        platform.journal().keep(false);
        garbage = GetParam().make() + kLineEnd;
        manager->put_CommPortId(7);
        EXPECT_EQ(manager->InitCmdManager(0), 0u);
    }

    // What the handset sends upon the next request.
    void answerWith(const std::string& bytes) {
        comm.onWrite([this, bytes](std::string_view written) {
            if (!written.ends_with('\r')) return;
            comm.feed(bytes);
            comm.onWrite({});
        });
    }
    bool readsE2p() {
        const TextResult read = manager->ReadE2PObject(0x1234, 2);
        return read.code == 0 && read.text == "AABB";
    }
    void mode(std::uint32_t option) { EXPECT_EQ(manager->SwitchOperateMode(option, 0), 0u); }
    // The garbage comes as a line brings it: the reader keeps up.
    void garbageInTheBackground(std::string_view behind) {
        constexpr std::size_t kPiece = 2000;
        const std::string all = garbage + std::string(behind);
        for (std::size_t at = 0; at < all.size(); at += kPiece) {
            comm.feed(std::string_view(all).substr(at, kPiece));
            platform.advance(6);
            if (at % (100 * kPiece) == 0) platform.datagrams().clear();
        }
        platform.advance(100);
    }
    // The last good confirmation; damaged ones before it give no data.
    std::string lastQueued() {
        constexpr int kMoreThanTheQueueHolds = 150;
        std::string last;
        for (int i = 0; i < kMoreThanTheQueueHolds; ++i) {
            const QueuedItem item = manager->FetchQueuedCnfTextItem();
            if (!item.data.empty()) last = item.data;
        }
        return last;
    }

    std::string garbage;
};

INSTANTIATE_TEST_SUITE_P(Flavours, HostileLinesTest, ::testing::ValuesIn(kFlavours),
                         [](const auto& flavour) { return std::string(flavour.param.name); });

TEST_P(HostileLinesTest, BeforeARequestTheyAreThrownAway) {
    comm.feed(garbage);
    answerWith(kAck + kE2pReply + "OK\r\n");
    EXPECT_TRUE(readsE2p());
    comm.feed(garbage);
    answerWith("\r\nACME AM-1\r\n\r\nOK\r\n");
    EXPECT_EQ(manager->SpecificInfo(0, 0, "").text, "ACME AM-1~~");
}

TEST_P(HostileLinesTest, BeforeAnAcknowledgement) {
    answerWith(garbage + kAck + kE2pReply + "OK\r\n");
    EXPECT_TRUE(readsE2p());
    answerWith(kAck + kE2pReply + "OK\r\n");
    EXPECT_TRUE(readsE2p());
}

TEST_P(HostileLinesTest, BetweenAcknowledgementAndConfirmation) {
    answerWith(kAck + garbage + kE2pReply + "OK\r\n");
    const TextResult read = manager->ReadE2PObject(0x1234, 2);
    EXPECT_EQ(read.code, GetParam().isGeneral ? 0x4203u : 0u);
    EXPECT_EQ(read.text.value_or(""), GetParam().isGeneral ? "" : "AABB");
    answerWith(kAck + kE2pReply + "OK\r\n");
    EXPECT_TRUE(readsE2p());
}

TEST_P(HostileLinesTest, BeforeAnAtAnswer) {
    answerWith(garbage + "\r\nOK\r\n");
    EXPECT_EQ(manager->SetAtCmdProperty(101, 1), 0u);
    answerWith(garbage + "\r\nACME AM-1\r\n\r\nOK\r\n");
    const TextResult version = manager->SpecificInfo(0, 0, "");
    EXPECT_EQ(version.code, 0u);
    answerWith("\r\nERROR\r\n");
    EXPECT_EQ(manager->SpecificInfo(10, 0, "").code, 0x6300u);
}

TEST_P(HostileLinesTest, BeforeAConfirmationThatIsAwaited) {
    mode(3);
    answerWith(garbage + kConfirmation + "OK\r\n");
    EXPECT_EQ(manager->RfGeneralTestReq(5, 0), 0u);
    answerWith(kConfirmation + "OK\r\n");
    EXPECT_EQ(manager->RfGeneralTestReq(5, 0), 0u);
    EXPECT_EQ(lastQueued(), "05000201");
}

TEST_P(HostileLinesTest, InTheBackgroundBeforeAQueuedConfirmation) {
    mode(2);
    garbageInTheBackground({});
    comm.feed(kConfirmation);
    platform.advance(20);
    EXPECT_EQ(lastQueued(), "05000201");
}

TEST_P(HostileLinesTest, InTheBackgroundBeforeAConfirmationEvent) {
    mode(1);
    garbageInTheBackground({});
    listener->events.clear();
    comm.feed(kConfirmation);
    platform.advance(20);
    ASSERT_FALSE(listener->events.empty());
    EXPECT_EQ(listener->events.back().text, "05000201");
}

TEST_P(HostileLinesTest, InTheBackgroundBeforeItsTerminator) {
    mode(5);
    garbageInTheBackground("OK\r\n");
    platform.advance(100);
    // What is handed back of the garbage waits for terminators of its own.
    for (int i = 0; i < 5; ++i) {
        comm.feed("OK\r\n");
        platform.advance(20);
    }
    lastQueued();
    comm.feed(kConfirmation + "OK\r\n");
    platform.advance(20);
    EXPECT_EQ(lastQueued(), "05000201");
}

TEST_P(HostileLinesTest, InTheBackgroundBeforeACallersAnswer) {
    mode(2);
    answerWith(garbage + kAck + kE2pReply + "OK\r\n");
    EXPECT_TRUE(readsE2p());
}

}  // namespace
}  // namespace mova
