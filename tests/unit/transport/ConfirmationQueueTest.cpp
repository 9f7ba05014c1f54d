#include <array>

#include "transport/ConfirmationQueue.h"
#include "unit/transport/TransportFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Take = ConfirmationQueue::Take;

class ConfirmationQueueTest : public ::testing::Test {
protected:
    // Records by letter and kind: "A0 B0 C0 D1".
    void fill(const std::string& records) {
        for (std::size_t i = 0; i + 1 < records.size(); i += 3) {
            queue.append(makeRecord(static_cast<LineClass>(records[i + 1] - '0'), records.substr(i, 1)));
        }
    }
    // What is in the queue, by its letters in order: clearing traces each record.
    std::string left() {
        trace.clear();
        queue.clear(trace, nullptr);
        std::string letters;
        for (const std::string& text : trace.of(TraceKind::Purged)) letters += text;
        trace.clear();
        return letters;
    }
    std::size_t size() { return queue.fetch(std::nullopt, Take::Peek).remaining; }

    ScriptedPlatform platform;
    RecordingTrace trace;
    ConfirmationQueue queue{platform.threading()};
};

void expectEmpty(const ConfirmationQueue::Fetched& fetched) {
    EXPECT_FALSE(fetched.found);
    EXPECT_EQ(fetched.record.kind, LineClass::AtText);
    EXPECT_EQ(fetched.record.primitive, 0u);
    EXPECT_EQ(fetched.record.responseText, "");
    EXPECT_EQ(fetched.record.terminatorText, "");
    EXPECT_EQ(fetched.record.hexData, "");
    EXPECT_EQ(fetched.record.byteData, "");
    EXPECT_EQ(fetched.record.error, 0u);
    EXPECT_EQ(fetched.record.valid, 0u);
}

TEST_F(ConfirmationQueueTest, EmptyQueueGivesAnEmptyRecord) {
    for (const Take take : {Take::Remove, Take::Peek}) {
        expectEmpty(queue.fetch(std::nullopt, take));
        expectEmpty(queue.fetch(LineClass::Confirmation, take));
        expectEmpty(queue.fetch(LineClass::AtText, take));
        EXPECT_EQ(queue.fetch(std::nullopt, take).remaining, 0u);
    }
}

TEST_F(ConfirmationQueueTest, EveryFieldSurvivesTheQueue) {
    MovaRetCmdTag record = makeRecord(LineClass::Confirmation, "response\r\n", "OK", "0500");
    record.primitive = 5;
    record.byteData = std::string("\x05\x00", 2);
    record.error = Code::ChecksumMismatch;
    record.valid = 0;
    queue.append(record);
    const MovaRetCmdTag fetched = queue.fetch(std::nullopt, Take::Remove).record;
    EXPECT_EQ(fetched.kind, LineClass::Confirmation);
    EXPECT_EQ(fetched.primitive, 5u);
    EXPECT_EQ(fetched.responseText, "response\r\n");
    EXPECT_EQ(fetched.terminatorText, "OK");
    EXPECT_EQ(fetched.hexData, "0500");
    EXPECT_EQ(fetched.byteData, std::string("\x05\x00", 2));
    EXPECT_EQ(fetched.error, 0x4011u);
    EXPECT_EQ(fetched.valid, 0u);
}

TEST_F(ConfirmationQueueTest, RecordsLeaveInTheOrderOfTheirArrival) {
    fill("A1 B3 C1 D5");
    for (const char* expected : {"A", "B", "C", "D"}) {
        EXPECT_EQ(queue.fetch(std::nullopt, Take::Remove).record.responseText, expected);
    }
    EXPECT_FALSE(queue.fetch(std::nullopt, Take::Remove).found);
}

TEST_F(ConfirmationQueueTest, RemainingCountsWhatIsLeftAfterTheFetch) {
    fill("A1 B3 C1");
    EXPECT_EQ(queue.fetch(std::nullopt, Take::Peek).remaining, 3u);
    EXPECT_EQ(queue.fetch(LineClass::Wifi, Take::Remove).remaining, 3u);  // nothing matched
    EXPECT_EQ(queue.fetch(LineClass::E2p, Take::Remove).remaining, 2u);
    EXPECT_EQ(queue.fetch(std::nullopt, Take::Remove).remaining, 1u);
    EXPECT_EQ(queue.fetch(std::nullopt, Take::Remove).remaining, 0u);
}

TEST_F(ConfirmationQueueTest, KindSelectorTakesTheFirstOfItsKindAndLeavesTheOthers) {
    fill("A0 B1 C2 D3 E4 F5 G6 H1");
    constexpr std::array kFirst{"A", "B", "C", "D", "E", "F", "G"};
    for (unsigned kind = 1; kind < kFirst.size(); ++kind) {
        const auto fetched = queue.fetch(static_cast<LineClass>(kind), Take::Peek);
        EXPECT_EQ(fetched.record.responseText, kFirst[kind]) << kind;
        EXPECT_EQ(fetched.remaining, 8u) << kind;
    }
    EXPECT_EQ(queue.fetch(LineClass::Confirmation, Take::Remove).record.responseText, "B");
    EXPECT_EQ(queue.fetch(LineClass::Confirmation, Take::Remove).record.responseText, "H");
    EXPECT_FALSE(queue.fetch(LineClass::Confirmation, Take::Remove).found);
    EXPECT_EQ(left(), "ACDEFG");
}

TEST_F(ConfirmationQueueTest, PeekRemovesNothing) {
    fill("A1 B3");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(queue.fetch(std::nullopt, Take::Peek).record.responseText, "A");
        EXPECT_EQ(queue.fetch(LineClass::E2p, Take::Peek).record.responseText, "B");
    }
    EXPECT_EQ(size(), 2u);
}

// --- joining plain AT texts

struct JoinCase {
    const char* what;
    const char* queued;
    bool ofKind0;  // otherwise of any kind
    Take take;
    const char* text;
    std::size_t remaining;
    const char* left;
};

const std::vector<JoinCase> kJoins{
    {"any kind, removed", "A0 B0 C0 D1", false, Take::Remove, "AC", 2, "BD"},
    {"any kind, peeked", "A0 B0 C0 D1", false, Take::Peek, "ABC", 4, "ABCD"},
    {"kind 0, removed", "A0 B0 C0 D1", true, Take::Remove, "AC", 2, "BD"},
    {"kind 0, peeked", "A0 B0 C0 D1", true, Take::Peek, "AC", 4, "ABCD"},

    {"alone, removed", "A0", false, Take::Remove, "A", 0, ""},
    {"alone, peeked", "A0", false, Take::Peek, "A", 1, "A"},
    {"two, removed", "A0 B0", false, Take::Remove, "A", 1, "B"},
    {"two, peeked", "A0 B0", false, Take::Peek, "AB", 2, "AB"},
    {"two of kind 0, peeked", "A0 B0", true, Take::Peek, "A", 2, "AB"},

    {"the one behind is of another kind, removed", "A0 B1 C0 D0", false, Take::Remove, "ACD", 1, "B"},
    {"the one behind is of another kind, peeked", "A0 B1 C0 D0", false, Take::Peek, "A", 4, "ABCD"},
    {"the one behind is of another kind, kind 0 peeked", "A0 B1 C0 D0", true, Take::Peek, "ACD", 4, "ABCD"},

    {"stops at another kind, removed", "A0 B0 C0 D1 E0", false, Take::Remove, "AC", 3, "BDE"},
    {"stops at another kind two further on, removed", "A0 B0 C3 D0", false, Take::Remove, "A", 3, "BCD"},
    {"stops at another kind, peeked", "A0 B0 C3 D0", false, Take::Peek, "AB", 4, "ABCD"},

    {"first AT text behind others, removed", "A1 B0 C0 D0", true, Take::Remove, "BD", 2, "AC"},
    {"head of another kind is not joined, removed", "A1 B0 C0 D0", false, Take::Remove, "A", 3, "BCD"},
    {"head of another kind is not joined, peeked", "A1 B0 C0 D0", false, Take::Peek, "A", 4, "ABCD"},
    {"to the end, removed", "A0 B0 C0 D0 E0", false, Take::Remove, "ACDE", 1, "B"},
    {"to the end, peeked", "A0 B0 C0 D0 E0", false, Take::Peek, "ABCDE", 5, "ABCDE"},
};

TEST_F(ConfirmationQueueTest, PlainAtTextsAreJoined) {
    for (const JoinCase& c : kJoins) {
        fill(c.queued);
        const auto fetched = queue.fetch(c.ofKind0 ? std::optional(LineClass::AtText) : std::nullopt, c.take);
        EXPECT_EQ(fetched.record.responseText, c.text) << c.what;
        EXPECT_EQ(fetched.remaining, c.remaining) << c.what;
        EXPECT_EQ(left(), c.left) << c.what;
    }
}

TEST_F(ConfirmationQueueTest, FetchOfAnyKindWithRemovalSkipsTheRecordDirectlyBehind) {
    fill("A0 B0 C0 D1");
    EXPECT_EQ(queue.fetch(std::nullopt, Take::Remove).record.responseText, "AC");
    EXPECT_EQ(queue.fetch(std::nullopt, Take::Remove).record.responseText, "B");  // D is skipped, not joined
    EXPECT_EQ(queue.fetch(std::nullopt, Take::Remove).record.responseText, "D");
}

TEST_F(ConfirmationQueueTest, OnlyResponseTextsAreJoined) {
    queue.append(makeRecord(LineClass::AtText, "A\r\n", "OK"));
    queue.append(makeRecord(LineClass::AtText, "B\r\n", "ERROR"));
    queue.append(makeRecord(LineClass::AtText, "C\r\n", "CONNECT"));
    const MovaRetCmdTag record = queue.fetch(std::nullopt, Take::Peek).record;
    EXPECT_EQ(record.responseText, "A\r\nB\r\nC\r\n");
    EXPECT_EQ(record.terminatorText, "OK");
    EXPECT_EQ(record.valid, 1u);
}

// --- overflow

TEST_F(ConfirmationQueueTest, Record101IsKeptAndRecord102EmptiesTheQueueFirst) {
    for (int i = 1; i <= 101; ++i) {
        queue.append(makeRecord(LineClass::Confirmation, std::to_string(i)));
        EXPECT_EQ(size(), static_cast<std::size_t>(i));
    }
    EXPECT_EQ(queue.fetch(std::nullopt, Take::Peek).record.responseText, "1");
    queue.append(makeRecord(LineClass::Confirmation, "102"));
    const auto fetched = queue.fetch(std::nullopt, Take::Remove);
    EXPECT_EQ(fetched.record.responseText, "102");
    EXPECT_EQ(fetched.remaining, 0u);
    EXPECT_THAT(trace.lines(), IsEmpty());  // dropped in silence
}

TEST_F(ConfirmationQueueTest, QueueOf100TakesOneMore) {
    for (int i = 1; i <= 101; ++i) queue.append(makeRecord(LineClass::Hci, std::to_string(i)));
    EXPECT_EQ(queue.fetch(std::nullopt, Take::Remove).remaining, 100u);
    queue.append(makeRecord(LineClass::Hci, "again"));
    EXPECT_EQ(queue.fetch(std::nullopt, Take::Peek).record.responseText, "2");
    EXPECT_EQ(size(), 101u);
}

// --- clearing

TEST_F(ConfirmationQueueTest, ClearTracesEachRecordAsHexDataResponseAndTerminator) {
    queue.append(makeRecord(LineClass::Confirmation, "*MOVA=05000500020103\r\n", "OK", "05000201"));
    queue.append(makeRecord(LineClass::AtText, "A\r\n\r\n", "ERROR"));
    queue.append(makeRecord(LineClass::AtText, ""));
    queue.clear(trace, nullptr);
    EXPECT_THAT(trace.lines(), ElementsAre("13 05000201*MOVA=05000500020103\r\nOK", "13 A\r\n\r\nERROR", "13 "));
    EXPECT_EQ(size(), 0u);
}

TEST_F(ConfirmationQueueTest, ClearWithPurgeTracesThePendingTextFirst) {
    PendingText pending;
    pending.append("RING\r\n+CS");
    fill("A1");
    queue.clear(trace, &pending);
    EXPECT_THAT(trace.lines(), ElementsAre("13 RING\r\n+CS", "13 A"));
    EXPECT_TRUE(pending.empty());
    EXPECT_EQ(size(), 0u);
}

TEST_F(ConfirmationQueueTest, ClearWithPurgeOfNothingLeavesNoTrace) {
    PendingText pending;
    queue.clear(trace, &pending);
    queue.clear(trace, nullptr);
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ConfirmationQueueTest, ClearOf101RecordsEmptiesIt) {
    for (int i = 0; i < 101; ++i) queue.append(makeRecord(LineClass::Wifi, "x"));
    queue.clear(trace, nullptr);
    EXPECT_EQ(size(), 0u);
    EXPECT_EQ(trace.lines().size(), 101u);
    fill("A1");
    EXPECT_EQ(size(), 1u);
}

// --- two threads

TEST_F(ConfirmationQueueTest, NothingIsLostBetweenAThreadThatFilesAndOneThatFetches) {
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        platform.interleave(seed);
        constexpr unsigned kRecords = 90;
        const auto filing = platform.spawn([&] {
            for (unsigned i = 0; i < kRecords; ++i) {
                queue.append(makeRecord(LineClass::Confirmation, std::to_string(i)));
                if (i % 7 == 0) platform.clock().sleep(1);
            }
        });
        unsigned next = 0;
        platform.advanceUntil(
            [&] {
                const auto fetched = queue.fetch(LineClass::Confirmation, Take::Remove);
                if (fetched.found) {
                    EXPECT_EQ(fetched.record.responseText, std::to_string(next++)) << seed;
                }
                return next == kRecords;
            },
            1000);
        EXPECT_EQ(next, kRecords) << seed;
        EXPECT_TRUE(filing->join(1000));
    }
}

// --- several threads

// Takes its time over each record, with the queue locked.
class SlowTrace : public RecordingTrace {
public:
    explicit SlowTrace(ScriptedPlatform& platform) : platform_(platform) {}
    void record(TraceKind kind, std::string_view text) override {
        platform_.clock().sleep(10);
        RecordingTrace::record(kind, text);
    }

private:
    ScriptedPlatform& platform_;
};

TEST_F(ConfirmationQueueTest, ARecordThatComesDuringAClearIsFiledAfterIt) {
    fill("A1 B1");
    SlowTrace slow(platform);
    auto clearing = platform.spawn([&] { queue.clear(slow, nullptr); });
    platform.advance(5);
    fill("C1");
    EXPECT_EQ(platform.elapsed(), 20);
    EXPECT_TRUE(clearing->join(0));
    EXPECT_THAT(slow.of(TraceKind::Purged), ElementsAre("A", "B"));
    EXPECT_EQ(left(), "C");
}

TEST_F(ConfirmationQueueTest, ARecordThatIsFetchedDuringAClearIsGone) {
    fill("A1 B1");
    SlowTrace slow(platform);
    auto clearing = platform.spawn([&] { queue.clear(slow, nullptr); });
    platform.advance(5);
    EXPECT_FALSE(queue.fetch(std::nullopt, Take::Remove).found);
    EXPECT_EQ(platform.elapsed(), 20);
    EXPECT_TRUE(clearing->join(0));
}

}  // namespace
}  // namespace mova
