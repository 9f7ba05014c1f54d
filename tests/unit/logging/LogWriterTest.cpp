#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "logging/LogWriter.h"
#include "support/ScriptedPlatform.h"

namespace mova {
namespace {

using ::testing::ElementsAre;

constexpr const char* kPath = "C:\\logs\\a.log";

class LogWriterTest : public ::testing::Test {
protected:
    Code log(LogType type, std::string_view message, LogDirection direction = LogDirection::Received) {
        return Log(platform, kPath, type, message, direction);
    }
    std::string content() { return platform.files().content(kPath); }

    ScriptedPlatform platform;
};

struct TypeCase {
    const char* name;
    int type;
    const char* received;  // the line of the message " AT+CSQ \r\n" behind the stamps
    const char* sent;
};

class LogTypeTest : public LogWriterTest, public ::testing::WithParamInterface<TypeCase> {};

TEST_P(LogTypeTest, LineIsAsTheTypeWantsIt) {
    const std::string stamps = "[2024/03/05-09:07:02::045][00001]\t";
    EXPECT_EQ(log(LogType{GetParam().type}, " AT+CSQ \r\n", LogDirection::Received), 0u);
    EXPECT_EQ(content(), stamps + GetParam().received);
    platform.files().remove(kPath);
    EXPECT_EQ(log(LogType{GetParam().type}, " AT+CSQ \r\n", LogDirection::Sent), 0u);
    EXPECT_EQ(content(), stamps + GetParam().sent);
}

INSTANTIATE_TEST_SUITE_P(
    All, LogTypeTest,
    ::testing::Values(TypeCase{"At", 1, "[AT] Recv:  AT+CSQ\r\n", "[AT] Send:  AT+CSQ\r\n"},
                      TypeCase{"Gpib", 2, "[GPIB] Recv:  AT+CSQ\r\n", "[GPIB] Send:  AT+CSQ\r\n"},
                      TypeCase{"Qlib", 3, "[QLIB] Recv:  AT+CSQ \r\n\r\n", "[QLIB] Send:  AT+CSQ \r\n\r\n"},
                      TypeCase{"NodeBegin", 4, "[NODE BEGIN]: ********  AT+CSQ \r\n ********\r\n",
                               "[NODE BEGIN]: ********  AT+CSQ \r\n ********\r\n"},
                      TypeCase{"NodeEnd", 5, "[NODE END]: ********  AT+CSQ \r\n ********\r\n\r\n",
                               "[NODE END]: ********  AT+CSQ \r\n ********\r\n\r\n"},
                      TypeCase{"Step", 6, "[STEP]:  AT+CSQ \r\n\r\n", "[STEP]:  AT+CSQ \r\n\r\n"},
                      TypeCase{"Comment", 7, "[COMMENT]:  AT+CSQ \r\n\r\n", "[COMMENT]:  AT+CSQ \r\n\r\n"},
                      TypeCase{"ErrorCode", 8, "[ERROR CODE]:  AT+CSQ \r\n\r\n", "[ERROR CODE]:  AT+CSQ \r\n\r\n"},
                      TypeCase{"ErrorDescription", 9, "[ERROR DESCRIPTION]:  AT+CSQ \r\n\r\n",
                               "[ERROR DESCRIPTION]:  AT+CSQ \r\n\r\n"},
                      TypeCase{"Qpd", 10, "[QPD]:  AT+CSQ \r\n\r\n", "[QPD]:  AT+CSQ \r\n\r\n"},
                      TypeCase{"Comm", 11, "[COMM]:  AT+CSQ \r\n\r\n", "[COMM]:  AT+CSQ \r\n\r\n"},
                      TypeCase{"Tcp", 12, "[TCP]:  AT+CSQ \r\n\r\n", "[TCP]:  AT+CSQ \r\n\r\n"},
                      TypeCase{"Debug", 13, "[DEBUG]:  AT+CSQ \r\n\r\n", "[DEBUG]:  AT+CSQ \r\n\r\n"},
                      TypeCase{"Type0", 0, "[UNKNOWN] Recv:  AT+CSQ \r\n\r\n", "[UNKNOWN] Send:  AT+CSQ \r\n\r\n"},
                      TypeCase{"Type14", 14, "[UNKNOWN] Recv:  AT+CSQ \r\n\r\n", "[UNKNOWN] Send:  AT+CSQ \r\n\r\n"},
                      TypeCase{"Negative", -1, "[UNKNOWN] Recv:  AT+CSQ \r\n\r\n", "[UNKNOWN] Send:  AT+CSQ \r\n\r\n"}),
    [](const auto& test) { return test.param.name; });

TEST_F(LogWriterTest, TypeOneLineReadsLiterally) {
    EXPECT_EQ(log(LogType::At, "AT", LogDirection::Sent), 0u);
    EXPECT_EQ(content(), "[2024/03/05-09:07:02::045][00001]\t[AT] Send: AT\r\n");
}

TEST_F(LogWriterTest, Type0Or14WritesAnUnknownLineWithTheDirectionWord) {
    log(LogType{0}, "x", LogDirection::Sent);
    log(LogType{14}, "y", LogDirection::Received);
    EXPECT_EQ(content(),
              "[2024/03/05-09:07:02::045][00001]\t[UNKNOWN] Send: x\r\n"
              "[2024/03/05-09:07:02::045][00001]\t[UNKNOWN] Recv: y\r\n");
}

TEST_F(LogWriterTest, TypeFiveLineIsFollowedByOneEmptyLine) {
    log(LogType::NodeEnd, "station 1");
    log(LogType::Debug, "next");
    EXPECT_EQ(content(),
              "[2024/03/05-09:07:02::045][00001]\t[NODE END]: ******** station 1 ********\r\n\r\n"
              "[2024/03/05-09:07:02::045][00001]\t[DEBUG]: next\r\n");
}

TEST_F(LogWriterTest, MessageKeepsItsBlanksAndLineEndsForEveryTypeExceptOneAndTwo) {
    for (int type = 0; type <= 14; ++type) {
        platform.files().remove(kPath);
        log(LogType{type}, "M \t\r\n");
        const bool kept = content().find("M \t\r\n") != std::string::npos;
        EXPECT_EQ(kept, type != 1 && type != 2) << type;
    }
}

TEST_F(LogWriterTest, EmptyPathIsNotWrittenAndGives1001) {
    EXPECT_EQ(Log(platform, "", LogType::At, "AT"), 0x1001u);
    EXPECT_EQ(platform.files().count(), 0u);
    EXPECT_EQ(platform.failures().calls(Op::AcquireNamedMutex), 0u);
}

TEST_F(LogWriterTest, LastPathIsRememberedForTheWholeProcess) {
    log(LogType::At, "AT");
    EXPECT_EQ(lastLogPath(), kPath);
    {
        ScriptedPlatform other;
        Log(other, "D:\\b.log", LogType::At, "AT");
    }
    EXPECT_EQ(lastLogPath(), "D:\\b.log");
    platform.files().deny("E:\\c.log");
    Log(platform, "E:\\c.log", LogType::At, "AT");  // also when it cannot be written
    EXPECT_EQ(lastLogPath(), "E:\\c.log");
    Log(platform, "", LogType::At, "AT");
    EXPECT_EQ(lastLogPath(), "");
}

TEST_F(LogWriterTest, StampsAreFilledWithTheirWidths) {
    platform.clock().setLocalTime({987, 12, 31, 23, 59, 58, 7});
    log(LogType::Step, "x");
    EXPECT_EQ(content(), "[987/12/31-23:59:58::007][00001]\t[STEP]: x\r\n");
}

TEST_F(LogWriterTest, ThreadStampIsTheCallersThread) {
    auto thread = platform.spawn([&] { log(LogType::Step, "x"); });
    platform.settle();
    EXPECT_EQ(content(), "[2024/03/05-09:07:02::045][00002]\t[STEP]: x\r\n");
    EXPECT_EQ(thread->id(), 2u);
}

TEST_F(LogWriterTest, MessageIsTakenAsItIs) {
    log(LogType::Step, std::string_view("100%s%n\0\xE9", 9));
    EXPECT_EQ(content(), "[2024/03/05-09:07:02::045][00001]\t[STEP]: 100%s%n" + std::string("\0\xE9", 2) + "\r\n");
    platform.files().remove(kPath);
    const std::string longText(9000, 'x');
    log(LogType::At, longText);
    EXPECT_EQ(content(), "[2024/03/05-09:07:02::045][00001]\t[AT] Recv: " + longText + "\r\n");
    platform.files().remove(kPath);
    log(LogType::At, " \r\n");
    EXPECT_EQ(content(), "[2024/03/05-09:07:02::045][00001]\t[AT] Recv: \r\n");
}

TEST_F(LogWriterTest, FileIsOpenedAndClosedForEveryLineAndAppendedTo) {
    platform.files().put(kPath, "before\r\n");
    log(LogType::Step, "one");
    EXPECT_EQ(platform.files().openFiles(), 0u);
    log(LogType::Step, "two");
    EXPECT_EQ(content(),
              "before\r\n"
              "[2024/03/05-09:07:02::045][00001]\t[STEP]: one\r\n"
              "[2024/03/05-09:07:02::045][00001]\t[STEP]: two\r\n");
    EXPECT_THAT(platform.journal().only({Op::FileOpen}),
                ElementsAre("fileOpen C:\\logs\\a.log log append", "fileOpen C:\\logs\\a.log log append"));
}

TEST_F(LogWriterTest, WaitsForTheSystemWideMutexWithoutALimitAndThenWrites) {
    platform.threading().takeElsewhere("SUTLOG");
    platform.at(30min, [&] {
        EXPECT_EQ(platform.files().count(), 0u);
        platform.threading().releaseElsewhere("SUTLOG");
    });
    EXPECT_EQ(log(LogType::Step, "x"), 0u);
    EXPECT_EQ(platform.elapsed(), 30 * 60 * 1000);
    // The stamp is that of the call, not of the writing.
    EXPECT_EQ(content(), "[2024/03/05-09:07:02::045][00001]\t[STEP]: x\r\n");
    EXPECT_FALSE(platform.threading().isHeld("SUTLOG"));
}

TEST_F(LogWriterTest, LockIsTriedAgainUntilItIsHeld) {
    FailureRule& rule = platform.failures().fail(Op::AcquireNamedMutex).times(3);
    EXPECT_EQ(log(LogType::Step, "x"), 0u);
    EXPECT_EQ(rule.delivered(), 3u);
    EXPECT_EQ(content(), "[2024/03/05-09:07:02::045][00001]\t[STEP]: x\r\n");
}

TEST_F(LogWriterTest, FileThatCannotBeOpenedDropsTheLineAndReleasesTheLock) {
    platform.failures().fail(Op::FileOpen);
    EXPECT_EQ(log(LogType::Step, "lost"), 0u);
    EXPECT_FALSE(platform.threading().isHeld("SUTLOG"));
    EXPECT_EQ(log(LogType::Step, "kept"), 0u);
    EXPECT_EQ(content(), "[2024/03/05-09:07:02::045][00001]\t[STEP]: kept\r\n");
}

TEST_F(LogWriterTest, WriteThatFailsDropsTheLineClosesTheFileAndReleasesTheLock) {
    platform.failures().fail(Op::FileWrite);
    EXPECT_EQ(log(LogType::Step, "lost"), 0u);
    EXPECT_EQ(platform.files().openFiles(), 0u);
    EXPECT_FALSE(platform.threading().isHeld("SUTLOG"));
    EXPECT_EQ(content(), "");
}

TEST_F(LogWriterTest, FileThatAnotherWriterHoldsOpenDropsTheLine) {
    const auto file = platform.files().open(kPath, FileMode::LogAppend);
    EXPECT_EQ(log(LogType::Step, "lost"), 0u);
    platform.files().close(file);
    EXPECT_EQ(content(), "");
}

TEST_F(LogWriterTest, ManyWritersLoseNoLine) {
    platform.interleave(5, 2);
    std::vector<std::unique_ptr<Thread>> threads;
    for (int writer = 0; writer < 4; ++writer) {
        threads.push_back(platform.spawn([&] {
            for (int line = 0; line < 25; ++line) log(LogType::Step, "x");
        }));
    }
    for (auto& thread : threads) EXPECT_TRUE(thread->join(1000));
    const std::string all = content();
    EXPECT_EQ(all.size(), 100 * std::string("[2024/03/05-09:07:02::045][00002]\t[STEP]: x\r\n").size());
    for (const char* id : {"[00002]", "[00003]", "[00004]", "[00005]"}) {
        int lines = 0;
        for (auto at = all.find(id); at != all.npos; at = all.find(id, at + 1)) ++lines;
        EXPECT_EQ(lines, 25) << id;
    }
}

}  // namespace
}  // namespace mova
