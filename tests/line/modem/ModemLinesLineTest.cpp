// DTR and RTS out, CTS, DSR, RING and carrier in, on a pseudo-terminal that has been given modem lines: this program
// runs with the interposer preloaded.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "line/LineStation.h"

namespace mova::line {
namespace {

class ModemLinesLine : public testing::Test {
protected:
    ModemLinesLine() {
        setenv("MODEM_LINES", lines_.path().c_str(), 1);
        raise("");
    }
    void SetUp() override {
        ASSERT_NE(std::getenv("LD_PRELOAD"), nullptr) << "ctest runs this program with the interposer";
        ASSERT_EQ(station_.open(), 0U);
    }
    // What the handset raises.
    void raise(const std::string& words) { writeFile(fileOf(".in"), words); }
    // What the object has raised.
    std::string raised() { return readFile(fileOf(".out")); }
    Code set(std::int32_t index, std::int32_t value) { return manager_.SetCommSignal(index, value); }
    std::int32_t detect(std::int32_t index) { return manager_.DetectCommSignal(index); }

    static constexpr std::int32_t kDtr = 1;
    static constexpr std::int32_t kRts = 0;

private:
    std::string fileOf(const std::string& kind) {
        return lines_.file(std::filesystem::path(station_.handset.slavePath()).filename().string() + kind);
    }

    TempFolder lines_;

protected:
    LineStation station_;
    CVeCmdManager& manager_ = station_.manager;
};

TEST_F(ModemLinesLine, DtrAndRtsAreRaisedAndDropped) {
    EXPECT_EQ(set(kDtr, 0), 0U);
    EXPECT_EQ(set(kRts, 0), 0U);
    EXPECT_EQ(raised(), "");
    EXPECT_EQ(set(kDtr, 1), 0U);
    EXPECT_EQ(raised(), "DTR");
    EXPECT_EQ(set(kRts, 1), 0U);
    EXPECT_EQ(raised(), "DTR RTS");
    EXPECT_EQ(set(kDtr, 0), 0U);
    EXPECT_EQ(raised(), "RTS");
    EXPECT_EQ(set(kRts, 0), 0U);
    EXPECT_EQ(raised(), "");
}

TEST_F(ModemLinesLine, EveryIndexButOneIsRts) {
    set(kDtr, 0);
    for (const std::int32_t index : {2, 7, -1}) {
        set(kRts, 0);
        ASSERT_EQ(raised(), "");
        EXPECT_EQ(set(index, -5), 0U);  // everything but 0 raises
        EXPECT_EQ(raised(), "RTS") << index;
    }
}

TEST_F(ModemLinesLine, EveryInputIsSeenByItsIndex) {
    struct Row {
        const char* words;
        std::int32_t cts, dsr, ring, carrier, all;
    };
    for (const Row& row : {Row{"", 0, 0, 0, 0, 0x00}, Row{"CTS", 1, 0, 0, 0, 0x10}, Row{"DSR", 0, 1, 0, 0, 0x20},
                           Row{"RING", 0, 0, 1, 0, 0x40}, Row{"CARRIER", 0, 0, 0, 1, 0x80},
                           Row{"CTS DSR", 1, 1, 0, 0, 0x30}, Row{"CTS DSR RING CARRIER", 1, 1, 1, 1, 0xF0}}) {
        raise(row.words);
        EXPECT_EQ(detect(0), row.cts) << row.words;
        EXPECT_EQ(detect(1), row.dsr) << row.words;
        EXPECT_EQ(detect(2), row.ring) << row.words;
        EXPECT_EQ(detect(3), row.carrier) << row.words;
        EXPECT_EQ(detect(-1), row.all) << row.words;
        EXPECT_EQ(detect(4), 0) << row.words;
    }
}

TEST_F(ModemLinesLine, OutputsAreNoInputs) {
    set(kDtr, 1);
    set(kRts, 1);
    EXPECT_EQ(detect(-1), 0);
}

TEST_F(ModemLinesLine, BesideABackgroundReader) {
    ASSERT_EQ(manager_.SwitchOperateMode(2, 0), 0U);
    raise("RING");
    EXPECT_EQ(detect(2), 1);
    set(kRts, 0);
    set(kDtr, 1);
    EXPECT_EQ(raised(), "DTR");
    station_.handset.with([](Handset& h) { h.sendUnsolicited(PtyHandset::nowMicroseconds()); });
    EXPECT_EQ(station_.confirmation(), "7E000000");
}

TEST_F(ModemLinesLine, AClosedPortHasNoLines) {
    raise("CTS DSR RING CARRIER");
    ASSERT_EQ(manager_.ResetCmdManager(0), 0U);
    EXPECT_EQ(set(kDtr, 1), 0x4000U);
    EXPECT_EQ(detect(-1), 0);
}

TEST_F(ModemLinesLine, TheConversationGoesOnInEveryFlowControlMode) {
    raise("CTS DSR CARRIER");
    for (std::int32_t mode = 0; mode <= 9; ++mode) {
        manager_.SwitchCommFlowControlMode(mode);
        EXPECT_EQ(station_.at("AT", 9), "AT\r~OK~") << mode;
        EXPECT_EQ(detect(-1), 0xB0) << mode;
    }
}

}  // namespace
}  // namespace mova::line
