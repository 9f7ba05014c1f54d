// The page as a text; what a browser makes of it is tried in tests/tools/trace/browser.py.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "trace/Page.h"

namespace mova::trace {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

std::string pageOf(const std::string& file, std::size_t most = Page::kMostRecords) {
    std::istringstream in(file);
    Page page(most);
    const Summary summary = summarise(in, "t.log", page.listeners());
    std::ostringstream out;
    page.write(out, summary, "t.log");
    return out.str();
}

json dataOf(const std::string& page) {
    const std::string begin = "<script type=\"application/json\" id=\"trace\">";
    const auto from = page.find(begin) + begin.size();
    return json::parse(page.substr(from, page.find("</script>", from) - from));
}

const std::string kTwo = "AT-S AT\t\t\t\t[T:7]\nAT-R OK\t\t\t\t[T:9]\n";

TEST(TracePage, FetchesNothing) {
    const std::string page = pageOf(kTwo);
    for (const char* outside : {"http://", "https://", "src=", "@import", "url(", "<link", "fetch(", "import("}) {
        EXPECT_THAT(page, Not(HasSubstr(outside)));
    }
    EXPECT_THAT(page, HasSubstr("default-src 'none'"));
    for (const char* place : {"@STYLE@", "@SCRIPT@", "@DATA@"}) EXPECT_THAT(page, Not(HasSubstr(place)));
}

TEST(TracePage, HoldsRecordsAndExchanges) {
    const json data = dataOf(pageOf(kTwo));
    ASSERT_EQ(data["records"].size(), 2U);
    EXPECT_EQ(data["records"][1], json::parse(R"([2, 2, 10, "AT-R OK", [], 5, 7, "", 9])"));
    EXPECT_EQ(data["kinds"][10], "AT answer");
    ASSERT_EQ(data["exchanges"].size(), 1U);
    EXPECT_EQ(data["exchanges"][0],
              json::parse(R"([4, "AT", "AT", 0, 0, "", 0, 0, null, 2, 2, 2, 2, [0, 0, 1, 4], 1])"));
    EXPECT_EQ(data["left_out"], 0);
}

TEST(TracePage, TextsCannotLeaveTheScript) {
    const std::string page = pageOf("AT-S </script><script>alert(1)</script><!--\t\t\t\t[T:7]\n");
    EXPECT_THAT(page, Not(HasSubstr("alert(1)</script>")));
    EXPECT_EQ(dataOf(page)["records"][0][3], "AT-S </script><script>alert(1)</script><!--");
}

TEST(TracePage, FramesKeepTheirPositionsWhateverTheBytes) {
    const json record =
        dataOf(pageOf("Mv-R 05-00-0201%\xC3\xA9"
                      "AB\t\t\t\t[T:7]\n"))["records"][0];
    EXPECT_EQ(record[3],
              "Mv-R 05-00-0201%\xC3\x83\xC2\xA9"
              "AB");
    EXPECT_EQ(record[5], 16);
    EXPECT_EQ(record[6], 20);
}

TEST(TracePage, SaysWhatItLeavesOut) {
    const std::string four = kTwo + "AT-S A\t\t\t\t[T:20]\nAT-R OK\t\t\t\t[T:21]\n";
    const json data = dataOf(pageOf(four, 3));
    EXPECT_EQ(data["records"].size(), 3U);
    EXPECT_EQ(data["left_out"], 1);
    EXPECT_EQ(data["exchanges"][1][13], json::parse("[2, 0]"));
    EXPECT_EQ(data["summary"]["records"], 4);
}

}  // namespace
}  // namespace mova::trace
