// Log file, trace file and debug viewer as the world has them: unwritable, deleted, shared, stalled. Whatever becomes
// of a line of text, the exchanges go on.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <regex>
#include <thread>

#include "Client.h"
#include "OtherProcess.h"
#include "component/automation/ComPtr.h"
#include "platform/win32/OwnedHandle.h"

namespace mova::test {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string fileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

OwnedHandle open(const std::string& path, DWORD access, DWORD share) {
    return OwnedHandle(CreateFileA(path.c_str(), access, share, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Shared: each open and close takes the port half a second.
class LoggingEdges : public testing::Test {
protected:
    static void SetUpTestSuite() { manager = openManager(fastPort()); }
    static void TearDownTestSuite() { manager = {}; }
    void SetUp() override {
        std::remove(log);
        std::remove(trace);
    }
    void TearDown() override {
        logTo("");
        ULONG off = 0;
        EXPECT_EQ(manager->ActivateMovaLogging(Text(L"").get(), 0, &off), S_OK);
        expectExchange();
    }

    static void expectExchange() { EXPECT_EQ(exchange(manager.get(), L"AT"), L"AT\r~OK~"); }
    static void expectLongerExchange() { EXPECT_EQ(exchange(manager.get(), L"AT+CGMM"), L"AT+CGMM\r~AM-1~OK~"); }
    static void logTo(const std::string& path) {
        EXPECT_EQ(manager->Set_Log_File_Path(Text(std::wstring(path.begin(), path.end()).c_str()).get()), S_OK);
    }
    static ULONG traceTo(const std::string& path) {
        ULONG code = 1;
        EXPECT_EQ(manager->ActivateMovaLogging(Text(std::wstring(path.begin(), path.end()).c_str()).get(), 0, &code),
                  S_OK);
        return code;
    }

    static constexpr const char* log = "C:\\edges.log";
    static constexpr const char* trace = "C:\\edges.trace";
    inline static ComPtr<IVeCmdManager> manager;
};

// --- files that cannot be written

TEST_F(LoggingEdges, FilesThatCannotBeMadeCostTheirLinesAndNothingElse) {
    constexpr const char* kFallback = "C:\\TempMova.Log";
    for (const std::string path : {"C:\\absent\\a.log", "C:\\windows", "C:\\a?b*.log", "Q:\\a.log", ""}) {
        logTo(path);
        EXPECT_EQ(traceTo(path), 0u) << path;  // the fallback could be opened; deliberate: the given name is kept
        expectExchange();
    }
    EXPECT_EQ(fileText(kFallback), "");
    EXPECT_EQ(std::remove(kFallback), 0);
    EXPECT_TRUE(CreateDirectoryA(kFallback, nullptr));  // now it cannot be opened either
    EXPECT_EQ(traceTo("C:\\absent\\a.log"), 0x1002u);
    expectExchange();
    EXPECT_TRUE(RemoveDirectoryA(kFallback));
}

// --- what is not sent

TEST_F(LoggingEdges, ARefusedCommandLeavesItsErrorAndNoLineThatItWasSent) {
    logTo(log);
    LONG code = 0;
    EXPECT_EQ(manager->SendNormalAtCmd(0, Text(L"").get(), &code), S_OK);
    EXPECT_EQ(code, 0x2007);
    const std::wstring tooLong(4095, L'x');
    EXPECT_EQ(
        call(manager.get(), L"SendNormalAtCmd", {Variant(0).raw(), Variant(tooLong.c_str()).raw()}).value.number(),
        0x2007);
    const std::string text = fileText(log);
    EXPECT_THAT(text, Not(HasSubstr("[AT]")));
    const std::string error = "\t[ERROR CODE]: SendNormalAtCmd Fail, ErrorCode= 8199\r\n";
    EXPECT_THAT(text, testing::EndsWith(error));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);  // one line for each
}

// --- files that others touch

TEST_F(LoggingEdges, FilesThatAreDeletedBetweenLinesAreMadeAgain) {
    logTo(log);
    EXPECT_EQ(traceTo(trace), 0u);
    expectExchange();
    EXPECT_EQ(std::remove(log), 0);
    EXPECT_EQ(std::remove(trace), 0);
    expectLongerExchange();
    EXPECT_THAT(fileText(log), HasSubstr("[AT] Send: AT+CGMM\r\n"));
    EXPECT_THAT(fileText(log), Not(HasSubstr("[AT] Send: AT\r\n")));
    EXPECT_THAT(fileText(trace), HasSubstr("AT-S AT+CGMM\t"));
    EXPECT_THAT(fileText(trace), Not(HasSubstr("AT-S AT\t")));
}

TEST_F(LoggingEdges, ReadersDoNotDisturbAndAreNotDisturbed) {
    logTo(log);
    EXPECT_EQ(traceTo(trace), 0u);
    const OwnedHandle logReader = open(log, GENERIC_READ, kShareAll);
    const OwnedHandle traceReader = open(trace, GENERIC_READ, kShareAll);
    expectExchange();
    EXPECT_THAT(fileText(log), HasSubstr("[AT] Send: AT\r\n"));
    EXPECT_THAT(fileText(trace), HasSubstr("AT-S AT\t"));
}

// The log denies other writers, so one that is there first keeps it out; the trace file is shared with all.
TEST_F(LoggingEdges, AnotherWriterKeepsTheLogOutAndTheTraceGoesOn) {
    logTo(log);
    EXPECT_EQ(traceTo(trace), 0u);
    {
        const OwnedHandle logWriter = open(log, GENERIC_WRITE, kShareAll);
        const OwnedHandle traceWriter = open(trace, FILE_APPEND_DATA, kShareAll);
        expectExchange();
        EXPECT_EQ(fileText(log), "");
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(traceWriter.get(), "theirs\r\n", 8, &written, nullptr));
    }
    expectLongerExchange();
    EXPECT_THAT(fileText(log), HasSubstr("[AT] Send: AT+CGMM\r\n"));
    EXPECT_THAT(fileText(trace), HasSubstr("AT-S AT\t"));
    EXPECT_THAT(fileText(trace), HasSubstr("theirs\r\n"));
    EXPECT_THAT(fileText(trace), HasSubstr("AT-S AT+CGMM\t"));
}

TEST_F(LoggingEdges, FilesThatAnotherProgramHasForItselfLoseTheLinesOfThatTime) {
    logTo(log);
    EXPECT_EQ(traceTo(trace), 0u);
    {
        const OwnedHandle logOwner = open(log, GENERIC_READ, 0);
        const OwnedHandle traceOwner = open(trace, GENERIC_READ, 0);
        ASSERT_TRUE(logOwner && traceOwner);
        expectExchange();
    }
    EXPECT_EQ(fileText(log), "");
    EXPECT_EQ(fileText(trace), "");
    expectExchange();
    EXPECT_THAT(fileText(log), HasSubstr("[AT] Send: AT\r\n"));
    EXPECT_THAT(fileText(trace), HasSubstr("AT-S AT\t"));
}

// --- several processes and one log

// What was sent by whom, in the order of the file; a line that is torn or mixed fails the test.
std::vector<int> sentBy(const std::string& name, const std::string& path) {
    const std::regex whole(
        R"(\[\d{4}/\d\d/\d\d-\d\d:\d\d:\d\d::\d{3}\]\[\d{5,}\]\t\[AT\] (Send|Recv): (AT\+([A-Z]+)(\d+))?[^\t\[\r]*\r)");
    std::vector<int> numbers;
    std::ifstream in(path, std::ios::binary);
    for (std::string line; std::getline(in, line);) {
        std::smatch parts;
        if (!std::regex_match(line, parts, whole)) {
            ADD_FAILURE() << "torn: " << line;
        } else if (parts[1] == "Send" && parts[3] == name) {
            numbers.push_back(std::stoi(parts[4]));
        }
    }
    return numbers;
}

std::vector<int> upTo(int count) {
    std::vector<int> numbers;
    for (int i = 0; i < count; ++i) numbers.push_back(i);
    return numbers;
}

void sendNumbered(IVeCmdManager* manager, const std::wstring& name, int count) {
    for (int i = 0; i < count; ++i) {
        LONG code = -1;
        EXPECT_EQ(manager->SendNormalAtCmd(0, Text((L"AT+" + name + std::to_wstring(i)).c_str()).get(), &code), S_OK);
        EXPECT_EQ(code, 0);
    }
}

TEST_F(LoggingEdges, TwoProcessesShareALogLineByLine) {
    logTo(log);
    OtherProcess other(std::string("log ") + log + " OTHER 40");
    other.awaitReady();
    sendNumbered(manager.get(), L"OWN", 40);
    EXPECT_EQ(other.exitCode(), 0u);
    EXPECT_EQ(sentBy("OWN", log), upTo(40));
    EXPECT_EQ(sentBy("OTHER", log), upTo(40));
}

TEST_F(LoggingEdges, AProcessThatDiesWhileItHoldsTheMutexHoldsNobodyUp) {
    logTo(log);
    OtherProcess dying("hold-mutex");
    dying.awaitReady();
    OtherProcess living(std::string("log ") + log + " LIVING 20");
    living.awaitReady();
    Sleep(200);
    EXPECT_EQ(sentBy("LIVING", log), upTo(0));  // it waits
    dying.terminate(9);
    EXPECT_EQ(living.exitCode(), 0u);
    sendNumbered(manager.get(), L"OWN", 20);
    EXPECT_EQ(sentBy("LIVING", log), upTo(20));
    EXPECT_EQ(sentBy("OWN", log), upTo(20));
}

// Who gets the mutex of a dead owner has it like any other, and gives it back.
TEST_F(LoggingEdges, TheMutexOfADeadProcessIsGivenBackAfterTheLine) {
    logTo(log);
    const OwnedHandle mutex(CreateMutexA(nullptr, FALSE, "SUTLOG"));
    {
        OtherProcess dying("hold-mutex");
        dying.awaitReady();
        ASSERT_EQ(WaitForSingleObject(mutex.get(), 0), DWORD{WAIT_TIMEOUT});
        dying.terminate(9);
        EXPECT_EQ(dying.exitCode(), 9u);
    }
    sendNumbered(manager.get(), L"OWN", 1);
    EXPECT_EQ(sentBy("OWN", log), upTo(1));
    DWORD seen = WAIT_FAILED;
    std::thread other([&] {
        seen = WaitForSingleObject(mutex.get(), 0);
        if (seen == WAIT_OBJECT_0) ReleaseMutex(mutex.get());
    });
    other.join();
    EXPECT_EQ(seen, DWORD{WAIT_OBJECT_0});
}

// --- the debug viewer

class Viewer {
public:
    Viewer() : slot_(CreateMailslotA("\\\\.\\mailslot\\KSDW_DEBUG", 0, 0, nullptr)) { EXPECT_TRUE(slot_); }
    bool hears(const std::string& text) const {
        bool heard = false;
        char buffer[4096];
        DWORD count = 0;
        while (ReadFile(slot_.get(), buffer, sizeof buffer, &count, nullptr)) {
            heard = heard || std::string(buffer, count).find(text) != std::string::npos;
        }
        return heard;
    }

private:
    const OwnedHandle slot_;
};

// An object for each test: this system keeps a slot as long as one of its writers has it open.
class ViewerEdges : public LoggingEdges {
protected:
    void SetUp() override {
        manager = {};
        manager = openManager(fastPort());
    }
    static bool isFoundBy(const Viewer& viewer) {
        return eventually(
            [&] {
                expectExchange();
                return viewer.hears("AT-S AT");
            },
            60000);
    }
    // Posting some messages each, of which a slot holds a few hundred at most.
    static void exchangeMany() {
        const ULONGLONG start = GetTickCount64();
        for (int i = 0; i < 200; ++i) expectExchange();
        EXPECT_LT(GetTickCount64() - start, 60000u);
    }
};

TEST_F(ViewerEdges, AppearsAndVanishesWhileExchangesGoOn) {
    const std::size_t searching = threads();
    {
        const Viewer viewer;
        EXPECT_TRUE(isFoundBy(viewer));
        EXPECT_TRUE(eventually([&] { return threads() < searching; }));  // nobody searches any more
    }
    exchangeMany();
    EXPECT_LE(threads(), searching);
}

TEST_F(ViewerEdges, StallsAndCostsOnlyItsMessages) {
    const Viewer viewer;
    EXPECT_TRUE(isFoundBy(viewer));
    const std::size_t threadsBefore = threads();
    const std::size_t handlesBefore = handles();
    exchangeMany();
    EXPECT_LE(threads(), threadsBefore);
    EXPECT_LE(handles(), handlesBefore);
    EXPECT_TRUE(viewer.hears("AT-S AT"));
    EXPECT_TRUE(isFoundBy(viewer));
}

}  // namespace
}  // namespace mova::test
