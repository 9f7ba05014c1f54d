#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "handset/Conversation.h"

namespace mova::handset {
namespace {

using namespace std::string_literals;

Conversation read(const std::string& text) {
    std::string error;
    auto conversation = Conversation::fromText(text, error);
    EXPECT_EQ(error, "");
    return conversation.value_or(Conversation());
}

std::string errorOf(const std::string& text) {
    std::string error;
    EXPECT_FALSE(Conversation::fromText(text, error));
    return error;
}

TEST(ConversationTest, ALineHasTimeDirectionAndText) {
    EXPECT_EQ(conversationLine(1'250, LogKind::Sent, "\r\nOK\r\n"), R"(       1.250 -> \r\nOK\r\n)");
    EXPECT_EQ(conversationLine(0, LogKind::Received, "AT"), "       0.000 <- AT");
    EXPECT_EQ(conversationLine(2'000'000, LogKind::Note, "asleep"), "    2000.000 -- asleep");
}

TEST(ConversationTest, BytesThatAreNotPrintableAreWrittenInHexadecimal) {
    EXPECT_EQ(conversationLine(0, LogKind::Sent, "a\\b\x1A\x7F\xE4"s), R"(       0.000 -> a\\b\x1A\x7F\xE4)");
}

TEST(ConversationTest, WhatIsWrittenIsReadBack) {
    std::string everyByte;
    for (int byte = 0; byte < 256; ++byte) everyByte += static_cast<char>(byte);
    auto conversation = read(conversationLine(7'000, LogKind::Received, everyByte) + "\n" +
                             conversationLine(7'500, LogKind::Sent, everyByte) + "\n");
    const auto* const turn = conversation.next(everyByte);
    ASSERT_TRUE(turn);
    ASSERT_EQ(turn->replies.size(), 1u);
    EXPECT_EQ(turn->replies[0].bytes, everyByte);
    EXPECT_EQ(turn->replies[0].delayMicroseconds, 500u);
}

TEST(ConversationTest, RepliesWaitFromTheirRequestOn) {
    auto conversation = read("10 <- AT\n11.5 -> echo\n30 -> answer\n30 <- AT+X\n29 -> early\n");
    const auto* const first = conversation.next("AT");
    ASSERT_TRUE(first);
    ASSERT_EQ(first->replies.size(), 2u);
    EXPECT_EQ(first->replies[0].delayMicroseconds, 1'500u);
    EXPECT_EQ(first->replies[1].delayMicroseconds, 20'000u);
    EXPECT_EQ(conversation.next("AT+X")->replies.at(0).delayMicroseconds, 0u);
}

TEST(ConversationTest, TimesCommentsNotesAndEmptyLinesMayBeLeftOut) {
    auto conversation = read("# recorded\n\n<- AT\r\n   -- note\n -> OK\n<-\n->\n");
    EXPECT_EQ(conversation.next("AT")->replies.at(0).bytes, "OK");
    EXPECT_EQ(conversation.next("")->replies.at(0).bytes, "");
}

TEST(ConversationTest, WhatComesBeforeAnyRequestIsTheOpening) {
    const auto conversation = read("5 -> RING\n<- AT\n-> OK\n");
    ASSERT_EQ(conversation.opening().size(), 1u);
    EXPECT_EQ(conversation.opening()[0].bytes, "RING");
    EXPECT_EQ(conversation.opening()[0].delayMicroseconds, 5'000u);
}

TEST(ConversationTest, TheSameRequestGetsItsAnswersInTurnRoundAndRound) {
    auto conversation = read("<- AT\n-> 1\n<- ATI\n-> other\n<- AT\n-> 2\n");
    EXPECT_EQ(conversation.next("AT")->replies.at(0).bytes, "1");
    EXPECT_EQ(conversation.next("AT")->replies.at(0).bytes, "2");
    EXPECT_EQ(conversation.next("AT")->replies.at(0).bytes, "1");
    EXPECT_EQ(conversation.next("ATI")->replies.at(0).bytes, "other");
    EXPECT_EQ(conversation.next("AT")->replies.at(0).bytes, "2");
}

TEST(ConversationTest, ARequestThatItDoesNotHoldHasNoTurn) {
    EXPECT_EQ(read("<- AT\n").next("at"), nullptr);
    EXPECT_EQ(read("").next("AT"), nullptr);
}

TEST(ConversationTest, ErrorsNameTheirLine) {
    EXPECT_EQ(errorOf("<- AT\nhello\n"), "line 2: expected <-, -> or -- behind the time");
    EXPECT_EQ(errorOf("12\n"), "line 1: expected <-, -> or -- behind the time");
    EXPECT_EQ(errorOf("12 <-AT\n"), "line 1: expected a space behind the arrow");
    EXPECT_EQ(errorOf("1e999 <- AT\n"), "line 1: the time is no number of milliseconds");
    const std::string backslash =
        "line 1: a backslash stands before r, n, another backslash or x and two hexadecimal digits";
    EXPECT_EQ(errorOf("<- AT\\\n"), backslash);
    EXPECT_EQ(errorOf("<- \\q\n"), backslash);
    EXPECT_EQ(errorOf("<- \\x1\n"), backslash);
    EXPECT_EQ(errorOf("<- \\x1G\n"), backslash);
}

}  // namespace
}  // namespace mova::handset
