// Messages taken apart, filtered and shown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include "viewer/Filter.h"

namespace mova::viewer {
namespace {

using ::testing::ElementsAre;

// 2026-11-21 11:34:56.789 UTC
const Time kTime = Time(std::chrono::milliseconds(1795260896789));

Message message(std::string_view bytes) { return parseMessage(bytes, kTime); }

TEST(DebugMessages, ThePrefixNamesTheObject) {
    const Message one = message("MovaCmdSvr:(COM7) Send: AT*MOVA=010001\r");
    EXPECT_EQ(one.prefix, "MovaCmdSvr:(COM7) ");
    EXPECT_EQ(one.object, "COM7");
    EXPECT_EQ(one.text, "Send: AT*MOVA=010001");
}

TEST(DebugMessages, BeforeAPortIsChosenThereIsNoObject) {
    EXPECT_EQ(message("MovaCmdSvr: <MovaCmdSvr Ver 1.8.6>").prefix, "MovaCmdSvr: ");
    EXPECT_EQ(message("MovaCmdSvr: <MovaCmdSvr Ver 1.8.6>").text, "<MovaCmdSvr Ver 1.8.6>");
    EXPECT_EQ(message("MovaCmdSvr:() AT-S AT").object, "");
    EXPECT_EQ(message("MovaCmdSvr:() AT-S AT").text, "AT-S AT");
    EXPECT_EQ(message("another program's text").prefix, "");
    EXPECT_EQ(message("another program's text").text, "another program's text");
    EXPECT_EQ(message("MovaCmdSvr:(COM7").text, "(COM7");
    EXPECT_EQ(message("").text, "");
}

TEST(DebugMessages, AMessageIsCutIntoItsLines) {
    EXPECT_THAT(message("MovaCmdSvr:(COM7) Card Type: 1\r\nDriver Name: x\n\n").lines(),
                ElementsAre("Card Type: 1", "Driver Name: x"));
    EXPECT_THAT(message("MovaCmdSvr: ").lines(), ElementsAre(""));
}

class ShownMessages : public ::testing::Test {
protected:
    ShownMessages() {
        setenv("TZ", "XXX-1", 1);  // one hour east
        tzset();
    }
    ~ShownMessages() override {
        unsetenv("TZ");
        tzset();
    }
};

TEST_F(ShownMessages, EachLineHasItsTimeAndPrefix) {
    EXPECT_EQ(asText(message("MovaCmdSvr:(COM7) Card Type: 1\nDriver Name: x")),
              "2026-11-21 12:34:56.789 MovaCmdSvr:(COM7) Card Type: 1\n2026-11-21 12:34:56.789 MovaCmdSvr:(COM7) "
              "| Driver Name: x\n");
    EXPECT_EQ(asText(message("MovaCmdSvr: a\rb\x1B[2J")), "2026-11-21 12:34:56.789 MovaCmdSvr: a\\rb\\x1B[2J\n");
}

TEST_F(ShownMessages, ALineThatTheMessageQuotesIsNotShownAsAMessage) {
    EXPECT_EQ(asText(message("MovaCmdSvr:(COM7) AT-R +CSQ: 1\nMovaCmdSvr:(COM7) Send: AT*MOVA=010001\n\n| x~OK~")),
              "2026-11-21 12:34:56.789 MovaCmdSvr:(COM7) AT-R +CSQ: 1\n"
              "2026-11-21 12:34:56.789 MovaCmdSvr:(COM7) | MovaCmdSvr:(COM7) Send: AT*MOVA=010001\n"
              "2026-11-21 12:34:56.789 MovaCmdSvr:(COM7) | \n"
              "2026-11-21 12:34:56.789 MovaCmdSvr:(COM7) | | x~OK~\n");
    // Vertical tab, form feed, next line, line and paragraph separator.
    EXPECT_EQ(asText(message("MovaCmdSvr: a\vb\fc\xC2\x85"
                             "d\xE2\x80\xA8"
                             "e\xE2\x80\xA9"
                             "f")),
              "2026-11-21 12:34:56.789 MovaCmdSvr: a\\x0Bb\\x0Cc\\u0085d\\u2028e\\u2029f\n");
}

TEST_F(ShownMessages, JsonIsOneObjectALine) {
    EXPECT_EQ(asJson(message("MovaCmdSvr:(COM7) a \"b\"\nc\xE9")),
              "{\"time\":\"2026-11-21T11:34:56.789Z\",\"object\":\"COM7\",\"prefix\":\"MovaCmdSvr:(COM7) "
              "\",\"text\":\"a \\\"b\\\"\\nc\xC3\xA9\"}\n");
}

bool passes(const FilterOptions& options, const char* bytes) { return Filter(options).passes(message(bytes)); }

TEST(MessageFilter, AnExpressionSeesAWholeLineHoweverLong) {
    FilterOptions options;
    options.expressions = {"^(A|B)*end$"};
    EXPECT_TRUE(passes(options, ("MovaCmdSvr: " + std::string(200'000, 'A') + "end").c_str()));
    EXPECT_FALSE(passes(options, ("MovaCmdSvr: " + std::string(200'000, 'A') + "End").c_str()));
}

TEST(MessageFilter, LetsEverythingPassWithoutOptions) {
    EXPECT_TRUE(passes({}, "MovaCmdSvr: "));
    EXPECT_TRUE(passes({}, "x"));
}

TEST(MessageFilter, AnObjectIsMatchedByItsWholeName) {
    const FilterOptions options{.objects = {"com7", "COM12"}, .texts = {}, .expressions = {}, .excluded = {}};
    EXPECT_TRUE(passes(options, "MovaCmdSvr:(COM7) x"));
    EXPECT_TRUE(passes(options, "MovaCmdSvr:(COM12) x"));
    EXPECT_FALSE(passes(options, "MovaCmdSvr:(COM1) x"));
    EXPECT_FALSE(passes(options, "MovaCmdSvr:(COM70) x"));
    EXPECT_FALSE(passes(options, "MovaCmdSvr: COM7"));
    const FilterOptions none{.objects = {"none"}, .texts = {}, .expressions = {}, .excluded = {}};
    EXPECT_TRUE(passes(none, "MovaCmdSvr: x"));
    EXPECT_TRUE(passes(none, "MovaCmdSvr:() x"));
    EXPECT_FALSE(passes(none, "MovaCmdSvr:(COM7) x"));
}

TEST(MessageFilter, ByTextAndExpression) {
    FilterOptions options{
        .objects = {}, .texts = {"Send:", "Card"}, .expressions = {"^AT-[SR] .*CSQ$"}, .excluded = {}};
    EXPECT_TRUE(passes(options, "MovaCmdSvr:(COM7) Send: x"));
    EXPECT_TRUE(passes(options, "MovaCmdSvr:(COM7) a\nCard Type: 1"));
    EXPECT_TRUE(passes(options, "MovaCmdSvr:(COM7) first\nAT-S AT+CSQ\nlast"));
    EXPECT_FALSE(passes(options, "MovaCmdSvr:(COM7) AT-S AT+CSQ?"));
    EXPECT_FALSE(passes(options, "MovaCmdSvr:(COM7) send: x"));
    EXPECT_FALSE(passes(options, "MovaCmdSvr:(COM7) x"));
    options.ignoreCase = true;
    EXPECT_TRUE(passes(options, "MovaCmdSvr:(COM7) send: x"));
    EXPECT_TRUE(passes(options, "MovaCmdSvr:(COM7) at-s at+csq"));
}

TEST(MessageFilter, WhatIsExcludedIsNotShownWhateverElse) {
    const FilterOptions options{.objects = {}, .texts = {"AT-"}, .expressions = {}, .excluded = {"Purge"}};
    EXPECT_TRUE(passes(options, "MovaCmdSvr:(COM7) AT-S AT"));
    EXPECT_FALSE(passes(options, "MovaCmdSvr:(COM7) AT-Purge x"));
}

TEST(MessageFilter, ThePrefixIsNotSearched) {
    EXPECT_FALSE(
        passes({.objects = {}, .texts = {"MovaCmdSvr"}, .expressions = {}, .excluded = {}}, "MovaCmdSvr:(COM7) x"));
}

TEST(MessageFilter, AWrongExpressionIsRefused) {
    EXPECT_THROW(Filter({.objects = {}, .texts = {}, .expressions = {"a("}, .excluded = {}}), std::invalid_argument);
}

TEST(MessageFilter, VeryLongLinesAreBorne) {
    const FilterOptions options{.objects = {}, .texts = {}, .expressions = {"(x|y)*z"}, .excluded = {}};
    EXPECT_FALSE(passes(options, ("MovaCmdSvr:(COM7) " + std::string(200'000, 'x')).c_str()));
    EXPECT_TRUE(passes(options, ("MovaCmdSvr:(COM7) " + std::string(2000, 'x') + "z").c_str()));
}

}  // namespace
}  // namespace mova::viewer
