// Figures, their text and their JSON.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "base/Printable.h"
#include "trace/Report.h"

namespace mova::trace {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

Latencies latenciesOf(const std::vector<int>& values) {
    Latencies latencies;
    for (const int value : values) latencies.add(value);
    return latencies;
}

TEST(Percentiles, AreByNearestRank) {
    const Latencies ten = latenciesOf({10, 9, 8, 7, 6, 5, 4, 3, 2, 1});
    EXPECT_EQ(ten.least(), 1);
    EXPECT_EQ(ten.percentile(50), 5);
    EXPECT_EQ(ten.percentile(90), 9);
    EXPECT_EQ(ten.percentile(99), 10);
    EXPECT_EQ(ten.most(), 10);
    const Latencies eleven = latenciesOf({1, 1, 1, 1, 1, 1, 1, 1, 1, 50, 1000});
    EXPECT_EQ(eleven.percentile(50), 1);
    EXPECT_EQ(eleven.percentile(90), 50);
    EXPECT_EQ(eleven.percentile(99), 1000);
    EXPECT_EQ(latenciesOf({7}).percentile(50), 7);
    EXPECT_EQ(latenciesOf({7}).percentile(99), 7);
    EXPECT_EQ(latenciesOf({}).percentile(50), std::nullopt);
}

// Two reads, the first refused with status 4, in two seconds; the second repeats it and brings two bytes.
constexpr const char* kTrace =
    "E2P-S 0C00#800101-0600-80-00-3412-0100%\n2D\r\t\t\t\t[T:1000]\n"
    "E2P-A %E2p Ack!\t\t\t\t[T:1004]\n"
    "E2P-R 0600-80-04-3412-0100%\n\t\t\t\t[T:1010]\n"
    "E2P-A % E2p OK!\t\t\t\t[T:1010]\n"
    "E2P-S 0C00#800101-0600-80-00-3412-0100%\n2D\r\t\t\t\t[T:2000]\n"
    "E2P-A %E2p Ack!\t\t\t\t[T:2006]\n"
    "E2P-R 0800-80-00-3412-0100%\nAABB\n\t\t\t\t[T:2020]\n"
    "E2P-A % E2p OK!\t\t\t\t[T:2030]\n"
    "AT-R RING\t\t\t\t[T:3000]\n"
    "AT-S AT\t\t\t\t[T:3000]\n"
    "AT-R AT\r~OK~\t\t\t\t[T:3000]\n";

Summary summaryOf(const std::string& file, const Window& window = {}) {
    std::istringstream in(file);
    return summarise(in, "t.log", {}, window);
}

TEST(Figures, CountEveryRecordAndExchange) {
    const Summary summary = summaryOf(kTrace);
    EXPECT_EQ(summary.records, 11U);
    EXPECT_EQ(summary.duration, 2000);
    EXPECT_EQ(summary.bytes, std::string(kTrace).size());
    const KindFigures& reads = summary.kinds.at("E2P read");
    EXPECT_EQ(reads.count, 2U);
    EXPECT_EQ(reads.of(Outcome::Good), 1U);
    EXPECT_EQ(reads.of(Outcome::Failed), 1U);
    EXPECT_EQ(reads.retries, 1U);
    EXPECT_EQ(reads.latency.least(), 10);
    EXPECT_EQ(reads.latency.most(), 30);
    EXPECT_EQ(reads.acknowledged.least(), 4);
    EXPECT_EQ(reads.acknowledged.most(), 6);
    EXPECT_EQ(reads.bytesReceived, 2U);
    EXPECT_EQ(summary.all.count, 3U);
    EXPECT_EQ(summary.errors, 1U);
}

TEST(Figures, CountOnlyWhatIsInTheWindow) {
    const Summary summary = summaryOf(kTrace, {500, 1500});
    EXPECT_EQ(summary.records, 4U);
    EXPECT_EQ(summary.duration, 30);
    EXPECT_EQ(summary.all.count, 1U);
    EXPECT_EQ(summary.all.of(Outcome::Good), 1U);
}

TEST(ReportOnTheTerminal, SaysWhatMatters) {
    const std::string text = reportText(summaryOf(kTrace), "t.log");
    EXPECT_THAT(text, HasSubstr("t.log: 11 records, 3 exchanges in 2.000 s\n"));
    EXPECT_THAT(text, HasSubstr("E2P read                            2        1       1      0        1      10     10 "
                                "    30     30     30\n"));
    EXPECT_THAT(text, HasSubstr("acknowledged within (ms): min 4, median 4, p90 6, p99 6, max 6\n"));
    EXPECT_THAT(text, HasSubstr("1 error, 0 damaged frames received, 1 repeated request, 0 unsolicited records\n"));
    EXPECT_THAT(text,
                HasSubstr("  line 1             0.000 s  E2P read 0x1234/1: the handset reports status 4 (0x8203)\n"));
    EXPECT_THAT(text, Not(HasSubstr("remarks")));
}

TEST(ReportOnTheTerminal, SaysWhatItLeavesOut) {
    std::string file;
    for (int i = 0; i < 1200; ++i)
        file += "AT-S A\t\t\t\t[T:" + std::to_string(i) + "]\nAT-R ERROR\t\t\t\t[T:" + std::to_string(i) + "]\n";
    const Summary summary = summaryOf(file);
    EXPECT_EQ(summary.errors, 1200U);
    EXPECT_EQ(summary.problems.size(), 1000U);
    EXPECT_THAT(reportText(summary, "t.log"), HasSubstr("  and 1150 more; --json and --html list the first 1000\n"));
    EXPECT_EQ(reportJson(summary, "t.log")["errors"], 1200);
}

TEST(ReportForMachines, HasTheSameFigures) {
    const json report = json::parse(reportJson(summaryOf(kTrace), "t.log").dump());
    EXPECT_EQ(report["records"], 11);
    EXPECT_EQ(report["duration_ms"], 2000);
    EXPECT_EQ(report["exchanges"]["count"], 3);
    EXPECT_EQ(report["exchanges_by_kind"]["E2P read"]["latency_ms"]["max"], 30);
    EXPECT_EQ(report["exchanges_by_kind"]["E2P read"]["failed"], 1);
    EXPECT_EQ(report["exchanges_per_second"], 1.5);
    EXPECT_EQ(report["bytes_received_per_second"], (2 + 7) / 2.0);
    EXPECT_EQ(report["records_by_kind"]["acknowledgement"], 2);
    EXPECT_EQ(report["first_errors"][0]["line"], 1);
    EXPECT_EQ(report["first_errors"][0]["code"], 0x8203);
    EXPECT_EQ(report["remarks"], 0);
}

TEST(ReportForMachines, TextsOfOtherCodePagesAreBorne) {
    const Summary summary = summaryOf("AT-S caf\xE9\t\t\t\t[T:1]\nAT-R ERROR\t\t\t\t[T:1]\n");
    EXPECT_EQ(reportJson(summary, "t.log")["first_errors"][0]["exchange"], "caf\xC3\xA9");
    EXPECT_EQ(asUtf8("caf\xC3\xA9"), "caf\xC3\xA9");
    EXPECT_EQ(asUtf8("\xED\xA0\x80"), "\xC3\xAD\xC2\xA0\xC2\x80");  // a surrogate is no text
    EXPECT_EQ(asUtf8("\xC3"), "\xC3\x83");
}

TEST(ReportOnTheTerminal, KeepsControlCharactersFromTheTerminal) {
    const Summary summary = summaryOf(
        "AT-S a\x1B[2J\tb\x7F"
        "caf\xE9\t\t\t\t[T:1]\nAT-R ERROR\t\t\t\t[T:1]\n");
    EXPECT_THAT(reportText(summary, "t.log"), HasSubstr("a\\x1B[2J\\x09b\\x7F"
                                                        "caf\xC3\xA9: "));
}

TEST(Memory, ALongTraceLeavesOnlyItsFigures) {
    // 200,000 exchanges through a stream that makes them as it is read.
    class Endless final : public std::streambuf {
    public:
        int_type underflow() override {
            if (made_ == 200'000) return traits_type::eof();
            text_ = "AT-S AT\t\t\t\t[T:" + std::to_string(made_ * 10) +
                    "]\nAT-R OK\t\t\t\t[T:" + std::to_string(made_ * 10 + made_ % 5) + "]\n";
            ++made_;
            setg(text_.data(), text_.data(), text_.data() + text_.size());
            return traits_type::to_int_type(*gptr());
        }

    private:
        int made_ = 0;
        std::string text_;
    } endless;
    std::istream in(&endless);
    const Summary summary = summarise(in, "t.log");
    EXPECT_EQ(summary.all.count, 200'000U);
    EXPECT_EQ(summary.all.latency.percentile(50), 2);
    EXPECT_EQ(summary.all.latency.most(), 4);
}

}  // namespace
}  // namespace mova::trace
