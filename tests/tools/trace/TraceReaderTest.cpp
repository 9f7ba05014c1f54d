// Records, time and what a file may have been through.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tools/trace/Reading.h"

namespace mova::trace {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

TEST(TraceReading, RecordsOfOneLine) {
    const Reading reading = readFile("AT-S AT\t\t\t\t[T:5]\nAT-R OK\t\t\t\t[T:25]\n");
    EXPECT_THAT(reading.texts(), ElementsAre("AT-S AT", "AT-R OK"));
    EXPECT_THAT(reading.times(), ElementsAre(0, 20));
    EXPECT_THAT(reading.lines(), ElementsAre(1, 2));
    EXPECT_EQ(reading.records[1].printed, 25);
    EXPECT_THAT(reading.remarks, IsEmpty());
}

TEST(TraceReading, ARecordOfSeveralLinesBeginsAtItsFirst) {
    const Reading reading = readFile(
        "E2P-S 0C00#800101-0600-80-00-3412-0100%\n2D\r\t\t\t\t[T:10]\n"
        "E2P-R 0800-80-00-3412-0100%\nAABB\n\t\t\t\t[T:13]\n"
        "AT-Purge AT*MOVA=01\r\n*MOVA=ACK\r\nOK\t\t\t\t[T:13]\n");
    EXPECT_THAT(reading.texts(),
                ElementsAre("E2P-S 0C00#800101-0600-80-00-3412-0100%\n2D", "E2P-R 0800-80-00-3412-0100%\nAABB\n",
                            "AT-Purge AT*MOVA=01\n*MOVA=ACK\nOK"));
    EXPECT_THAT(reading.lines(), ElementsAre(1, 3, 6));
    EXPECT_THAT(reading.remarks, IsEmpty());
}

TEST(TraceReading, FilesWithTheLineEndsOfTheOtherSystem) {
    const Reading reading = readFile(
        "AT-S AT\t\t\t\t[T:5]\r\nE2P-R 0800-80-00-3412-0100%\r\nAABB\r\n\t\t\t\t[T:25]\r\nAT-Purge "
        "A\r\r\nB\t\t\t\t[T:26]\r\n");
    EXPECT_THAT(reading.texts(), ElementsAre("AT-S AT", "E2P-R 0800-80-00-3412-0100%\nAABB\n", "AT-Purge A\nB"));
}

TEST(TraceReading, AnEditorMayHaveTurnedTabsToBlanksAndAddedAByteOrderMark) {
    const Reading reading = readFile(
        "\xEF\xBB\xBF"
        "AT-S AT    [T:5]  \n\n\nAT-R OK [T:6]\n");
    EXPECT_THAT(reading.texts(), ElementsAre("AT-S AT", "AT-R OK"));
    EXPECT_THAT(reading.lines(), ElementsAre(1, 4));
}

TEST(TraceReading, BlanksBeforeTheFourTabsBelongToTheText) {
    EXPECT_THAT(readFile("AT-S AT \t\t\t\t\t[T:5]\n").texts(), ElementsAre("AT-S AT \t"));
}

TEST(TraceReading, ATextMayLookLikeATimeInItsMiddle) {
    const Reading reading = readFile(stamped("AT-S [T:1] x[T:2]", "7"));
    EXPECT_THAT(reading.texts(), ElementsAre("AT-S [T:1] x[T:2]"));
    EXPECT_EQ(reading.records[0].printed, 7);
}

TEST(TraceReading, AnEmptyRecordIsARecord) {
    EXPECT_THAT(readFile(stamped("", "5") + stamped("x", "6")).texts(), ElementsAre("", "x"));
}

// --- time

std::vector<std::int64_t> timesOf(std::initializer_list<const char*> stamps) {
    std::string file;
    for (const char* stamp : stamps) file += stamped("x", stamp);
    return readFile(file).times();
}

TEST(TraceTime, RunsFromTheFirstRecord) {
    EXPECT_THAT(timesOf({"22977638", "22977639", "22978638"}), ElementsAre(0, 1, 1000));
}

TEST(TraceTime, TheSameTickAsTheStartIsPrintedAsMinusOne) { EXPECT_THAT(timesOf({"-1", "5"}), ElementsAre(0, 6)); }

TEST(TraceTime, TheCountIsPrintedSignedFromTheMiddleOn) {
    EXPECT_THAT(timesOf({"2147483640", "-2147483646", "-2147483640"}), ElementsAre(0, 10, 16));
}

TEST(TraceTime, TheCountWrapsAtTwoToThe32) { EXPECT_THAT(timesOf({"-6", "-1", "4"}), ElementsAre(0, 5, 10)); }

TEST(TraceTime, UnsignedNumbersAreTheSame) { EXPECT_THAT(timesOf({"4294967290", "4"}), ElementsAre(0, 10)); }

// The printed count is one lower from the tick count's wrap on: 15 ms after the start, then 16, then 17.
TEST(TraceTime, TheLostMillisecondAtATickCountsWrapIsNoStepBack) {
    EXPECT_THAT(timesOf({"15", "15", "16"}), ElementsAre(0, 0, 1));
}

TEST(TraceTime, TwoThreadsMaySwapRecordsOfOneMoment) {
    const Reading reading = readFile(stamped("a", "100") + stamped("b", "98") + stamped("c", "101"));
    EXPECT_THAT(reading.times(), ElementsAre(0, -2, 1));
    EXPECT_THAT(reading.remarks, IsEmpty());
}

TEST(TraceTime, AFallingCountIsAnotherRunAppended) {
    const Reading reading = readFile(stamped("a", "900000") + stamped("b", "50") + stamped("c", "60"));
    EXPECT_THAT(reading.times(), ElementsAre(0, 0, 10));
    ASSERT_EQ(reading.remarks.size(), 1U);
    EXPECT_EQ(reading.remarks[0].first, 2U);
    EXPECT_THAT(reading.remarks[0].second, HasSubstr("the time falls from 900000 to 50 ms: another run begins here"));
}

// --- damaged files

TEST(TraceDamage, ARecordThatLostItsTimeStaysARecord) {
    const Reading reading = readFile(stamped("AT-S AT", "5") + "AT-S ATZ\nE2P-A %E2p Ack!\t\t\t\t[T:9]\n");
    EXPECT_THAT(reading.texts(), ElementsAre("AT-S AT", "AT-S ATZ", "E2P-A %E2p Ack!"));
    EXPECT_FALSE(reading.records[1].stamped);
    EXPECT_THAT(reading.times(), ElementsAre(0, 0, 4));
    EXPECT_THAT(reading.remarks, ElementsAre(Pair(2, HasSubstr("no time stamp here"))));
}

TEST(TraceDamage, ALineOfNotesIsARecordOfItsOwn) {
    const Reading reading = readFile(stamped("AT-S AT", "5") + "# here it went wrong\n" + stamped("AT-R OK", "6"));
    EXPECT_THAT(reading.texts(), ElementsAre("AT-S AT", "# here it went wrong", "AT-R OK"));
    EXPECT_THAT(reading.remarks, ElementsAre(Pair(2, HasSubstr("no time stamp here"))));
}

TEST(TraceDamage, ACutOffEndIsShownAndSaid) {
    const Reading reading = readFile(stamped("AT-S AT", "5") + "E2P-R 0800-80-00-34");
    EXPECT_THAT(reading.texts(), ElementsAre("AT-S AT", "E2P-R 0800-80-00-34"));
    EXPECT_THAT(reading.remarks, ElementsAre(Pair(2, "the file ends within this record")));
}

TEST(TraceDamage, AStampBeyond32BitsIsNone) {
    const Reading reading =
        readFile(stamped("AT-S AT", "5") + stamped("AT-S A", "4294967296") + stamped("AT-R OK", "6"));
    EXPECT_THAT(reading.texts(), ElementsAre("AT-S AT", "AT-S A\t\t\t\t[T:4294967296]", "AT-R OK"));
    EXPECT_THAT(reading.remarks, ElementsAre(Pair(2, HasSubstr("no time stamp here"))));
}

TEST(TraceDamage, EveryCutOfAFileIsBorne) {
    const std::string whole =
        stamped("AT-S AT", "5") + "E2P-R 0800-80-00-3412-0100%\nAABB\n\t\t\t\t[T:13]\n" + stamped("Close Device", "-3");
    const std::size_t firstStamped = stamped("AT-S AT", "5").size() - 1;
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        if (size < firstStamped) {
            EXPECT_THAT(errorOf(whole.substr(0, size)), HasSubstr("t.log:1: ")) << size;
        } else {
            EXPECT_EQ(errorOf(whole.substr(0, size)), "no error") << size;
        }
    }
}

// --- foreign files

TEST(ForeignFiles, AreRefusedWithTheirLine) {
    EXPECT_EQ(errorOf(""), "t.log:1: the file is empty");
    EXPECT_EQ(errorOf("\nhello\nworld\n"),
              "t.log:2: no line ends in a time such as [T:1234]; this is not a trace file");
    EXPECT_THAT(errorOf("\xFF\xFE"
                        "A"),
                HasSubstr("t.log:1: the file is UTF-16 text"));
}

TEST(ForeignFiles, ALongTextFileIsGivenUpEarly) {
    std::string text;
    for (int i = 0; i < 100'000; ++i) text += "a line of another program\n";
    std::istringstream in(text);
    TraceReader reader(in, "t.log");
    EXPECT_THROW(reader.next(), TraceError);
    EXPECT_LT(reader.bytesRead(), 300'000U);
}

TEST(ForeignFiles, ALineWithoutEndIsGivenUp) {
    EXPECT_EQ(errorOf(std::string(TraceReader::kLongestRecord + 10, '\0')),
              "t.log:1: a line of more than 4 MiB; this is not a trace file");
    EXPECT_EQ(errorOf(stamped("AT-S AT", "5") + std::string(TraceReader::kLongestRecord + 10, 'x')),
              "t.log:2: a line of more than 4 MiB; this is not a trace file");
}

TEST(ForeignFiles, ARecordWithoutEndIsGivenUp) {
    std::string text = stamped("AT-S AT", "5");
    const std::string line(1000, 'x');
    for (int i = 0; i < 5000; ++i) text += line + "\n";
    EXPECT_EQ(errorOf(text), "t.log:2: no time stamp within 4 MiB from here; this is not a trace file");
}

}  // namespace
}  // namespace mova::trace
