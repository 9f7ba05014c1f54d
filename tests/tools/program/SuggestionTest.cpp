#include <gtest/gtest.h>

#include <vector>

#include "program/Suggestion.h"

namespace mova {
namespace {

TEST(Suggestion, CountsWhatIsPutInTakenOutReplacedAndSwapped) {
    EXPECT_EQ(editDistance("dump", "dump"), 0U);
    EXPECT_EQ(editDistance("dum", "dump"), 1U);
    EXPECT_EQ(editDistance("dummp", "dump"), 1U);
    EXPECT_EQ(editDistance("dunp", "dump"), 1U);
    EXPECT_EQ(editDistance("dmup", "dump"), 1U);
    EXPECT_EQ(editDistance("DUMP", "dump"), 0U);
    EXPECT_EQ(editDistance("", "dump"), 4U);
    EXPECT_EQ(editDistance("dump", ""), 4U);
    EXPECT_EQ(editDistance("general", "table"), 7U);
}

TEST(Suggestion, IsTheNearestWordAndTheFirstOfThem) {
    const std::vector<std::string> words{"read", "write", "dump", "restore", "diff"};
    EXPECT_EQ(nearestWord("wriet", words), "write");
    EXPECT_EQ(nearestWord("Dump", words), "dump");
    EXPECT_EQ(nearestWord("restroe", words), "restore");
    EXPECT_EQ(nearestWord("rest", words), "restore");  // its beginning
    EXPECT_EQ(nearestWord("bump", std::vector<std::string>{"dump", "lump"}), "dump");
}

TEST(Suggestion, IsNotMadeForWhatIsFarFromEveryWord) {
    const std::vector<std::string> words{"read", "write", "at"};
    EXPECT_EQ(nearestWord("bogus", words), "");
    EXPECT_EQ(nearestWord("x", words), "");
    EXPECT_EQ(nearestWord("zz", words), "");
    EXPECT_EQ(nearestWord("read", {}), "");
    EXPECT_EQ(suggestion("bogus", words), "");
}

TEST(Suggestion, EndsAMessage) {
    EXPECT_EQ(suggestion("--jsn", std::vector<std::string>{"--json"}), "; did you mean \"--json\"?");
}

}  // namespace
}  // namespace mova
