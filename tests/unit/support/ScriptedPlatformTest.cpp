#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include <array>

#include "support/RecordingCallBack.h"
#include "support/RecordingTrace.h"
#include "support/ScriptedPlatform.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// --- failure plan

TEST(FailurePlan, FailsTheNthCallFromTheRulesMakingOn) {
    ScriptedPlatform platform;
    ScriptedPort& port = platform.withPort(7);
    SerialDriver& serial = platform.serial();
    const auto opens = [&] {
        const PortHandle handle = serial.open(port.path(), true);
        if (handle == kInvalidPort) return false;
        serial.close(handle);
        return true;
    };
    EXPECT_TRUE(opens());
    FailureRule& second = platform.failures().fail(Op::Open).onCall(2).error(5);
    EXPECT_TRUE(opens());
    EXPECT_FALSE(second.reached());
    EXPECT_FALSE(opens());
    EXPECT_TRUE(second.reached());
    EXPECT_EQ(serial.lastError(), 5u);
    EXPECT_TRUE(opens());
    EXPECT_EQ(second.delivered(), 1u);
    EXPECT_EQ(platform.failures().calls(Op::Open), 4u);

    platform.failures().fail(Op::Open).twice();
    EXPECT_FALSE(opens());
    EXPECT_FALSE(opens());
    EXPECT_TRUE(opens());

    platform.failures().fail(Op::Open).onCall(2).always();
    EXPECT_TRUE(opens());
    EXPECT_FALSE(opens());
    EXPECT_FALSE(opens());
    platform.failures().clear();
    EXPECT_TRUE(opens());
}

TEST(FailurePlan, MayLookAtTheArgument) {
    ScriptedPlatform platform;
    platform.keys().add("A", {{"One", "1"}, {"Two", "2"}});
    platform.failures().fail(Op::KeyQuery).matching("Two");
    const auto key = platform.keys().open("A", KeyAccess::Query);
    std::array<char, 10> buffer{};
    std::size_t size = buffer.size();
    EXPECT_TRUE(platform.keys().value(key, "One", buffer.data(), size));
    size = buffer.size();
    EXPECT_FALSE(platform.keys().value(key, "Two", buffer.data(), size));
    size = buffer.size();
    EXPECT_TRUE(platform.keys().value(key, "Two", buffer.data(), size));
    platform.keys().close(key);
}

// A procedure of four calls whose failures are tried one by one: each is reached once, and the loop ends by itself.
TEST(FailurePlan, DrivesAFaultMatrixToItsEnd) {
    std::vector<std::string> tried;
    for (const Op op : allOps()) {
        for (const FailureKind kind : kindsOf(op)) {
            for (unsigned n = 1;; ++n) {
                ScriptedPlatform platform;
                ScriptedPort& port = platform.withPort(7);
                FailureRule& rule = platform.failures().fail(op).onCall(n).as(kind);
                const PortHandle handle = platform.serial().open(port.path(), true);
                if (handle != kInvalidPort) {
                    platform.serial().setEventMask(handle, 1);
                    platform.serial().setEventMask(handle, 0);
                    platform.serial().close(handle);
                }
                if (!rule.reached()) break;
                tried.push_back(std::string(nameOf(op)) + " " + nameOf(kind) + " " + std::to_string(n));
            }
        }
    }
    EXPECT_THAT(tried, ElementsAre("open error 1", "close error 1", "setEventMask error 1", "setEventMask error 2"));
}

TEST(FailurePlan, EveryCallHasAName) {
    std::set<std::string> names;
    for (const Op op : allOps()) names.insert(nameOf(op));
    EXPECT_EQ(names.size(), kOps);
    EXPECT_STREQ(nameOf(Op::Open), "open");
    EXPECT_STREQ(nameOf(Op::Write), "write");
    EXPECT_STREQ(nameOf(Op::KeyQuery), "keyQuery");
    EXPECT_STREQ(nameOf(Op::FileTime), "fileTime");
}

// --- key tree

TEST(ScriptedKeyTree, GivesSubkeysInOrderAndValuesWithTheirZero) {
    ScriptedPlatform platform;
    ScriptedKeyTree& keys = platform.keys();
    keys.add("Enum\\B\\1", {{"FriendlyName", "Port (COM1)"}, {"DeviceReference", std::uint32_t{0x01020304}}});
    keys.add("Enum\\A\\1", {{"Many", KeyValue::raw(std::string("serenum\0x\0\0", 11))}});
    const auto root = keys.open("Enum", KeyAccess::Read);
    ASSERT_NE(root, KeyTree::kNoKey);
    std::string name;
    EXPECT_TRUE(keys.subkey(root, 0, name));
    EXPECT_EQ(name, "B");
    EXPECT_TRUE(keys.subkey(root, 1, name));
    EXPECT_EQ(name, "A");
    EXPECT_FALSE(keys.subkey(root, 2, name));
    keys.close(root);

    const auto leaf = keys.open("Enum\\B\\1", KeyAccess::Query);
    std::array<char, 12> buffer{};
    std::size_t size = buffer.size();
    EXPECT_TRUE(keys.value(leaf, "FriendlyName", buffer.data(), size));
    EXPECT_EQ(size, 12u);
    EXPECT_STREQ(buffer.data(), "Port (COM1)");
    size = 11;
    EXPECT_FALSE(keys.value(leaf, "FriendlyName", buffer.data(), size));  // it does not fit
    size = 4;
    EXPECT_TRUE(keys.value(leaf, "DeviceReference", buffer.data(), size));
    EXPECT_EQ(std::string(buffer.data(), 4), "\4\3\2\1");
    EXPECT_FALSE(keys.value(leaf, "Nothing", buffer.data(), size));
    EXPECT_FALSE(keys.subkey(leaf, 0, name));  // query access does not enumerate
    keys.close(leaf);

    EXPECT_EQ(keys.open("Enum\\C", KeyAccess::Read), KeyTree::kNoKey);
    EXPECT_THAT(keys.opened(), ElementsAre("Enum", "Enum\\B\\1", "Enum\\C"));
    keys.remove("Enum\\B");
    EXPECT_EQ(keys.open("Enum\\B\\1", KeyAccess::Read), KeyTree::kNoKey);
}

TEST(ScriptedKeyTree, AKeyLeftOpenFailsTheTest) {
    EXPECT_NONFATAL_FAILURE(
        {
            ScriptedPlatform platform;
            platform.keys().add("A");
            platform.keys().open("A", KeyAccess::Read);
        },
        "1 keys");
}

TEST(ScriptedPlatform, WithPortPutsTreeEntryAndPortInPlace) {
    ScriptedPlatform platform;
    ScriptedPort& port = platform.withPort(12, "USB Serial Port (COM12)");
    EXPECT_EQ(port.path(), "\\\\.\\COM12");
    EXPECT_EQ(&platform.serial().port("\\\\.\\COM12"), &port);
    ScriptedKeyTree& keys = platform.keys();
    const auto key = keys.open("SYSTEM\\CurrentControlSet\\Enum\\ACPI\\PNP0501\\12", KeyAccess::Query);
    std::array<char, 100> buffer{};
    std::size_t size = buffer.size();
    EXPECT_TRUE(keys.value(key, "FriendlyName", buffer.data(), size));
    EXPECT_STREQ(buffer.data(), "USB Serial Port (COM12)");
    size = buffer.size();
    EXPECT_TRUE(keys.value(key, "UpperFilters", buffer.data(), size));
    EXPECT_STREQ(buffer.data(), "serenum");
    keys.close(key);
}

// --- datagrams

TEST(ScriptedDatagramChannel, DeliversOnlyWhileSomebodyListens) {
    ScriptedPlatform platform;
    ScriptedDatagramChannel& channels = platform.datagrams();
    EXPECT_EQ(channels.open("debug"), DatagramChannel::kInvalid);
    channels.listen("debug");
    const auto channel = channels.open("debug");
    ASSERT_NE(channel, DatagramChannel::kInvalid);
    platform.advance(3);
    EXPECT_TRUE(channels.write(channel, "one"));
    channels.vanish("debug");
    EXPECT_FALSE(channels.write(channel, "two"));
    channels.listen("debug");
    EXPECT_FALSE(channels.write(channel, "three"));  // the one it was opened for has gone
    channels.close(channel);
    const auto again = channels.open("debug");
    platform.failures().fail(Op::DatagramWrite);
    EXPECT_FALSE(channels.write(again, "four"));
    channels.stall(20ms);
    EXPECT_TRUE(channels.write(again, "five"));
    EXPECT_EQ(platform.elapsed(), 23);
    channels.close(again);
    EXPECT_THAT(channels.texts(), ElementsAre("one", "five"));
    EXPECT_EQ(channels.messages()[0].when, 3ms);
    EXPECT_EQ(channels.messages()[0].channel, "debug");
}

// --- files

TEST(ScriptedFiles, AppendTruncateAndKeepWritersOut) {
    ScriptedPlatform platform;
    ScriptedFiles& files = platform.files();
    const auto append = [&](const std::string& text, FileMode mode) {
        const auto file = files.open("C:\\a.log", mode);
        if (file == Files::kInvalid) return false;
        const bool written = files.write(file, text);
        files.close(file);
        return written;
    };
    EXPECT_FALSE(files.exists("C:\\a.log"));
    EXPECT_TRUE(append("one\r\n", FileMode::LogAppend));
    EXPECT_TRUE(append("two\n", FileMode::TextAppend));
    EXPECT_EQ(files.content("C:\\a.log"), "one\r\ntwo\n");
    EXPECT_TRUE(append("three", FileMode::TextTruncate));
    EXPECT_EQ(files.content("C:\\a.log"), "three");

    const auto held = files.open("C:\\a.log", FileMode::LogAppend);
    EXPECT_FALSE(append("no", FileMode::LogAppend));
    files.close(held);
    files.deny("C:\\a.log");
    EXPECT_FALSE(append("no", FileMode::LogAppend));
    files.allow("C:\\a.log");
    platform.failures().fail(Op::FileOpen);
    EXPECT_FALSE(append("no", FileMode::LogAppend));
    platform.failures().fail(Op::FileWrite);
    EXPECT_FALSE(append("no", FileMode::LogAppend));
    files.remove("C:\\a.log");
    EXPECT_TRUE(append("anew", FileMode::LogAppend));
    EXPECT_EQ(files.content("C:\\a.log"), "anew");
}

// --- host

TEST(ScriptedHost, SaysWhatItIsTold) {
    ScriptedPlatform platform;
    Host& host = platform.host();
    EXPECT_EQ(host.systemVersion().major, 6u);
    EXPECT_EQ(host.systemVersion().minor, 2u);
    EXPECT_EQ(host.fileTime(host.modulePath()), 1709209800);
    platform.host().setVersion(4, 10, 1);
    EXPECT_EQ(host.systemVersion().platformId, 1u);
    EXPECT_EQ(host.systemVersion().minor, 10u);
    EXPECT_EQ(host.fileTime("C:\\nothing"), std::nullopt);
    platform.failures().fail(Op::FileTime);
    EXPECT_EQ(host.fileTime(host.modulePath()), std::nullopt);
    platform.failures().fail(Op::ModulePath);
    EXPECT_EQ(host.modulePath(), "");
}

// --- together

TEST(ScriptedPlatform, AReaderThreadAndACallerShareAPortUnderALock) {
    ScriptedPlatform platform;
    ScriptedPort& port = platform.withPort(7);
    port.expect("AT\r").replyInChunks("OK\r\n", 1, 7ms, 2ms);
    Platform& system = platform;
    const auto lock = system.threading.makeRecursiveMutex();
    const auto stop = system.threading.makeEvent();
    const PortHandle handle = system.serial.open(port.path(), true);
    const auto transfer = system.serial.makeTransfer();
    std::string received;
    const auto reader = system.threading.start([&] {
        const auto reading = system.serial.makeTransfer();
        while (stop->wait(5) == WaitResult::TimedOut) {
            const std::lock_guard guard(*lock);
            std::array<char, 16> buffer{};
            std::uint32_t bytes = 0;
            EXPECT_EQ(system.serial.beginRead(handle, *reading, buffer.data(), 16), BeginResult::Complete);
            EXPECT_TRUE(system.serial.finish(handle, *reading, bytes));
            received.append(buffer.data(), bytes);
        }
    });
    system.clock.sleep(12);
    {
        const std::lock_guard guard(*lock);
        std::uint32_t bytes = 0;
        EXPECT_EQ(system.serial.beginWrite(handle, *transfer, "AT\r", 3), BeginResult::Complete);
        EXPECT_TRUE(system.serial.finish(handle, *transfer, bytes));
    }
    // Written at 12 ms; the bytes come at 19, 21, 23 and 25 ms, the reader looks at 20 and 25 ms.
    EXPECT_TRUE(platform.advanceUntil([&] { return received == "O"; }, 100));
    EXPECT_EQ(platform.elapsed(), 20);
    EXPECT_TRUE(platform.advanceUntil([&] { return received == "OK\r\n"; }, 100));
    EXPECT_EQ(platform.elapsed(), 25);
    stop->set();
    EXPECT_TRUE(reader->join(kInfinite));
    EXPECT_TRUE(system.serial.close(handle));
}

TEST(ScriptedPlatform, TheJournalHasPausesBetweenCallsAndCanBeSwitchedOff) {
    ScriptedPlatform platform;
    ScriptedPort& port = platform.withPort(7);
    PortHandle handle = platform.serial().open(port.path(), true);
    platform.serial().close(handle);
    platform.clock().sleep(500);
    EXPECT_THAT(platform.journal().texts(), ElementsAre("open \\\\.\\COM7 overlapped", "close", "sleep 500"));
    EXPECT_EQ(platform.journal().entries()[2].thread, 1u);
    platform.journal().clear();
    platform.journal().keep(false);
    handle = platform.serial().open(port.path(), true);
    platform.serial().close(handle);
    EXPECT_THAT(platform.journal().texts(), IsEmpty());
}

TEST(Recording, KeepsTraceRecordsAndMessages) {
    RecordingTrace trace;
    trace.record(TraceKind::FreeText, "Close Device");
    trace.record(TraceKind::AtSent, "AT");
    EXPECT_THAT(trace.lines(), ElementsAre("18 Close Device", "9 AT"));
    EXPECT_THAT(trace.of(TraceKind::AtSent), ElementsAre("AT"));
    RecordingCallBack sink;
    sink.text("one");
    sink.throwFromNowOn();
    EXPECT_THROW(sink.text("two"), std::runtime_error);
    EXPECT_THAT(sink.messages(), ElementsAre("one", "two"));
}

}  // namespace
}  // namespace mova
