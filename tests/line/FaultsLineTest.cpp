// What goes wrong on a real line, and that the next exchange is right again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "line/LineStation.h"

namespace mova::line {
namespace {

constexpr std::int32_t kShort = 250;  // milliseconds to wait for what never comes

class FaultsLine : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(station_.open(), 0U); }
    // Every test ends so: all is well again.
    void TearDown() override {
        patience(LineStation::kPatience);
        station_.handset.with([](Handset& h) { h.faults() = {}; });
        EXPECT_EQ(manager_.ReadE2PObject(0x1234, 2).text, "FFFF");
        ASSERT_EQ(manager_.RfGeneralTestReq(5, 0x0102), 0U);
        EXPECT_EQ(manager_.FetchQueuedCnfTextItem().data, "05000201");
    }
    void patience(std::int32_t milliseconds) {
        station_.setTimeout(Timeout::TextAcknowledgement, milliseconds);
        station_.setTimeout(Timeout::RfAcknowledgement, milliseconds);
    }
    Code readCode() { return manager_.ReadE2PObject(0x1234, 2).code; }
    Code readCode(Fault fault) {
        station_.fault(fault);
        return readCode();
    }

    LineStation station_;
    CVeCmdManager& manager_ = station_.manager;
};

TEST_F(FaultsLine, SilenceIsNoAnswer) {
    patience(kShort);
    EXPECT_EQ(readCode(Fault::Silence), 0x4004U);
    station_.fault(Fault::Silence);
    EXPECT_EQ(manager_.RfGeneralTestReq(5, 0x0102), 0x4004U);
    station_.fault(Fault::Silence);
    EXPECT_EQ(manager_.WiFiAction(1, "").code, 0x4004U);
}

TEST_F(FaultsLine, SilenceInTheMiddleOfSegmentsEndsTheRequest) {
    patience(kShort);
    int heard = 0;
    station_.handset.with([&](Handset& h) {
        h.setLog([&](std::uint64_t, handset::LogKind kind, std::string_view) {
            if (kind == handset::LogKind::Received && ++heard == 3) h.faults().set(Fault::Silence, 1);
        });
    });
    const std::vector<std::uint8_t> table(1024, 0x11);
    EXPECT_EQ(manager_.RfChangeTableReq(8, 0, 9, 1024, table), 0x4004U);
    station_.handset.with([](Handset& h) { h.setLog(nullptr); });
    EXPECT_EQ(heard, 3);  // nothing is sent after the segment that was not acknowledged, and nothing again
}

TEST_F(FaultsLine, AWrongChecksumIsNoReply) {
    EXPECT_EQ(readCode(Fault::WrongChecksum), 0x4203U);
    station_.fault(Fault::WrongChecksum);
    EXPECT_EQ(manager_.RfGeneralTestReq(5, 0x0102), 0U);  // acknowledged; its confirmation is of no use
    EXPECT_EQ(manager_.FetchQueuedCnfTextItem().data, "");
}

TEST_F(FaultsLine, AMissingAckFailsWhatWaitsForIt) {
    patience(kShort);
    EXPECT_EQ(readCode(Fault::MissingAck), 0x4004U);
    patience(LineStation::kPatience);
    station_.fault(Fault::MissingAck);
    EXPECT_EQ(manager_.RfGeneralTestReq(5, 0x0102), 0U);  // it is the final result that counts
    EXPECT_EQ(manager_.FetchQueuedCnfTextItem().data, "05000201");
}

TEST_F(FaultsLine, AMissingOkIsNoAnswer) {
    patience(kShort);
    EXPECT_EQ(readCode(Fault::MissingOk), 0x4004U);
    station_.fault(Fault::MissingOk);
    EXPECT_EQ(manager_.RfGeneralTestReq(5, 0x0102), 0x4004U);
}

TEST_F(FaultsLine, AWrongEchoIsAnotherCommandsReply) {
    EXPECT_EQ(readCode(Fault::WrongEcho), 0x4203U);
    station_.fault(Fault::WrongEcho);
    EXPECT_EQ(manager_.HciAction(1, "").code, 0x4203U);
    station_.fault(Fault::WrongEcho);
    EXPECT_EQ(manager_.WiFiAction(0x21, "AABB").code, 0x4203U);
}

TEST_F(FaultsLine, AWrongRecordHasItsCode) { EXPECT_EQ(readCode(Fault::WrongRecord), 0x4205U); }

TEST_F(FaultsLine, WrongDataInTheEchoOfAWriteHasItsCode) {
    station_.fault(Fault::WrongData);
    EXPECT_EQ(manager_.WriteE2PObject(0x1234, 2, "FFFF").code, 0x4206U);
}

TEST_F(FaultsLine, DuplicateSegmentIsTakenOnce) {
    station_.handset.with([](Handset& h) { h.protocol().setSegmentSize(8); });
    EXPECT_EQ(readCode(Fault::DuplicateSegment), 0U);
    station_.fault(Fault::DuplicateSegment);
    EXPECT_EQ(manager_.ReadE2PObject(0x1234, 2).text, "FFFF");
}

// Deliberate: only the segment behind the gap is left out, the ones after it are taken again.
TEST_F(FaultsLine, ASkippedSegmentLeavesOutTheOneBehindIt) {
    station_.handset.with([](Handset& h) {
        h.store().put(0x3000, 1, "0123456789ABCDEFGHIJKLMN");
        h.protocol().setSegmentSize(8);
    });
    station_.fault(Fault::SkippedSegment);
    const TextResult read = manager_.ReadE2PObject(0x3000, 1);
    EXPECT_EQ(read.code, 0U);
    EXPECT_EQ(read.text, "4748494A4B4C4D4E");
    station_.handset.with([](Handset& h) { h.protocol().setSegmentSize(120); });
    EXPECT_EQ(readCode(Fault::SkippedSegment), 0x4203U);  // the first segment is not numbered 1
}

TEST_F(FaultsLine, TwoFamiliesInOneAnswer) {
    EXPECT_EQ(readCode(Fault::TwoFamilies), 0x4203U);  // the first family is the record
    EXPECT_EQ(manager_.FetchQueuedCnfTextItem().data, "7E000000");
}

TEST_F(FaultsLine, EverythingIsDropped) {
    patience(kShort);
    station_.handset.with([](Handset& h) { h.faults().droppedPerMille = 1000; });
    EXPECT_EQ(readCode(), 0x4004U);
}

TEST_F(FaultsLine, NoiseAndLostBytes) {
    patience(kShort);
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        station_.handset.with([&](Handset& h) {
            h.faults().noisePerMille = 20;
            h.faults().droppedPerMille = 20;
            h.faults().seed = seed;
        });
        const TextResult read = manager_.ReadE2PObject(0x1234, 2);
        if (read.code == 0) {
            EXPECT_EQ(read.text, "FFFF") << seed;
        }
        manager_.RfGeneralTestReq(5, 0x0102);
        manager_.SetAtCmdProperty(13, 0);
    }
}

TEST_F(FaultsLine, HangUpInTheMiddleOfARequest) {
    patience(kShort);
    EXPECT_EQ(readCode(Fault::HangUp), 0x4004U);
    EXPECT_NE(readCode(), 0U);  // nobody is there
    EXPECT_NE(manager_.RfGeneralTestReq(5, 0x0102), 0U);
    station_.handset.replug();
    EXPECT_TRUE(waitUntil([&] { return readCode() == 0; }));
}

TEST_F(FaultsLine, UnpluggedInTheMiddleOfAnAnswer) {
    station_.handset.with([](Handset& h) { h.faults().splitGapMicroseconds = 20'000; });
    std::thread puller([&] {
        bool answering = false;
        waitUntil([&] {
            station_.handset.with([&](Handset& h) { answering = h.nextDue().has_value(); });
            return answering;
        });
        station_.handset.unplug();
    });
    patience(2000);
    EXPECT_EQ(readCode(), 0x4004U);
    puller.join();
    station_.handset.with([](Handset& h) { h.faults() = {}; });
    station_.handset.replug();
    EXPECT_EQ(manager_.ResetCmdManager(0), 0U);
    EXPECT_EQ(manager_.InitCmdManager(0), 0U);
}

TEST_F(FaultsLine, UnpluggedUnderABackgroundReader) {
    ASSERT_EQ(manager_.SwitchOperateMode(2, 0), 0U);
    station_.handset.unplug();
    patience(kShort);
    EXPECT_NE(readCode(), 0U);
    station_.handset.replug();
    // A write that fails closes the port; whoever comes next, the reader or another request, opens it again.
    patience(LineStation::kPatience);
    EXPECT_TRUE(waitUntil([&] { return readCode() == 0; }));
    const auto confirmed = [&] {
        station_.handset.with([](Handset& h) { h.sendUnsolicited(PtyHandset::nowMicroseconds()); });
        return !manager_.FetchQueuedCnfTextItem().data.empty();
    };
    EXPECT_TRUE(waitUntil(confirmed));
    ASSERT_EQ(manager_.SwitchOperateMode(LineStation::kAnswersEndWithOk, 0), 0U);
}

TEST_F(FaultsLine, ACloseEndsAWait) {
    station_.fault(Fault::Silence);
    std::thread closer([&] {
        waitUntil([&] {
            bool swallowed = false;  // the request has gone and nothing will come
            station_.handset.with([&](Handset& h) {
                swallowed = !h.faults().take(Fault::Silence);
                if (!swallowed) h.faults().set(Fault::Silence);
            });
            return swallowed;
        });
        manager_.ResetCmdManager(0);
    });
    EXPECT_EQ(readCode(), 0x4004U);  // long before its time is over
    closer.join();
    EXPECT_EQ(manager_.InitCmdManager(0), 0U);
}

}  // namespace
}  // namespace mova::line
