#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "services/TrafficTrace.h"
#include "support/ScriptedPlatform.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kFile = "D:\\traffic.log";
constexpr const char* kFallback = "c:\\TempMova.Log";

class TrafficTraceTest : public ::testing::Test {
protected:
    TrafficTraceTest() { platform.withDebugViewer(); }

    void record(int kind, std::string_view text) { trace.record(TraceKind{kind}, text); }
    std::string content(const char* path = kFile) { return platform.files().content(path); }
    std::uint32_t ticks() { return platform.clock().tickCount(); }

    ScriptedPlatform platform;
    MyDebugMsg debug{platform};
    TrafficTrace trace{platform, debug};
};

// --- record texts

struct RecordCase {
    int kind;
    const char* text;
    const char* record;
};

class RecordTextTest : public TrafficTraceTest, public ::testing::WithParamInterface<RecordCase> {};

TEST_P(RecordTextTest, StandsInTheTraceFileAndInTheDebugSink) {
    debug.setPrefix("P:");
    debug.post("");  // the search for the viewer and its 50 ms are over
    ASSERT_EQ(trace.activate(kFile, ticks() - 1234, 1), 0u);
    record(GetParam().kind, GetParam().text);
    EXPECT_EQ(content(), std::string(GetParam().record) + "\t\t\t\t[T:1234]\n");
    EXPECT_THAT(platform.datagrams().texts(), ElementsAre("P:", std::string("P:") + GetParam().record));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, RecordTextTest,
    ::testing::Values(
        RecordCase{1, "001A0102000300040005ABCD", "Mv-S 001A#01-02-0003-0004-0005%ABCD"},
        RecordCase{2, "01020304AABB", "Mv-R 01-02-0304%AABB"},
        RecordCase{3, "0C0080010106008000341202002E", "E2P-S 0C00#800101-0600-80-00-3412-0200%\n2E"},
        RecordCase{4, "05008002021122AA", "E2P-S 0500#800202%1122AA"},
        RecordCase{5, "0800800034120200AABB", "E2P-R 0800-80-00-3412-0200%\nAABB\n"},
        RecordCase{6, "ignored", "E2P-A %E2p Ack!"}, RecordCase{7, "ignored", "E2P-A % E2p OK!"},
        RecordCase{8, "0600800034120200", "E2P-Msg 0600800034120200%"}, RecordCase{9, "AT+CSQ", "AT-S AT+CSQ"},
        RecordCase{10, "+CSQ: 9,99~OK", "AT-R +CSQ: 9,99~OK"}, RecordCase{11, "ignored", "Mv-A %Mova Checksum Error!"},
        RecordCase{12, "*MOVA=01 -- 0x3001", "Mv-R-Error *MOVA=01 -- 0x3001"}, RecordCase{13, "RING", "AT-Purge RING"},
        RecordCase{14, "0900A001010200000102A8", "HCI-S 0900#A00101-0200-00%\n0102A8"},
        RecordCase{15, "0500A002021122AA", "HCI-S 0500#A00202%1122AA"},
        // Deliberate: the last six characters, whatever lies before them.
        RecordCase{16, "02000300CC", "HCI-R 0200-03%\n0300CC\n"},
        RecordCase{17, "AT*MOVA=010001", "Mv-ECHO AT*MOVA=010001"},
        RecordCase{18, "Open Device:7,115200", "Open Device:7,115200"},
        RecordCase{19, "0A00B0010121000200AABB88", "WIFI-S 0A00#B00101-21-00-0200%\nAABB88"},
        RecordCase{20, "0500B002021122AA", "WIFI-S 0500#B00202%1122AA"},
        RecordCase{21, "21000200CCDD", "WIFI-R 21-00-0200%\nCCDD\n"},
        // Kinds outside the table give an empty record, which is emitted all the same.
        RecordCase{0, "x", ""}, RecordCase{22, "x", ""}, RecordCase{-1, "x", ""}, RecordCase{118, "x", ""}),
    [](const auto& test) {
        return test.param.kind < 0 ? std::string("Negative") : "Kind" + std::to_string(test.param.kind);
    });

TEST(TraceTextTest, Kind1RecordOfAKnownText) {
    EXPECT_EQ(traceText(TraceKind::RfSent, "001A0102000300040005ABCD"), "Mv-S 001A#01-02-0003-0004-0005%ABCD");
}

TEST(TraceTextTest, E2pReplyWith250DataCharactersHasThreeDataLines) {
    const std::string head = "FFFF800034120200";
    const std::string first = "E2P-R FFFF-80-00-3412-0200%\n";
    const std::string a(100, 'A'), b(100, 'B'), c(50, 'C');
    EXPECT_EQ(traceText(TraceKind::E2pReply, head + a + b + c), first + a + "\n" + b + "\n" + c + "\n");
    EXPECT_EQ(traceText(TraceKind::E2pReply, head + a + b), first + a + "\n" + b + "\n");
    EXPECT_EQ(traceText(TraceKind::E2pReply, head + a), first + a + "\n");
    EXPECT_EQ(traceText(TraceKind::E2pReply, head), first);
}

TEST(TraceTextTest, WifiReplyIsCutIntoLinesOf100) {
    const std::string a(100, 'A');
    EXPECT_EQ(traceText(TraceKind::WifiReply, "21000200" + a + "B"), "WIFI-R 21-00-0200%\n" + a + "\nB\n");
}

TEST(TraceTextTest, HciReplyShowsItsLastSixCharactersOfALongAnswer) {
    EXPECT_EQ(traceText(TraceKind::HciReply, "100005" + std::string(250, 'A') + "123456"), "HCI-R 1000-05%\n123456\n");
    EXPECT_EQ(traceText(TraceKind::HciReply, "020003"), "HCI-R 0200-03%\n020003\n");
}

TEST(TraceTextTest, MissingCharactersLeaveTheirFieldsEmpty) {
    EXPECT_EQ(traceText(TraceKind::RfSent, ""), "Mv-S #----%");
    EXPECT_EQ(traceText(TraceKind::RfSent, "001A010"), "Mv-S 001A#01-0---%");
    EXPECT_EQ(traceText(TraceKind::RfReply, "01"), "Mv-R 01--%");
    EXPECT_EQ(traceText(TraceKind::E2pReply, "0800"), "E2P-R 0800----%\n");
    EXPECT_EQ(traceText(TraceKind::WifiReply, ""), "WIFI-R --%\n");
}

TEST(TraceTextTest, PercentSignsOfTheTextStayAsTheyAre) {
    EXPECT_EQ(traceText(TraceKind::AtReply, "100%s%%n"), "AT-R 100%s%%n");
    EXPECT_EQ(traceText(TraceKind::FreeText, "%d"), "%d");
}

// --- elapsed time

struct ElapsedCase {
    const char* name;
    std::uint32_t start;
    std::uint32_t now;
    const char* printed;
};

class ElapsedTest : public TrafficTraceTest, public ::testing::WithParamInterface<ElapsedCase> {};

TEST_P(ElapsedTest, TimeSinceTheStartTick) {
    debug.post("");
    ASSERT_EQ(trace.activate(kFile, GetParam().start, 1), 0u);
    platform.clock().setTickCount(GetParam().now);
    record(18, "x");
    EXPECT_EQ(content(), std::string("x\t\t\t\t[T:") + GetParam().printed + "]\n");
}

INSTANTIATE_TEST_SUITE_P(All, ElapsedTest,
                         ::testing::Values(ElapsedCase{"Later", 1000, 1001, "1"},
                                           ElapsedCase{"FromZero", 0, 123456789, "123456789"},
                                           // Deliberate: one lower than the true difference from here on.
                                           ElapsedCase{"SameTick", 1000, 1000, "-1"},
                                           ElapsedCase{"StartGreaterThanNow", 0xFFFFFFF0, 0x10, "31"},
                                           ElapsedCase{"StartInTheFuture", 1010, 1000, "-11"},
                                           ElapsedCase{"LastTickToFirst", 0xFFFFFFFF, 0, "0"},
                                           // Printed as a signed number.
                                           ElapsedCase{"BeyondTwoToThe31", 0, 0x90000000, "-1879048192"}),
                         [](const auto& test) { return test.param.name; });

TEST_F(TrafficTraceTest, ElapsedTimeGrowsFromRecordToRecord) {
    debug.post("");
    trace.activate(kFile, ticks() - 5, 1);
    record(9, "AT");
    platform.advance(20);
    record(10, "OK");
    EXPECT_EQ(content(), "AT-S AT\t\t\t\t[T:5]\nAT-R OK\t\t\t\t[T:25]\n");
}

// --- starting and stopping

TEST_F(TrafficTraceTest, WithLoggingInactiveNothingIsWrittenToAnyFileButTheDebugSinkGetsTheRecord) {
    record(9, "AT");
    EXPECT_EQ(platform.files().count(), 0u);
    EXPECT_EQ(platform.failures().calls(Op::FileOpen), 0u);
    EXPECT_THAT(platform.datagrams().texts(), ElementsAre("AT-S AT"));
}

TEST_F(TrafficTraceTest, StartCreatesTheFileEmptyAndLeavesAnOldOneAsItIs) {
    EXPECT_EQ(trace.activate(kFile, 0, 1), 0u);
    EXPECT_TRUE(platform.files().exists(kFile));
    EXPECT_FALSE(platform.files().exists(kFallback));
    EXPECT_EQ(platform.files().openFiles(), 0u);
    platform.files().put("old.log", "before\n");
    EXPECT_EQ(trace.activate("old.log", ticks() - 1, 1), 0u);
    debug.post("");  // 50 ms
    record(9, "AT");
    EXPECT_EQ(content("old.log"), "before\nAT-S AT\t\t\t\t[T:51]\n");
    EXPECT_EQ(content(), "");
}

TEST_F(TrafficTraceTest, FileIsOpenedAndClosedOncePerRecord) {
    trace.activate(kFile, 0, 1);
    platform.journal().clear();
    record(9, "AT");
    platform.files().remove(kFile);  // other programs may take it away in between
    record(18, "x");
    EXPECT_THAT(platform.journal().only({Op::FileOpen}),
                ElementsAre("fileOpen D:\\traffic.log text append", "fileOpen D:\\traffic.log text append"));
    EXPECT_EQ(content().substr(0, 2), "x\t");
}

TEST_F(TrafficTraceTest, FailedOpenTriesTheFallbackYetKeepsTheGivenName) {
    platform.files().put(kFallback, "old");
    platform.files().deny(kFile);
    EXPECT_EQ(trace.activate(kFile, ticks() - 7, 1), 0u);
    EXPECT_THAT(platform.journal().only({Op::FileOpen}), ElementsAre("fileOpen D:\\traffic.log text append -> denied",
                                                                     "fileOpen c:\\TempMova.Log text truncate"));
    EXPECT_EQ(content(kFallback), "");  // emptied by the try
    debug.post("");
    record(9, "AT");  // the given file still does not open: not written anywhere
    EXPECT_EQ(content(kFallback), "");
    platform.files().allow(kFile);
    record(9, "AT");
    EXPECT_EQ(content(), "AT-S AT\t\t\t\t[T:57]\n");
}

TEST_F(TrafficTraceTest, WhenBothOpensFailLoggingIsActiveAllTheSameWithTheOldPathAndTick) {
    debug.post("");
    trace.activate("first.log", ticks() - 10, 1);
    platform.files().deny(kFile);
    platform.files().deny(kFallback);
    EXPECT_EQ(trace.activate(kFile, 0, 1), 0x1002u);
    record(9, "AT");
    EXPECT_EQ(content("first.log"), "AT-S AT\t\t\t\t[T:10]\n");
}

TEST_F(TrafficTraceTest, ActiveWithoutAnyFileRecordsGoUnwritten) {
    platform.files().deny(kFile);
    platform.files().deny(kFallback);
    platform.files().deny("");
    EXPECT_EQ(trace.activate(kFile, 0, 1), 4098u);
    record(9, "AT");
    EXPECT_EQ(platform.files().count(), 0u);
    EXPECT_THAT(platform.datagrams().texts(), ElementsAre("AT-S AT"));
    EXPECT_EQ(platform.failures().calls(Op::FileOpen), 3u);  // it was tried
}

TEST_F(TrafficTraceTest, EveryOtherRequestStops) {
    for (const std::uint32_t request : {0u, 2u, 3u, 0xFFFFFFFFu}) {
        trace.activate(kFile, 0, 1);
        platform.files().put(kFile, "");
        EXPECT_EQ(trace.activate("E:\\other.log", 0, request), 0u);
        record(9, "AT");
        EXPECT_EQ(content(), "") << request;
        EXPECT_FALSE(platform.files().exists("E:\\other.log"));
    }
}

TEST_F(TrafficTraceTest, StoppingTakesTheTickOfNowAsTheStart) {
    debug.post("");
    platform.files().deny(kFallback);
    trace.activate(kFile, 0, 1);
    platform.clock().setTickCount(5000);
    trace.activate(kFile, 77, 0);
    platform.clock().setTickCount(5300);
    platform.files().deny("E:\\other.log");
    EXPECT_EQ(trace.activate("E:\\other.log", 77, 1), 0x1002u);  // keeps path and tick
    record(18, "x");
    EXPECT_EQ(content(), "x\t\t\t\t[T:300]\n");
}

TEST_F(TrafficTraceTest, WriteThatFailsClosesTheFileAndLosesTheRecord) {
    trace.activate(kFile, 0, 1);
    platform.failures().fail(Op::FileWrite);
    record(9, "AT");
    EXPECT_EQ(platform.files().openFiles(), 0u);
    EXPECT_EQ(content(), "");
}

TEST_F(TrafficTraceTest, RecordsFromSeveralThreadsAreWholeLines) {
    trace.activate(kFile, 0, 1);
    debug.post("");
    platform.clock().setTickCount(100);
    platform.interleave(3, 2);
    std::vector<std::unique_ptr<Thread>> threads;
    for (int i = 0; i < 3; ++i) {
        threads.push_back(platform.spawn([&] {
            for (int n = 0; n < 10; ++n) record(9, "AT");
        }));
    }
    for (auto& thread : threads) EXPECT_TRUE(thread->join(100));
    std::string expected;
    for (int n = 0; n < 30; ++n) expected += "AT-S AT\t\t\t\t[T:100]\n";
    EXPECT_EQ(content(), expected);
}

}  // namespace
}  // namespace mova
