#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "handset/PtyHandset.h"
#include "unit/platform/TempFolder.h"

namespace mova::handset {
namespace {

constexpr int kGenerousLimit = 30'000;  // milliseconds; only a failing test waits this long

Profile atOnce() {
    Profile profile;
    profile.baudRate = 0;
    profile.echo = false;
    return profile;
}

// The far end of the handset's line.
class Caller {
public:
    explicit Caller(const std::string& path) : descriptor_(open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {}
    ~Caller() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }
    void send(const std::string& bytes) const {
        ASSERT_EQ(write(descriptor_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    std::string receive(std::size_t count) const {
        std::string bytes;
        std::array<char, 256> block{};
        while (bytes.size() < count) {
            pollfd awaited{descriptor_, POLLIN, 0};
            if (poll(&awaited, 1, kGenerousLimit) <= 0) break;
            const auto got = read(descriptor_, block.data(), std::min(block.size(), count - bytes.size()));
            if (got <= 0) break;
            bytes.append(block.data(), static_cast<std::size_t>(got));
        }
        return bytes;
    }
    bool takes(const std::string& bytes) const { return write(descriptor_, bytes.data(), bytes.size()) >= 0; }
    bool seesHangUp() const {
        pollfd awaited{descriptor_, 0, 0};
        return poll(&awaited, 1, kGenerousLimit) == 1 && (awaited.revents & POLLHUP) != 0;
    }

private:
    int descriptor_;
};

TEST(PtyHandset, AnswersOnItsTerminal) {
    PtyHandset handset(atOnce());
    const Caller caller(handset.slavePath());
    ASSERT_TRUE(caller.isOpen());
    caller.send("AT\r");
    EXPECT_EQ(caller.receive(6), "\r\nOK\r\n");
}

TEST(PtyHandset, BytesAreNotTouchedOnTheWay) {
    Profile profile = atOnce();
    profile.echo = true;
    PtyHandset handset(profile);
    const Caller caller(handset.slavePath());
    std::string bytes;
    for (int c = 1; c < 256; ++c) {
        if (c != '\r' && c != '\n') bytes += static_cast<char>(c);
    }
    caller.send(bytes + "\r");
    EXPECT_EQ(caller.receive(bytes.size() + 1), bytes + "\r");
}

TEST(PtyHandset, ALinkLeadsToTheTerminal) {
    TempFolder folder;
    const std::string link = folder.file("COM3");
    {
        PtyHandset handset(atOnce(), link);
        EXPECT_EQ(std::filesystem::read_symlink(link).string(), handset.slavePath());
    }
    EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST(PtyHandset, AnOldLinkIsReplaced) {
    TempFolder folder;
    const std::string link = folder.file("COM3");
    std::filesystem::create_symlink("/nowhere", link);
    PtyHandset handset(atOnce(), link);
    EXPECT_EQ(std::filesystem::read_symlink(link).string(), handset.slavePath());
}

TEST(PtyHandset, WhatIsDoneToTheHandsetIsServedAtOnce) {
    PtyHandset handset(atOnce());
    const Caller caller(handset.slavePath());
    handset.with([](Handset& h) { h.sendUnsolicited(PtyHandset::nowMicroseconds()); });
    EXPECT_EQ(caller.receive(22), "*MOVA=05007E0000007B\r\n");
}

TEST(PtyHandset, AnswersInTime) {
    Profile profile = atOnce();
    profile.baudRate = 9600;
    PtyHandset handset(profile);
    const Caller caller(handset.slavePath());
    const auto begin = PtyHandset::nowMicroseconds();
    caller.send("AT\r");
    EXPECT_EQ(caller.receive(6), "\r\nOK\r\n");
    EXPECT_GE(PtyHandset::nowMicroseconds() - begin, 9374U);  // nine bytes of 1041.7 us each
}

TEST(PtyHandset, UnpluggedTheLineHangsUpAndTheLinkIsGone) {
    TempFolder folder;
    PtyHandset handset(atOnce(), folder.file("COM3"));
    const Caller caller(handset.slavePath());
    handset.unplug();
    EXPECT_TRUE(caller.seesHangUp());
    EXPECT_FALSE(handset.isPlugged());
    EXPECT_FALSE(std::filesystem::is_symlink(folder.file("COM3")));
    handset.unplug();  // once is enough
}

TEST(PtyHandset, UnpluggedTheLineTakesNothingMore) {
    PtyHandset handset(atOnce());
    for (int i = 0; i < 300; ++i) {
        const Caller caller(handset.slavePath());
        handset.unplug();
        EXPECT_FALSE(caller.takes("A")) << i;
        handset.replug();
    }
}

TEST(PtyHandset, PluggedInAgainItAnswersThroughTheSameLink) {
    TempFolder folder;
    const std::string link = folder.file("COM3");
    PtyHandset handset(atOnce(), link);
    {
        const Caller before(link);
        handset.unplug();
        handset.replug();
        EXPECT_TRUE(before.seesHangUp());
    }
    EXPECT_TRUE(handset.isPlugged());
    EXPECT_EQ(std::filesystem::read_symlink(link).string(), handset.slavePath());
    const Caller after(link);
    after.send("AT\r");
    EXPECT_EQ(after.receive(6), "\r\nOK\r\n");
    const std::string path = handset.slavePath();
    handset.replug();  // plugged in already
    EXPECT_EQ(handset.slavePath(), path);
}

TEST(PtyHandset, AHalfCommandIsForgottenWithTheLine) {
    TempFolder folder;
    const std::string link = folder.file("COM3");
    PtyHandset handset(atOnce(), link);
    {
        const Caller before(link);
        before.send("AT\rAT+CG");
        EXPECT_EQ(before.receive(6), "\r\nOK\r\n");
        handset.unplug();
        handset.replug();
    }
    const Caller after(link);
    after.send("AT\r");
    EXPECT_EQ(after.receive(6), "\r\nOK\r\n");
}

TEST(PtyHandset, TheHangUpFaultUnplugsIt) {
    PtyHandset handset(atOnce());
    const Caller caller(handset.slavePath());
    handset.with([](Handset& h) { h.faults().set(Fault::HangUp); });
    caller.send("AT\r");
    EXPECT_TRUE(caller.seesHangUp());
    EXPECT_EQ(caller.receive(1), "");
}

TEST(PtyHandset, OneCallerAfterTheOther) {
    PtyHandset handset(atOnce());
    for (int i = 0; i < 20; ++i) {
        const Caller caller(handset.slavePath());
        caller.send("AT\r");
        ASSERT_EQ(caller.receive(6), "\r\nOK\r\n") << i;
    }
}

TEST(PtyHandset, AnAnswerThatTheTerminalCannotHoldIsKeptUntilItIsRead) {
    PtyHandset handset(atOnce());
    const Caller caller(handset.slavePath());
    handset.with([](Handset& h) {
        for (int i = 0; i < 5000; ++i) h.sendUnsolicited(PtyHandset::nowMicroseconds());
    });
    const std::string bytes = caller.receive(5000 * 22);
    ASSERT_EQ(bytes.size(), 110'000U);
    EXPECT_EQ(bytes.substr(0, 22), "*MOVA=05007E0000007B\r\n");
    EXPECT_EQ(bytes.substr(110'000 - 22), "*MOVA=05007E008713EF\r\n");  // 4999 is 0x1387
}

TEST(PtyHandset, ALinkThatCannotBeMadeIsToldOf) {
    EXPECT_THROW(PtyHandset(atOnce(), "/nowhere/COM3"), std::system_error);
}

}  // namespace
}  // namespace mova::handset
