// The viewer on the real channel of this system, with the component and its debug sink at the other end.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "line/LineStation.h"
#include "logging/MyDebugMsg.h"
#include "mova/CVeCmdManager.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PosixPlatform.h"
#include "unit/platform/ChildProcess.h"
#include "unit/platform/DatagramListener.h"
#include "unit/platform/TempFolder.h"
#include "viewer/SocketReceiver.h"
#include "viewer/Viewer.h"

namespace mova::viewer {
namespace {

using line::waitUntil;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr int kLong = 10'000;

class DebugChannel : public ::testing::Test {
protected:
    std::string folder() const { return folder_.path().string(); }
    std::string socketPath() const { return folder_.file("KSDW_DEBUG.sock"); }
    std::unique_ptr<Receiver> listen() const { return listenIn(folder()); }
    Platform& platform() { return posix_.platform(); }

    // Posts until one arrives: the sink finds its listener in the background. The texts that came.
    void postUntilHeard(MyDebugMsg& debug, Receiver& receiver, const std::string& text) {
        EXPECT_TRUE(waitUntil([&] {
            debug.post(text);
            const auto heard = receiver.next(20);
            return heard && heard->ends_with(text);
        }));
        while (receiver.next(0)) {
        }
    }

private:
    TempFolder folder_;
    PosixPlatform posix_{{folder_.path().string(), folder_.path().string(), folder_.path().string()}};
};

TEST_F(DebugChannel, WhatTheComponentSaysArrivesWhole) {
    const auto receiver = listen();
    EXPECT_EQ(receiver->channelName(), socketPath());
    MyDebugMsg debug(platform());
    debug.setPrefix("MovaCmdSvr:(COM7) ");
    postUntilHeard(debug, *receiver, "hello");
    const std::string large(100'000, 'x');
    debug.post(large);
    EXPECT_EQ(receiver->next(kLong), "MovaCmdSvr:(COM7) " + large);
    EXPECT_EQ(receiver->next(0), std::nullopt);
}

TEST_F(DebugChannel, ANewObjectIsHeardFromItsFirstWordOn) {
    const auto receiver = listen();
    CVeCmdManager manager(platform());
    EXPECT_EQ(receiver->next(kLong), "MovaCmdSvr: <MovaCmdSvr Ver 1.8.6>");
}

TEST_F(DebugChannel, TheViewerMayComeAfterTheComponentAndComeAgain) {
    MyDebugMsg debug(platform());
    debug.setPrefix("MovaCmdSvr: ");
    debug.post("nobody hears this");
    for (int again = 0; again < 2; ++again) {
        const auto receiver = listen();
        postUntilHeard(debug, *receiver, "round " + std::to_string(again));
    }
    debug.post("gone again");
}

TEST_F(DebugChannel, ComponentsMayComeAndGoAndSpeakAtOnce) {
    const auto receiver = listen();
    for (int round = 0; round < 3; ++round) {
        MyDebugMsg one(platform()), other(platform());
        one.setPrefix("MovaCmdSvr:(COM1) ");
        other.setPrefix("MovaCmdSvr:(COM2) ");
        postUntilHeard(one, *receiver, "one");
        postUntilHeard(other, *receiver, "other");
    }
}

TEST_F(DebugChannel, ASecondViewerIsToldSo) {
    const auto receiver = listen();
    try {
        listen();
        FAIL() << "listening twice";
    } catch (const ChannelError& error) {
        EXPECT_EQ(error.what(), "another viewer is already listening on " + socketPath() + "; end it first");
    }
    EXPECT_TRUE(std::filesystem::exists(socketPath()));  // the first keeps its place
}

TEST_F(DebugChannel, NobodyOutsideTheFolderCanTakeTheViewersPlace) {
    // Names that are no files belong to whoever is first, whatever their user.
    const std::string name = std::string(1, '\0') + "mova-viewer:" + socketPath();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, sizeof address.sun_path);
    const FileDescriptor taken(socket(AF_UNIX, SOCK_STREAM, 0));
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    ASSERT_EQ(bind(taken.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
    EXPECT_EQ(listen()->channelName(), socketPath());
}

TEST_F(DebugChannel, AViewersPlaceIsHeldByTheLockOfAFileThatOnlyItsUserMayOpen) {
    const std::string lock = folder() + "/KSDW_DEBUG.lock";
    const auto receiver = listen();
    EXPECT_EQ(std::filesystem::status(lock).permissions(), std::filesystem::perms(0600));
    const FileDescriptor other(::open(lock.c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_NE(flock(other.get(), LOCK_EX | LOCK_NB), 0);
}

TEST_F(DebugChannel, AListenerOfAnotherKindIsLeftAlone) {
    const FileDescriptor other(socket(AF_UNIX, SOCK_DGRAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(other.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_THROW(listen(), ChannelError);
    EXPECT_TRUE(std::filesystem::exists(socketPath()));
}

TEST_F(DebugChannel, TheChannelIsFreedAtTheEndAndAfterAViewerThatWasKilled) {
    listen().reset();
    EXPECT_FALSE(std::filesystem::exists(socketPath()));
    {
        // What a killed viewer leaves: the name without anybody behind it.
        const FileDescriptor killed(socket(AF_UNIX, SOCK_DGRAM, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        socketPath().copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(bind(killed.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    ASSERT_TRUE(std::filesystem::exists(socketPath()));
    const auto receiver = listen();
    MyDebugMsg debug(platform());
    postUntilHeard(debug, *receiver, "hello");
}

std::string refusalIn(const std::string& folder) {
    try {
        listenIn(folder);
        return "listening";
    } catch (const ChannelError& error) {
        return error.what();
    }
}

TEST_F(DebugChannel, WithoutAFolderOfOnesOwnTheReasonIsTold) {
    const std::string end = "; set XDG_RUNTIME_DIR to a folder that only you may enter (mode 700)";
    const std::string begin = "there is no folder of your own to listen in: " + folder();
    EXPECT_EQ(refusalIn(folder() + "/missing"), begin + "/missing: No such file or directory" + end);
    std::filesystem::permissions(folder(), std::filesystem::perms(0755));
    EXPECT_EQ(refusalIn(folder()), begin + " lets others in (mode 755)" + end);
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    ASSERT_EQ(chown(folder().c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(refusalIn(folder()), begin + " belongs to another user (65534)" + end);
}

TEST_F(DebugChannel, AnotherUsersListenerIsToldAsSuch) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    const DatagramListener foreign(socketPath());
    ASSERT_EQ(chown(socketPath().c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(refusalIn(folder()), socketPath() +
                                       " belongs to another user (65534), to whom your programs say "
                                       "nothing; remove it first");
    EXPECT_TRUE(std::filesystem::exists(socketPath()));
}

// --- the viewer as a whole

class ShownOnTheChannel : public DebugChannel {
protected:
    // What the viewer shows of what was sent before it looked.
    std::string shown(Receiver& receiver, ViewerOptions options) {
        const TempFolder own;
        std::FILE* const out = std::fopen(own.file("out").c_str(), "wb");
        options.time = std::chrono::milliseconds(150);
        Viewer(std::move(options), out).run(receiver, [] { return false; });
        std::fclose(out);
        return readFile(own.file("out"));
    }
};

TEST_F(ShownOnTheChannel, FilteredToTheScreenAndAppendedToTheFile) {
    const auto receiver = listen();
    MyDebugMsg debug(platform());
    debug.setPrefix("MovaCmdSvr:(COM7) ");
    postUntilHeard(debug, *receiver, "found");
    debug.post("Send: AT");
    debug.setPrefix("MovaCmdSvr:(COM8) ");
    debug.post("Send: AT");
    debug.post("AT-R OK");
    const TempFolder own;
    const std::string file = own.file("log.txt");
    writeFile(file, "before\n");
    ViewerOptions options;
    options.filter.objects = {"COM8"};
    options.filter.texts = {"Send"};
    options.file = file;
    const std::string text = shown(*receiver, options);
    EXPECT_THAT(text, ::testing::MatchesRegex("....-..-.. ..:..:..[.]... MovaCmdSvr:[(]COM8[)] Send: AT\n"));
    EXPECT_EQ(readFile(file), "before\n" + text);
}

TEST_F(ShownOnTheChannel, EndsAfterSoManyMessagesOrWhenItIsTold) {
    const auto receiver = listen();
    MyDebugMsg debug(platform());
    debug.setPrefix("MovaCmdSvr: ");
    postUntilHeard(debug, *receiver, "found");
    for (const char* text : {"one", "two", "three"}) debug.post(text);
    ViewerOptions options;
    options.count = 2;
    options.json = true;
    const std::string text = shown(*receiver, options);
    EXPECT_THAT(text, HasSubstr("\"text\":\"one\"}\n"));
    EXPECT_THAT(text, HasSubstr("\"text\":\"two\"}\n"));
    EXPECT_THAT(text, ::testing::Not(HasSubstr("three")));
    std::atomic<bool> ended = false;
    std::uint64_t count = 0;
    const TempFolder own;
    std::FILE* const out = std::fopen(own.file("out").c_str(), "wb");
    std::thread viewing([&] { count = Viewer({}, out).run(*receiver, [&] { return ended.load(); }); });
    EXPECT_TRUE(waitUntil([&] { return readFile(own.file("out")).find("three") != std::string::npos; }));  // flushed
    ended = true;
    viewing.join();
    std::fclose(out);
    EXPECT_EQ(count, 1U);
}

TEST_F(ShownOnTheChannel, AFileThatCannotBeWrittenIsToldSo) {
    ViewerOptions options;
    options.file = folder();
    EXPECT_THROW(Viewer(options, stdout), std::runtime_error);
    options.file = "/dev/full";
    options.time = std::chrono::seconds(10);
    const auto receiver = listen();
    MyDebugMsg debug(platform());
    postUntilHeard(debug, *receiver, "found");
    debug.post("x");
    EXPECT_THROW(Viewer(options, stdout).run(*receiver, [] { return false; }), std::runtime_error);
}

// A whole conversation, as somebody sees it who watches two objects.
TEST_F(ShownOnTheChannel, AnObjectOnALineIsFollowed) {
    line::LineStation station;
    const auto receiver = listenIn(std::filesystem::path(station.bench.file("x")).parent_path().string());
    ASSERT_EQ(station.open(), 0U);
    ASSERT_TRUE(waitUntil([&] {
        station.manager.ReadE2PObject(0x1234, 1);
        const auto heard = receiver->next(20);
        return heard.has_value();
    }));
    while (receiver->next(0)) {
    }
    ASSERT_EQ(station.manager.ReadE2PObject(0x1234, 2).code, 0U);
    ViewerOptions options;
    options.filter.objects = {"COM3"};
    options.filter.expressions = {"^Send: |^E2P-A"};
    const std::string text = shown(*receiver, options);
    EXPECT_THAT(text, HasSubstr("MovaCmdSvr:(COM3) Send: AT*MOVA=0C0080010106008000341202002E\n"));
    EXPECT_THAT(text, HasSubstr("MovaCmdSvr:(COM3) E2P-A %E2p Ack!\n"));
    EXPECT_THAT(text, HasSubstr("MovaCmdSvr:(COM3) E2P-A % E2p OK!\n"));
    EXPECT_THAT(text, ::testing::Not(HasSubstr("E2P-R")));
}

}  // namespace
}  // namespace mova::viewer
