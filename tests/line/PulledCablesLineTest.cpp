// The port goes away while it is used, and comes back: the codes, which call opens the port again, and that nothing
// hangs or is left over.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>

#include "line/LeftOver.h"
#include "unit/platform/PseudoTerminal.h"

namespace mova::line {
namespace {

constexpr std::uint32_t kBackground = 2;
constexpr std::int32_t kWait = 600;  // milliseconds, for the answers that never come
constexpr auto kLongestCall = std::chrono::seconds(20);

constexpr std::uint32_t kNoAnswer = 0x4004;
constexpr std::uint32_t kReadFailed = 0x4340;
constexpr std::uint32_t kWriteFailed = 0x4341;

// Every test ends with an exchange and with nothing left over.
class PulledCables : public testing::Test {
protected:
    static void SetUpTestSuite() {
        warmUp();
        before = countAtRest();
    }
    void SetUp() override {
        station_.emplace();
        manager().AssignTimeoutConstant(static_cast<std::int32_t>(Timeout::RfAcknowledgement), kWait);
        manager().AssignTimeoutConstant(static_cast<std::int32_t>(Timeout::TextAcknowledgement), kWait);
        ASSERT_EQ(station_->open(), 0U);
    }
    void TearDown() override {
        if (station_ && !HasFatalFailure()) {
            patience();
            EXPECT_EQ(manager().ReadE2PObject(0x1234, 2).code, 0U);
        }
        station_.reset();
        expectNothingMoreThan(before);
    }

    CVeCmdManager& manager() { return station_->manager; }
    void pull() { station_->handset.unplug(); }
    void plugIn() { station_->handset.replug(); }
    bool isOpen() { return manager().IsCommDeviceOpen() == 1; }
    void patience() {
        station_->setTimeout(Timeout::RfAcknowledgement, LineStation::kPatience);
        station_->setTimeout(Timeout::TextAcknowledgement, LineStation::kPatience);
    }
    // A command that is sent is also answered before anything else: a request's purge would cut it in two.
    void awaitAnswer() {
        constexpr std::int32_t kAnswer = 9;  // "AT\r\r\nOK\r\n"
        EXPECT_TRUE(waitUntil([&] { return manager().DirectQueryDataInQueue() >= kAnswer; }));
    }
    CountResult write() {
        const CountResult written = manager().DirectWriteHexData("41540D", 3);
        if (written.code == 0) awaitAnswer();
        return written;
    }
    Code sendAt() {
        const Code result = manager().SendNormalAtCmd(0, "AT");
        if (result == 0) awaitAnswer();
        return result;
    }
    Code readObject() { return manager().ReadE2PObject(0x1234, 2).code; }
    bool confirmationArrives() {
        return waitUntil([&] {
            station_->handset.with([](Handset& h) { h.sendUnsolicited(PtyHandset::nowMicroseconds()); });
            return !manager().FetchQueuedCnfTextItem().data.empty();
        });
    }

    inline static LeftOver before{};
    const Hangs hangs_;
    std::optional<LineStation> station_;
};

// --- reads

TEST_F(PulledCables, AReadClosesThePortAndTheNextReadOpensIt) {
    pull();
    EXPECT_EQ(manager().DirectReadHexData(10).code, kReadFailed);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(manager().DirectReadHexData(10).code, kNotOpen);
    plugIn();
    EXPECT_EQ(manager().DirectReadHexData(10).code, 0U);
    EXPECT_TRUE(isOpen());
}

TEST_F(PulledCables, AQueryOfTheQueueLeavesThePortOpenAndAWriteClosesIt) {
    pull();
    EXPECT_EQ(manager().DirectQueryDataInQueue(), 0);
    EXPECT_TRUE(isOpen());
    plugIn();
    EXPECT_EQ(manager().DirectQueryDataInQueue(), 0);
    EXPECT_TRUE(isOpen());  // the old, dead line
    EXPECT_EQ(write().code, kWriteFailed);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(write().code, kNotOpen);  // a raw write does not look whether the device closed itself
    EXPECT_EQ(manager().DirectQueryDataInQueue(), 0);
    EXPECT_TRUE(isOpen());  // but a query does
    EXPECT_EQ(write().count, 3);
}

TEST_F(PulledCables, ACollectionGoesOnToItsEndWithWhatItHas) {
    std::thread puller([&] {
        station_->handset.with([](Handset& h) { h.sendUnsolicited(PtyHandset::nowMicroseconds()); });
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        pull();
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(manager().RetriveComPortData(3, 1000), "2A4D4F56413D30353030374530303030303037420D0A");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(990));
    puller.join();
    EXPECT_TRUE(isOpen());
    EXPECT_EQ(manager().RetriveComPortData(3, 50), "NULL");
    plugIn();
    EXPECT_EQ(write().code, kWriteFailed);
    EXPECT_EQ(manager().RetriveComPortData(3, 50), std::nullopt);  // opens nothing
    EXPECT_FALSE(isOpen());
}

// --- writes

TEST_F(PulledCables, AnAtCommandClosesThePortAndTheNextOneOpensIt) {
    pull();
    EXPECT_EQ(sendAt(), kWriteFailed);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(sendAt(), kNotOpen);
    EXPECT_EQ(sendAt(), kNotOpen);
    plugIn();
    EXPECT_EQ(sendAt(), 0U);
    EXPECT_TRUE(isOpen());
}

// Deliberate: outside the synchronous mode nobody looks before a write whether the device closed itself.
TEST_F(PulledCables, AWriteToADeviceThatClosedItselfSucceedsAndSendsNothing) {
    ASSERT_EQ(manager().SwitchOperateMode(0, 0), 0U);
    pull();
    EXPECT_EQ(write().code, kWriteFailed);
    const std::array<std::uint8_t, 3> bytes{'A', 'T', '\r'};
    const CountResult ascii = manager().DirectWriteAsciiData(bytes, 3);
    EXPECT_EQ(ascii.code, 0U);
    EXPECT_EQ(ascii.count, 0);
    plugIn();
    EXPECT_EQ(manager().DirectWriteAsciiData(bytes, 3).count, 0);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(manager().GetNormalAtResult(2).code, 0U);  // a receive pass opens the port
    EXPECT_TRUE(isOpen());
    EXPECT_EQ(manager().DirectWriteAsciiData(bytes, 3).count, 3);
    awaitAnswer();
}

// --- waits for an answer: the cable goes when the request has been read, so the wait is under way

struct Request {
    const char* name;
    Code (*send)(CVeCmdManager&);
};

class PulledWhileWaiting : public PulledCables, public testing::WithParamInterface<Request> {};

TEST_P(PulledWhileWaiting, EndsWithTheTimeoutAndTheWayBackIsTheSameForAll) {
    const auto send = [&] {
        const auto start = std::chrono::steady_clock::now();
        const Code result = GetParam().send(manager());
        EXPECT_LT(std::chrono::steady_clock::now() - start, kLongestCall);
        return result;
    };
    station_->fault(Fault::HangUp);
    EXPECT_EQ(send(), kNoAnswer);
    EXPECT_TRUE(isOpen());  // the wait only asks how much has come
    EXPECT_EQ(send(), kWriteFailed);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(send(), kNotOpen);
    plugIn();
    patience();
    EXPECT_EQ(send(), 0U);
    EXPECT_TRUE(isOpen());
}

const Request kRequests[] = {
    {"E2p", [](CVeCmdManager& m) { return m.ReadE2PObject(0x1234, 2).code; }},
    {"Rf", [](CVeCmdManager& m) { return m.RfGeneralTestReq(5, 0x0102); }},
    {"Hci", [](CVeCmdManager& m) { return m.HciAction(1, "").code; }},
    {"WiFi", [](CVeCmdManager& m) { return m.WiFiAction(0x21, "AABB").code; }},
    {"AtProperty", [](CVeCmdManager& m) { return m.SetAtCmdProperty(101, 1); }},
};
INSTANTIATE_TEST_SUITE_P(Requests, PulledWhileWaiting, testing::ValuesIn(kRequests),
                         [](const auto& request) { return request.param.name; });

// --- background modes

TEST_F(PulledCables, ABackgroundReaderKeepsTheDeadLineUntilAWriteFails) {
    ASSERT_EQ(manager().SwitchOperateMode(kBackground, 0), 0U);
    const LeftOver reading = countNow();
    pull();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // ten passes
    EXPECT_TRUE(isOpen());
    plugIn();
    station_->handset.with([](Handset& h) { h.sendUnsolicited(PtyHandset::nowMicroseconds()); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(manager().FetchQueuedCnfTextItem().data, "");
    EXPECT_EQ(write().code, kWriteFailed);
    EXPECT_TRUE(waitUntil([&] { return isOpen(); }));  // by the reader
    EXPECT_TRUE(confirmationArrives());
    EXPECT_EQ(countNow().threads, reading.threads);
}

TEST_F(PulledCables, ABackgroundReaderOpensThePortByItselfOnceItIsThereAgain) {
    ASSERT_EQ(manager().SwitchOperateMode(kBackground, 0), 0U);
    pull();
    EXPECT_EQ(manager().InitCmdManager(0), kNotOpen);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(readObject(), kNotOpen);
    plugIn();
    EXPECT_TRUE(waitUntil([&] { return isOpen(); }));
    EXPECT_TRUE(confirmationArrives());
}

TEST_F(PulledCables, AModeIsSwitchedWithoutTheLine) {
    const LeftOver synchronous = countNow();
    pull();
    for (const std::uint32_t mode : {1U, 2U, 5U}) {
        EXPECT_EQ(manager().SwitchOperateMode(mode, 0), 0U);
        EXPECT_EQ(countNow().threads, synchronous.threads + 1);
        EXPECT_EQ(manager().SwitchOperateMode(LineStation::kAnswersEndWithOk, 0), 0U);
        EXPECT_TRUE(waitUntil([&] { return countNow().threads == synchronous.threads; }));
    }
    EXPECT_TRUE(isOpen());
    plugIn();
    EXPECT_EQ(sendAt(), kWriteFailed);
    EXPECT_EQ(sendAt(), 0U);
}

TEST_F(PulledCables, TheCableGoesInTheMiddleOfModeSwitches) {
    std::thread puller([&] {
        for (int i = 0; i < 20; ++i) {
            pull();
            std::this_thread::sleep_for(std::chrono::milliseconds(7));
            plugIn();
            std::this_thread::sleep_for(std::chrono::milliseconds(7));
        }
    });
    for (std::uint32_t i = 0; i < 60; ++i) EXPECT_EQ(manager().SwitchOperateMode(i % 6, 0), 0U);
    puller.join();
    ASSERT_EQ(manager().SwitchOperateMode(LineStation::kAnswersEndWithOk, 0), 0U);
    EXPECT_TRUE(waitUntil([&] { return readObject() == 0; }));
}

// --- open and close

TEST_F(PulledCables, ACloseSucceedsAndThePortOpensOnceItIsThere) {
    pull();
    EXPECT_EQ(manager().ResetCmdManager(0), 0U);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(manager().InitCmdManager(0), kNotOpen);
    EXPECT_EQ(manager().ProprietaryOpenComPort(0), kNotOpen);
    EXPECT_EQ(manager().ResetCmdManager(0), 0U);
    plugIn();
    EXPECT_EQ(manager().InitCmdManager(0), 0U);
}

TEST_F(PulledCables, TheCableGoesAndComesDuringAClose) {
    std::thread puller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        pull();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        plugIn();
    });
    EXPECT_EQ(manager().ResetCmdManager(0), 0U);  // pauses for 500 ms
    puller.join();
    EXPECT_EQ(manager().InitCmdManager(0), 0U);
}

TEST_F(PulledCables, AnOpenPortWithoutItsLineIsOpenedAnewOnTheNewOne) {
    pull();
    plugIn();
    EXPECT_TRUE(isOpen());
    EXPECT_EQ(manager().InitCmdManager(0), 0U);
}

TEST_F(PulledCables, AnObjectGoesWhileItsLineIsGone) {
    ASSERT_EQ(manager().SwitchOperateMode(kBackground, 0), 0U);
    pull();
    const auto start = std::chrono::steady_clock::now();
    station_.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, kLongestCall);
}

// --- a long write that the line does not take

class PulledDuringALongWrite : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_symlink(line_.slave(), bench_.link(3));
        manager_->put_CommPortId(3);
        ASSERT_EQ(manager_->InitCmdManager(0), 0U);
    }
    void TearDown() override {
        std::filesystem::remove(bench_.link(3));
        PtyHandset handset(atOnce(), bench_.link(3));
        ASSERT_EQ(manager_->InitCmdManager(0), 0U);
        EXPECT_EQ(manager_->ReadE2PObject(0x1234, 2).code, 0U);
    }

    // Far more than fits into the line: its own time-out is hours.
    CountResult writeWhile(const std::function<void()>& blocked) {
        std::thread other([&] {
            EXPECT_TRUE(waitUntil([&] {
                pollfd line{line_.master(), POLLIN, 0};
                return poll(&line, 1, 0) == 1;
            }));
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            blocked();
        });
        const auto start = std::chrono::steady_clock::now();
        const CountResult written =
            manager_->DirectWriteByteData(data_.data(), static_cast<std::int32_t>(data_.size()));
        EXPECT_LT(std::chrono::steady_clock::now() - start, kLongestCall);
        other.join();
        return written;
    }

    const Hangs hangs_;
    Bench bench_;
    PseudoTerminal line_;
    std::unique_ptr<CVeCmdManager> manager_ = std::make_unique<CVeCmdManager>(bench_.platform());
    const std::vector<std::uint8_t> data_ = std::vector<std::uint8_t>(1U << 20, 'x');
};

TEST_F(PulledDuringALongWrite, TheWriteFailsAndClosesThePort) {
    const CountResult written = writeWhile([&] { line_.hangUp(); });
    EXPECT_EQ(written.code, kWriteFailed);
    EXPECT_EQ(written.count, 0);
    EXPECT_EQ(manager_->IsCommDeviceOpen(), 0);
}

TEST_F(PulledDuringALongWrite, ACloseEndsTheWrite) {
    Code closed{1};
    EXPECT_EQ(writeWhile([&] { closed = manager_->ResetCmdManager(0); }).code, 0x10U);
    EXPECT_EQ(closed, 0U);
    EXPECT_EQ(manager_->IsCommDeviceOpen(), 0);
}

TEST_F(PulledDuringALongWrite, AReleaseEndsTheWrite) {
    EXPECT_EQ(writeWhile([&] { manager_->FinalRelease(); }).code, 0x10U);
    manager_ = std::make_unique<CVeCmdManager>(bench_.platform());
    manager_->put_CommPortId(3);
}

TEST_F(PulledDuringALongWrite, AByteThatTheLineDoesNotTakeIsAShortWriteAndThePortIsOpenedAnew) {
    ASSERT_EQ(manager_->SwitchOperateMode(kBackground, 0), 0U);  // a synchronous mode would empty the line first
    const int filler = ::open(line_.slave().c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (filler < 0) GTEST_SKIP() << "needs the right to open an exclusive terminal";
    // The line goes on taking for a moment: what was written moves from one of its buffers to the next.
    for (int full = 0; full < 50; ++full) {
        while (::write(filler, data_.data(), data_.size()) > 0) full = 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(manager_->SendNormalAtCmd(0, "AT"), 0x4010U);  // after half a second and the pauses of the reopening
    ::close(filler);
    EXPECT_EQ(manager_->IsCommDeviceOpen(), 1);
    line_.receiveQueued();
    EXPECT_EQ(manager_->SendNormalAtCmd(0, "AT"), 0U);
    ASSERT_EQ(manager_->SwitchOperateMode(LineStation::kAnswersEndWithOk, 0), 0U);
}

}  // namespace
}  // namespace mova::line
