// Log file, trace file and debug viewer as the world has them: unwritable, deleted, shared, stalled. Whatever becomes
// of a line of text, the exchanges go on.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstdlib>
#include <optional>
#include <regex>

#include "base/Environment.h"
#include "line/LeftOver.h"
#include "logging/LogWriter.h"
#include "platform/posix/FileDescriptor.h"
#include "services/TrafficTrace.h"
#include "unit/platform/ChildProcess.h"
#include "unit/platform/DatagramListener.h"

namespace mova::line {
namespace {

using testing::HasSubstr;
using testing::Not;

class LoggingLine : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(station_.open(), 0U); }
    void expectExchange() { EXPECT_EQ(station_.at("AT", 9), "AT\r~OK~"); }
    void logTo(const std::string& path) { manager_.Set_Log_File_Path(path); }

    const Hangs hangs_;
    LineStation station_;
    CVeCmdManager& manager_ = station_.manager;
};

// --- files that cannot be written

struct Place {
    const char* name;
    std::string (*make)(const Bench& bench);
    std::uint32_t traceCode;  // of switching the trace on where the fallback file cannot be made either
};

// The folder that the fallback's folder is made in.
class StateFolder {
public:
    explicit StateFolder(const std::string& folder) : before_(environment(variable::kStateHome)) {
        setenv(variable::kStateHome, folder.c_str(), 1);
    }
    ~StateFolder() { before_ ? setenv(variable::kStateHome, before_->c_str(), 1) : unsetenv(variable::kStateHome); }
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

private:
    const std::optional<std::string> before_;
};

class Unwritable : public LoggingLine, public testing::WithParamInterface<Place> {
protected:
    const StateFolder state_{"/dev/null/state"};  // nothing can be made there
};

TEST_P(Unwritable, CostsItsLinesAndNothingElse) {
    const std::string path = GetParam().make(station_.bench);
    const LeftOver before = countNow();
    logTo(path);
    expectExchange();
    EXPECT_EQ(manager_.ActivateMovaLogging(path, 0, 1), GetParam().traceCode);
    expectExchange();
    EXPECT_EQ(manager_.ReadE2PObject(0x1234, 2).text, "FFFF");
    EXPECT_EQ(manager_.ActivateMovaLogging(path, 0, 0), 0U);
    EXPECT_EQ(countNow().descriptors, before.descriptors);
    const std::string good = station_.bench.file("good.log");
    logTo(good);
    EXPECT_EQ(manager_.ActivateMovaLogging(station_.bench.file("good.trace"), 0, 1), 0U);
    expectExchange();
    EXPECT_THAT(readFile(good), HasSubstr("[AT] Send: AT\r\n"));
    EXPECT_THAT(readFile(station_.bench.file("good.trace")), HasSubstr("AT-S AT\t\t\t\t[T:"));
}

constexpr std::uint32_t kNoFileOpened = 0x1002;
const Place kPlaces[] = {
    {"MissingFolder", [](const Bench& bench) { return bench.file("absent/a.log"); }, kNoFileOpened},
    {"AFolder",
     [](const Bench& bench) {
         std::filesystem::create_directory(bench.file("folder"));
         return bench.file("folder");
     },
     kNoFileOpened},
    {"BelowAFile",
     [](const Bench& bench) {
         writeFile(bench.file("file"), "");
         return bench.file("file/a.log");
     },
     kNoFileOpened},
    {"TooLongAName", [](const Bench& bench) { return bench.file(std::string(5000, 'n')); }, kNoFileOpened},
    {"FullDevice", [](const Bench&) { return std::string("/dev/full"); }, 0},
    {"PipeWithoutAReader",
     [](const Bench& bench) {
         mkfifo(bench.file("pipe").c_str(), 0600);
         return bench.file("pipe");
     },
     0},
};
INSTANTIATE_TEST_SUITE_P(Places, Unwritable, testing::ValuesIn(kPlaces),
                         [](const auto& place) { return place.param.name; });

TEST_F(LoggingLine, APipeWhoseReaderDoesNotReadCostsWhatDoesNotFit) {
    const std::string pipe = station_.bench.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const FileDescriptor reader(::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    fcntl(reader.get(), F_SETPIPE_SZ, 4096);
    logTo(pipe);
    EXPECT_EQ(manager_.ActivateMovaLogging(pipe, 0, 1), 0U);
    for (int i = 0; i < 60; ++i) expectExchange();
}

// Deliberate: the given name is kept also when only the fallback could be opened.
TEST_F(LoggingLine, ATraceThatOnlyTheFallbackCouldTakeIsNotWritten) {
    const StateFolder state(station_.bench.file("state"));
    const std::string fallback = station_.bench.file("state/mova/TempMova.Log");
    EXPECT_EQ(manager_.ActivateMovaLogging(station_.bench.file("absent/a.trace"), 0, 1), 0U);
    expectExchange();
    EXPECT_TRUE(std::filesystem::exists(fallback));
    EXPECT_EQ(readFile(fallback), "");
    std::filesystem::create_directory(station_.bench.file("absent"));
    expectExchange();
    EXPECT_THAT(readFile(station_.bench.file("absent/a.trace")), HasSubstr("AT-S AT"));  // as soon as it can be
}

// --- files that others touch

TEST_F(LoggingLine, FilesThatAreDeletedOrMovedBetweenLinesAreMadeAgain) {
    const std::string log = station_.bench.file("a.log");
    const std::string trace = station_.bench.file("a.trace");
    logTo(log);
    EXPECT_EQ(manager_.ActivateMovaLogging(trace, 0, 1), 0U);
    EXPECT_EQ(station_.at("ATE1", 11), "ATE1\r~OK~");
    std::filesystem::remove(log);
    std::filesystem::remove(trace);
    EXPECT_EQ(station_.at("AT+CGMM", 22), "AT+CGMM\r~AM-1~OK~");
    EXPECT_THAT(readFile(log), HasSubstr("[AT] Send: AT+CGMM\r\n"));
    EXPECT_THAT(readFile(log), Not(HasSubstr("ATE1")));
    EXPECT_THAT(readFile(trace), HasSubstr("AT-S AT+CGMM"));
    EXPECT_THAT(readFile(trace), Not(HasSubstr("ATE1")));
    std::filesystem::rename(log, log + ".1");
    expectExchange();
    EXPECT_THAT(readFile(log), HasSubstr("[AT] Send: AT\r\n"));
    EXPECT_THAT(readFile(log + ".1"), HasSubstr("[AT] Send: AT+CGMM\r\n"));
}

TEST_F(LoggingLine, AReaderThatLocksTheFilesCostsNoLine) {
    const std::string log = station_.bench.file("a.log");
    const std::string trace = station_.bench.file("a.trace");
    logTo(log);
    EXPECT_EQ(manager_.ActivateMovaLogging(trace, 0, 1), 0U);
    ProcessGate locked;
    ChildProcess other([&] {
        const FileDescriptor logReader(::open(log.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0644));
        const FileDescriptor traceReader(::open(trace.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0644));
        if (flock(logReader.get(), LOCK_SH) != 0 || flock(traceReader.get(), LOCK_SH) != 0) return 1;
        locked.go();
        for (;;) pause();
    });
    locked.wait();
    EXPECT_EQ(station_.at("ATE1", 11), "ATE1\r~OK~");
    EXPECT_THAT(readFile(log), HasSubstr("[AT] Send: ATE1\r\n"));
    EXPECT_THAT(readFile(trace), HasSubstr("AT-S ATE1"));
}

TEST_F(LoggingLine, AnotherWriterOfTheTraceFileIsNotOverwritten) {
    const std::string trace = station_.bench.file("a.trace");
    EXPECT_EQ(manager_.ActivateMovaLogging(trace, 0, 1), 0U);
    const FileDescriptor other(::open(trace.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    expectExchange();
    ASSERT_EQ(::write(other.get(), "theirs\n", 7), 7);
    EXPECT_EQ(station_.at("AT+CGMM", 22), "AT+CGMM\r~AM-1~OK~");
    EXPECT_THAT(readFile(trace), testing::ContainsRegex("AT-S AT\t[^\f]*theirs\n[^\f]*AT-S AT.CGMM\t"));
}

// --- several processes and one log

class SharedLog : public testing::Test {
protected:
    // Lines of a writer, without stamps; a line that is torn or mixed fails the test. Of a process that is killed while
    // it writes, the system may keep what went into the file's page before; the next line then follows at once.
    std::vector<std::string> linesOf(const std::string& writer) const {
        constexpr std::size_t kPage = 4096;
        const std::regex whole(
            R"(\[\d{4}/\d\d/\d\d-\d\d:\d\d:\d\d::\d{3}\]\[\d{5,}\]\t\[STEP\]: (\w+) (\d+) ([a-z]+)\r$)");
        std::vector<std::string> numbers;
        std::ifstream in(log_, std::ios::binary);
        std::size_t start = 0;
        for (std::string line; std::getline(in, line); start += line.size() + 1) {
            std::smatch parts;
            const bool found = std::regex_search(line, parts, whole) && parts[3] == kText;
            const std::size_t cutOff = found ? static_cast<std::size_t>(parts.position()) : 0;
            if (!found || (cutOff > 0 && (start + cutOff) % kPage != 0)) {
                ADD_FAILURE() << "torn: " << line;
            } else if (parts[1] == writer) {
                numbers.push_back(parts[2]);
            }
        }
        return numbers;
    }
    void write(const std::string& writer, int number) {
        Log(bench_.platform(), log_, LogType::Step, writer + " " + std::to_string(number) + " " + kText);
    }
    static std::vector<std::string> upTo(int count) {
        std::vector<std::string> numbers;
        for (int i = 0; i < count; ++i) numbers.push_back(std::to_string(i));
        return numbers;
    }

    inline static const std::string kText = std::string(150, 'x');
    const Hangs hangs_;
    Bench bench_;
    const std::string log_ = bench_.file("shared.log");
};

TEST_F(SharedLog, LinesOfManyProcessesStayWholeAndInOrder) {
    constexpr int kLines = 300;
    const auto writer = [&](const char* name) {
        return [this, name] {
            for (int i = 0; i < kLines; ++i) write(name, i);
            return 0;
        };
    };
    {
        ChildProcess first(writer("first"));
        ChildProcess second(writer("second"));
        ChildProcess third(writer("third"));
        EXPECT_EQ(first.wait() + second.wait() + third.wait(), 0);
    }
    for (const char* name : {"first", "second", "third"}) EXPECT_EQ(linesOf(name), upTo(kLines)) << name;
}

TEST_F(SharedLog, AProcessThatDiesWhileItHoldsTheMutexHoldsNobodyUp) {
    constexpr int kLines = 100;
    ProcessGate held;
    ChildProcess dying([&] {
        write("dying", 0);
        const auto mutex = bench_.platform().threading.makeNamedMutex("SUTLOG");
        mutex->acquire();
        held.go();
        for (;;) pause();
        return 0;
    });
    held.wait();
    ChildProcess living([&] {
        for (int i = 0; i < kLines; ++i) write("living", i);
        return 0;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(linesOf("living"), upTo(0));  // it waits
    dying.kill(SIGKILL);
    dying.wait();
    EXPECT_EQ(living.wait(), 0);
    EXPECT_EQ(linesOf("living"), upTo(kLines));
    EXPECT_EQ(linesOf("dying"), upTo(1));
    write("last", 0);
    EXPECT_EQ(linesOf("last"), upTo(1));
}

TEST_F(SharedLog, WritersThatAreKilledAtAnyMomentCostNoLineOfOthers) {
    for (int round = 0; round < 20; ++round) {
        ProcessGate writing;
        ChildProcess killed([&] {
            for (int i = 0;; ++i) {
                write("killed", i);
                if (i == 3) writing.go();
            }
            return 0;
        });
        writing.wait();
        std::this_thread::sleep_for(std::chrono::microseconds(137 * round));
        killed.kill(SIGKILL);
        write("living", round);
    }
    EXPECT_EQ(linesOf("living"), upTo(20));
}

TEST_F(SharedLog, FilesThatThisUserMayOnlyReadStayAsTheyAre) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    writeFile(log_, "old");
    std::filesystem::permissions(std::filesystem::path(log_).parent_path(), std::filesystem::perms(0755));
    std::filesystem::permissions(log_, std::filesystem::perms(0444));
    ChildProcess child([&] {
        if (setresuid(kNobody, kNobody, kNobody) != 0 || chdir("/proc") != 0) return 1;
        if (Log(bench_.platform(), log_, LogType::At, "new") != 0) return 2;
        MyDebugMsg debug(bench_.platform());
        TrafficTrace trace(bench_.platform(), debug);
        if (trace.activate(log_, 0, 1) != kNoFileOpened) return 3;
        trace.record(TraceKind::AtSent, "new");
        return 0;
    });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(readFile(log_), "old");
}

// --- the debug viewer

class ViewerLine : public LoggingLine {
protected:
    void listen() { viewer_.emplace(socket_); }
    void vanish() {
        viewer_.reset();
        std::filesystem::remove(socket_);
    }
    bool hears(const std::string& text) {
        for (const std::string& message : viewer_->messages()) {
            if (message.find(text) != message.npos) return true;
        }
        return false;
    }
    bool isFound() {
        return waitUntil([&] {
            expectExchange();
            return hears("AT-S AT");
        });
    }

    const std::string socket_ = station_.bench.file("KSDW_DEBUG.sock");
    std::optional<DatagramListener> viewer_;
};

TEST_F(ViewerLine, AppearsAndVanishesWhileExchangesGoOn) {
    const LeftOver searching = countNow();
    listen();
    EXPECT_TRUE(isFound());
    EXPECT_TRUE(waitUntil([&] { return countNow().threads == searching.threads - 1; }));  // nobody searches any more
    const LeftOver found = countNow();
    for (int i = 0; i < 20; ++i) {
        vanish();
        expectExchange();
        EXPECT_LE(countNow().threads, found.threads + 1);
        listen();
        expectExchange();
        EXPECT_LE(countNow().threads, found.threads + 1);
    }
    EXPECT_TRUE(isFound());
    EXPECT_TRUE(waitUntil([&] { return countNow().threads == found.threads; }));
    EXPECT_EQ(countNow().descriptors, found.descriptors);
}

TEST_F(ViewerLine, StallsAndCostsOnlyItsMessages) {
    listen();
    EXPECT_TRUE(isFound());
    const LeftOver found = countNow();
    for (int i = 0; i < 300; ++i)
        expectExchange();  // some messages each, of which the channel holds a few hundred at most
    EXPECT_EQ(manager_.ReadE2PObject(0x1234, 2).text, "FFFF");
    EXPECT_EQ(countNow().threads, found.threads);
    EXPECT_EQ(countNow().descriptors, found.descriptors);
    EXPECT_TRUE(hears("AT-S AT"));
    EXPECT_TRUE(isFound());  // it goes on where there is space again
}

TEST_F(ViewerLine, StallsUnderABackgroundReaderThatStillDelivers) {
    listen();
    EXPECT_TRUE(isFound());
    ASSERT_EQ(manager_.SwitchOperateMode(2, 0), 0U);
    for (int i = 0; i < 100; ++i) {
        if (i % 20 == 0) manager_.ClearQueue();  // the lines nobody takes would drop all when they are too many
        ASSERT_EQ(manager_.RfGeneralTestReq(5, 0x0102), 0U);
        ASSERT_EQ(station_.confirmation(), "05000201");
    }
    ASSERT_EQ(manager_.SwitchOperateMode(LineStation::kAnswersEndWithOk, 0), 0U);
    vanish();
    expectExchange();
}

}  // namespace
}  // namespace mova::line
