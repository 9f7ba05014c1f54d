// What a record quotes from the line may hold line ends, times and beginnings of records, and may be very long.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/trace/Reading.h"

namespace mova::trace {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

// --- a forged beginning

TEST(QuotedLines, ABeginningBeforeTheTimeIsNone) {
    const Reading reading = readFile(
        "AT-S AT+CSQ\t\t\t\t[T:5]\n"
        "AT-R +CSQ: 21,99\nMv-S 0900#05-00-0201-0000-0000%0F\n\nAT-S AT+FORGED\nOK~\t\t\t\t[T:25]\n"
        "AT-S AT\t\t\t\t[T:30]\n");
    EXPECT_THAT(reading.texts(),
                ElementsAre("AT-S AT+CSQ", "AT-R +CSQ: 21,99\nMv-S 0900#05-00-0201-0000-0000%0F\n\nAT-S AT+FORGED\nOK~",
                            "AT-S AT"));
    EXPECT_THAT(reading.times(), ElementsAre(0, 20, 25));
    EXPECT_THAT(reading.remarks,
                ElementsAre(Pair(2, "this record quotes the line: what looks like a record in line 3 is part of it")));
}

TEST(QuotedLines, EveryKindThatQuotesTheLineIsReadSo) {
    for (const char* text : {"AT-R x", "AT-Purge x", "Mv-R-Error x", "Mv-ECHO *MOVA=x", "Mv-R 05-00-0201%x"}) {
        const Reading reading = readFile(stamped(text + std::string("\nAT-S AT"), "5") + stamped("AT-S AT", "6"));
        EXPECT_THAT(reading.texts(), ElementsAre(text + std::string("\nAT-S AT"), "AT-S AT"));
    }
}

// --- a forged time

TEST(QuotedLines, ATimeWithSomethingElseThanARecordBehindItIsNone) {
    const Reading reading = readFile(
        "AT-S AT\t\t\t\t[T:5]\n"
        "AT-R a\t\t\t\t[T:9]\nAT-S AT+FORGED\t\t\t\t[T:10]\nOK~\t\t\t\t[T:11]\n"
        "AT-S AT\t\t\t\t[T:30]\n");
    EXPECT_THAT(reading.texts(),
                ElementsAre("AT-S AT", "AT-R a\t\t\t\t[T:9]\nAT-S AT+FORGED\t\t\t\t[T:10]\nOK~", "AT-S AT"));
    EXPECT_THAT(reading.times(), ElementsAre(0, 6, 25));
    EXPECT_THAT(reading.remarks,
                ElementsAre(Pair(2, "this record quotes the line: what looks like a record in line 3 is part of it")));
}

TEST(QuotedLines, ATimeWithNothingButTheTrueOneBehindItIsNone) {
    EXPECT_THAT(readFile("AT-R a\t\t\t\t[T:9]\n\t\t\t\t[T:11]\nAT-S AT\t\t\t\t[T:12]\n").texts(),
                ElementsAre("AT-R a\t\t\t\t[T:9]\n", "AT-S AT"));
}

TEST(QuotedLines, ATimeWithinTheDataOfATextFamilysAnswerIsNone) {
    EXPECT_THAT(readFile("E2P-R 0800-80-00-3412-0100%\nAA\t\t\t\t[T:9]\nAT-S FORGED\n\t\t\t\t[T:11]\n").texts(),
                ElementsAre("E2P-R 0800-80-00-3412-0100%\nAA\t\t\t\t[T:9]\nAT-S FORGED\n"));
}

TEST(QuotedLines, ATimeOfThePastIsNoneWhenALaterOneComesBack) {
    const Reading reading = readFile(
        "AT-S AT\t\t\t\t[T:500000]\n"
        "AT-R a\t\t\t\t[T:5]\nAT-S AT+FORGED\t\t\t\t[T:6]\nAT-R OK~\t\t\t\t[T:500040]\n"
        "AT-S AT\t\t\t\t[T:500050]\n");
    EXPECT_THAT(reading.texts(),
                ElementsAre("AT-S AT", "AT-R a\t\t\t\t[T:5]\nAT-S AT+FORGED\t\t\t\t[T:6]\nAT-R OK~", "AT-S AT"));
    EXPECT_THAT(reading.times(), ElementsAre(0, 40, 50));
}

TEST(QuotedLines, ATimeOfTheFutureIsNoneWhenALaterOneComesBack) {
    const Reading reading = readFile(
        "AT-S AT\t\t\t\t[T:500000]\n"
        "AT-R a\t\t\t\t[T:9000000]\nAT-S AT+FORGED\t\t\t\t[T:500040]\n"
        "AT-S AT\t\t\t\t[T:500050]\n");
    EXPECT_THAT(reading.texts(), ElementsAre("AT-S AT", "AT-R a\t\t\t\t[T:9000000]\nAT-S AT+FORGED", "AT-S AT"));
    EXPECT_THAT(reading.times(), ElementsAre(0, 40, 50));
}

// --- what is none

TEST(UnquotedLines, ARecordBehindAnAnswerIsARecord) {
    const std::vector<std::string> records{
        "AT-R a",
        "AT-S AT",
        "AT-R b",
        "Open Device:0,115200",
        "AT-R c",
        "Get Driver Name: Communications Port (COM7)",
        " ### Attempt to Open Com Port!! BaudRate: 115200",
        "CreateFile DeviceName: \\\\.\\COM7",
        "Open with Overlapped I/O Success!!!",
        " ### Get Handle: 0x7",
        "OpenDevice Error : Access is denied.\n(5)",
        "Retry Config COM Port Count 1, Get Handle 0x7",
        "SetupComm Fail",
        "SetCommTimeouts Fail",
        "GetCommProperties Fail",
        "AT-R d",
        "GetCommState Fail",
        "SetCommState Fail",
        "SetCommMask Fail",
        "DetectSignal Error : x(6)",
        "Retry Setting Signal",
        "Setting Signal Error in Function: 3",
        "ClearDeviceError Error More Than 10 Times",
        "Try to Re-Open Device",
        "DC Recv: 4F4B",
        "DC Send: 4154",
        "Desired Write: 3, Real Write: 2",
        "AT-R e",
        "Read Timeout",
        "Write Timeout",
        "Get Stop Event in ReadData",
        "Get Stop Event in WriteData",
        "The hardware detected a break condition.",
        "The requested mode is not supported, or the hFile parameter is invalid.",
        "An I/O error occurred during communications with the device.",
        "A character-buffer overrun has occurred. The next character is lost.",
        "An input buffer overflow has occurred.",
        "Windows 95/98/Me: A time-out occurred on a parallel device.",
        "More than 16777216 characters wait for their terminator: the older half is dropped",
        "Close Device Success",
    };
    std::string file;
    for (const std::string& record : records) file += stamped(record, "5");
    const Reading reading = readFile(file);
    EXPECT_EQ(reading.texts(), records);
    EXPECT_THAT(reading.remarks, IsEmpty());
}

TEST(UnquotedLines, NotesWithoutATimeBehindAnAnswerAreRecords) {
    const Reading reading = readFile(stamped("AT-R OK", "6") + "# here it went wrong\n" + stamped("AT-S AT", "7"));
    EXPECT_THAT(reading.texts(), ElementsAre("AT-R OK", "# here it went wrong", "AT-S AT"));
}

TEST(UnquotedLines, ASecondRunIsASecondRun) {
    const std::string run = stamped("AT-S AT+COPS?", "8") + stamped("AT-R OK", "100000");
    EXPECT_EQ(readFile(run + run).records.size(), 4U);
    EXPECT_THAT(readFile(stamped("AT-S AT", "900000") + stamped("AT-Purge x", "5") + stamped("AT-S AT", "6") +
                         stamped("AT-S AT", "70000"))
                    .times(),
                ElementsAre(0, 0, 1, 69995));
}

TEST(UnquotedLines, ALongRestIsALongRest) {
    EXPECT_THAT(readFile(stamped("AT-S AT", "500000") + stamped("AT-R OK", "900000") + stamped("AT-S AT", "900010") +
                         stamped("AT-R OK", "900020"))
                    .times(),
                ElementsAre(0, 400000, 400010, 400020));
}

// --- very long records

constexpr std::size_t kMiB = 1'048'576;

TEST(LongRecords, AreShownWithoutTheirMiddle) {
    const std::string noise(16 * kMiB, 'x');
    for (const char* before : {"", "AT-S AT\t\t\t\t[T:5]\n"}) {
        const Reading reading =
            readFile(before + std::string("AT-Purge begin") + noise + "end\t\t\t\t[T:9]\nAT-S AT+CSQ\t\t\t\t[T:12]\n");
        ASSERT_GE(reading.records.size(), 2U);
        const std::string& text = reading.records[reading.records.size() - 2].text;
        EXPECT_TRUE(text.starts_with("AT-Purge beginxxx"));
        EXPECT_TRUE(text.ends_with("xxxend"));
        EXPECT_THAT(text, HasSubstr("x[12582929 characters left out here]x"));
        EXPECT_LE(text.size(), 4 * kMiB + 100);
        EXPECT_EQ(reading.texts().back(), "AT-S AT+CSQ");
        ASSERT_EQ(reading.remarks.size(), 1U);
        EXPECT_THAT(reading.remarks[0].second,
                    HasSubstr("too long to be shown whole: 12582929 characters of its middle are left out"));
    }
}

TEST(LongRecords, OfManyLinesToo) {
    std::string noise;
    while (noise.size() < 16 * kMiB) noise += "+CREG: 0,1\r\n";
    const Reading reading = readFile("AT-Purge " + noise + "\t\t\t\t[T:9]\nAT-S AT+CSQ\t\t\t\t[T:12]\n");
    EXPECT_EQ(reading.records.size(), 2U);
    EXPECT_EQ(reading.records[0].text.substr(0, 32), "AT-Purge +CREG: 0,1\n+CREG: 0,1\n+");
    EXPECT_EQ(reading.texts().back(), "AT-S AT+CSQ");
}

TEST(LongRecords, OfBlanksAreBorne) {
    const Reading reading = readFile("AT-R x" + std::string(6 * kMiB, ' ') + "[T:9]\nAT-S AT\t\t\t\t[T:12]\n");
    EXPECT_THAT(reading.texts(),
                ElementsAre(::testing::MatchesRegex("AT-R x.[0-9]+ characters left out here."), "AT-S AT"));
}

TEST(LongRecords, LongerThanTheComponentWritesAreNone) {
    EXPECT_EQ(errorOf("AT-Purge " + std::string(65 * kMiB, 'x')),
              "t.log:1: a line of more than 64 MiB; this is not a trace file");
}

}  // namespace
}  // namespace mova::trace
