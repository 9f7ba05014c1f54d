#include <gtest/gtest.h>

#include <optional>

#include "ChildProcess.h"
#include "DatagramListener.h"
#include "TempFolder.h"
#include "platform/posix/UnixDatagramChannel.h"

namespace mova {
namespace {

const std::string kName = "\\\\.\\mailslot\\KSDW_DEBUG";

class UnixDatagramChannelTest : public testing::Test {
protected:
    TempFolder folder_;
    const std::string socketPath_ = folder_.file("KSDW_DEBUG.sock");
    UnixDatagramChannel channels_{folder_.path().string()};
};

TEST_F(UnixDatagramChannelTest, DoesNotOpenWhileNobodyListens) {
    EXPECT_EQ(channels_.open(kName), DatagramChannel::kInvalid);
}

TEST_F(UnixDatagramChannelTest, DoesNotOpenOnWhatAListenerLeftBehind) {
    { DatagramListener gone(socketPath_); }
    ASSERT_TRUE(std::filesystem::exists(socketPath_));
    EXPECT_EQ(channels_.open(kName), DatagramChannel::kInvalid);
}

TEST_F(UnixDatagramChannelTest, DoesNotOpenUnderANameThatIsTooLong) {
    const std::string tooLong(120, 'n');
    DatagramListener listener(folder_.file("short"));
    std::filesystem::rename(folder_.file("short"), folder_.file(tooLong + ".sock"));
    EXPECT_EQ(channels_.open(tooLong), DatagramChannel::kInvalid);
}

TEST_F(UnixDatagramChannelTest, OpensInAFolderHoweverLongItsNameIs) {
    const std::string deep = folder_.file(std::string(120, 'd'));
    std::filesystem::create_directory(deep);
    std::filesystem::permissions(deep, std::filesystem::perms(0700));
    std::filesystem::create_directory_symlink(deep, folder_.file("short"));
    DatagramListener listener(folder_.file("short/KSDW_DEBUG.sock"));
    UnixDatagramChannel channels(deep);
    const auto channel = channels.open(kName);
    ASSERT_NE(channel, DatagramChannel::kInvalid);
    EXPECT_TRUE(channels.write(channel, "heard"));
    EXPECT_EQ(listener.messages(), (std::vector<std::string>{"heard"}));
    channels.close(channel);
}

TEST_F(UnixDatagramChannelTest, AListenerInAFolderThatOthersMayEnterHearsNothing) {
    DatagramListener listener(socketPath_);
    for (const unsigned mode : {0711U, 0755U, 0777U, 01777U}) {
        std::filesystem::permissions(folder_.path(), std::filesystem::perms(mode));
        EXPECT_EQ(channels_.open(kName), DatagramChannel::kInvalid) << mode;
    }
}

TEST_F(UnixDatagramChannelTest, AListenerThatIsReachedThroughALinkHearsNothing) {
    DatagramListener listener(folder_.file("elsewhere"));
    std::filesystem::create_symlink(folder_.file("elsewhere"), socketPath_);
    EXPECT_EQ(channels_.open(kName), DatagramChannel::kInvalid);
}

TEST_F(UnixDatagramChannelTest, AnotherUsersListenerHearsNothing) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    DatagramListener listener(socketPath_);
    ASSERT_EQ(chown(socketPath_.c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(channels_.open(kName), DatagramChannel::kInvalid);
}

TEST_F(UnixDatagramChannelTest, AListenerInAnotherUsersFolderHearsNothing) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    DatagramListener listener(socketPath_);
    ASSERT_EQ(chown(folder_.path().c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(channels_.open(kName), DatagramChannel::kInvalid);
}

TEST_F(UnixDatagramChannelTest, EachWriteIsOneWholeMessage) {
    DatagramListener listener(socketPath_);
    const auto channel = channels_.open(kName);
    ASSERT_NE(channel, DatagramChannel::kInvalid);
    EXPECT_TRUE(channels_.write(channel, "MovaCmdSvr: first"));
    EXPECT_TRUE(channels_.write(channel, std::string_view("a\0b", 3)));
    EXPECT_TRUE(channels_.write(channel, ""));
    EXPECT_EQ(listener.messages(), (std::vector<std::string>{"MovaCmdSvr: first", std::string("a\0b", 3), ""}));
    channels_.close(channel);
}

TEST_F(UnixDatagramChannelTest, AFullListenerCostsTheMessageAndNothingElse) {
    DatagramListener listener(socketPath_);
    const auto channel = channels_.open(kName);
    for (int i = 0; i < 5000; ++i) ASSERT_TRUE(channels_.write(channel, "message " + std::to_string(i)));
    const auto received = listener.messages();
    ASSERT_FALSE(received.empty());
    EXPECT_LT(received.size(), 5000U);
    EXPECT_EQ(received.front(), "message 0");
    EXPECT_TRUE(channels_.write(channel, "there is room again"));
    EXPECT_EQ(listener.messages(), (std::vector<std::string>{"there is room again"}));
    channels_.close(channel);
}

TEST_F(UnixDatagramChannelTest, AMessageLargerThanTheChannelIsDropped) {
    DatagramListener listener(socketPath_);
    const auto channel = channels_.open(kName);
    EXPECT_TRUE(channels_.write(channel, std::string(64U << 20, 'x')));
    EXPECT_TRUE(channels_.write(channel, "small"));
    EXPECT_EQ(listener.messages(), (std::vector<std::string>{"small"}));
    channels_.close(channel);
}

TEST_F(UnixDatagramChannelTest, WritingToAListenerThatHasGoneFails) {
    std::optional<DatagramListener> listener(socketPath_);
    const auto channel = channels_.open(kName);
    ASSERT_TRUE(channels_.write(channel, "heard"));
    listener.reset();
    EXPECT_FALSE(channels_.write(channel, "not heard"));
    channels_.close(channel);
}

TEST_F(UnixDatagramChannelTest, AListenerThatHasGoneFullFailsToo) {
    std::optional<DatagramListener> listener(socketPath_);
    const auto channel = channels_.open(kName);
    for (int i = 0; i < 5000; ++i) channels_.write(channel, "x");
    listener.reset();
    EXPECT_FALSE(channels_.write(channel, "not heard"));
    channels_.close(channel);
}

}  // namespace
}  // namespace mova
