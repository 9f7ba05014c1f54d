#include <gtest/gtest.h>

#include <optional>

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
    UnixDatagramChannel deep(folder_.file(std::string(120, 'd')));
    EXPECT_EQ(deep.open(kName), DatagramChannel::kInvalid);
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
