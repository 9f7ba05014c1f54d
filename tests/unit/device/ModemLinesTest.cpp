#include "unit/device/HandsetFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

// --- lines out

struct SignalCase {
    std::int32_t index;
    bool raise;
    const char* call;
    const char* failure;  // the message when it fails twice
};

class SetSignalTest : public DeviceCommTest, public ::testing::WithParamInterface<SignalCase> {};

TEST_P(SetSignalTest, DrivesDtrForIndex1AndRtsForEveryOther) {
    const SignalCase& c = GetParam();
    openQuietly();
    EXPECT_EQ(device.setSignal(c.index, c.raise), 0u);
    EXPECT_THAT(platform.journal().texts(), ElementsAre("clearErrors", c.call));
    EXPECT_THAT(messages(), IsEmpty());
    // An open port has both lines up.
    const bool isDtr = c.index == 1;
    EXPECT_EQ(port.dtr(), isDtr ? c.raise : true);
    EXPECT_EQ(port.rts(), isDtr ? true : c.raise);
}

TEST_P(SetSignalTest, ASignalThatFailsIsSetAgainOnce) {
    const SignalCase& c = GetParam();
    openQuietly();
    const std::string failed = std::string(c.call) + " -> error 31";
    platform.failures().fail(Op::Control);
    EXPECT_EQ(device.setSignal(c.index, c.raise), 0u);
    EXPECT_THAT(messages(), ElementsAre("Retry Setting Signal"));
    EXPECT_EQ(passed(), 50);
    EXPECT_THAT(platform.journal().texts(), ElementsAre("clearErrors", failed, "sleep 50", "clearErrors", c.call));

    forget();
    platform.failures().fail(Op::Control).always();
    EXPECT_EQ(device.setSignal(c.index, c.raise), 0x4344u);
    EXPECT_THAT(messages(), ElementsAre("Retry Setting Signal", c.failure));
    EXPECT_EQ(passed(), 50);
    EXPECT_THAT(platform.journal().texts(), ElementsAre("clearErrors", failed, "sleep 50", "clearErrors", failed));
    EXPECT_TRUE(device.isOpen());
}

INSTANTIATE_TEST_SUITE_P(
    Lines, SetSignalTest,
    ::testing::Values(SignalCase{1, true, "control SetDtr", "Setting Signal Error in Function: 5"},
                      SignalCase{1, false, "control ClearDtr", "Setting Signal Error in Function: 6"},
                      SignalCase{0, true, "control SetRts", "Setting Signal Error in Function: 3"},
                      SignalCase{0, false, "control ClearRts", "Setting Signal Error in Function: 4"},
                      SignalCase{2, true, "control SetRts", "Setting Signal Error in Function: 3"},
                      SignalCase{2, false, "control ClearRts", "Setting Signal Error in Function: 4"},
                      SignalCase{7, true, "control SetRts", "Setting Signal Error in Function: 3"},
                      SignalCase{-1, false, "control ClearRts", "Setting Signal Error in Function: 4"},
                      SignalCase{257, true, "control SetRts", "Setting Signal Error in Function: 3"}),
    [](const auto& test) { return "Case" + std::to_string(test.index); });

using ModemLinesTest = DeviceCommTest;

TEST_F(ModemLinesTest, ClosedPortHasNoLines) {
    std::int32_t value = 77;
    EXPECT_EQ(device.setSignal(1, true), 0x4000u);
    EXPECT_EQ(device.detectSignal(0, value), 0x4000u);
    EXPECT_EQ(value, 0);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(ModemLinesTest, ErrorsThatDoNotClearStopNeitherSettingNorItsRetry) {
    openQuietly();
    port.setStandingErrorBits(0x10);
    platform.failures().fail(Op::Control).twice();
    const Texts passes = repeated(kBreakText, 11) + Texts{kTooManyPasses};
    EXPECT_EQ(device.setSignal(1, true), 0x4344u);
    EXPECT_THAT(messages(), ElementsAreArray(passes + Texts{"Retry Setting Signal"} + passes +
                                             Texts{"Setting Signal Error in Function: 5"}));
    EXPECT_EQ(passed(), 110 + 50 + 110);
    forget();
    EXPECT_EQ(device.setSignal(0, false), 0u);
    EXPECT_THAT(messages(), ElementsAreArray(passes));
}

TEST_F(ModemLinesTest, ErrorClearingThatFailsStopsNothing) {
    openQuietly();
    platform.failures().fail(Op::ClearErrors).always();
    platform.failures().fail(Op::Control);
    port.setModemStatus(0x10);
    std::int32_t value = 0;
    EXPECT_EQ(device.setSignal(1, false), 0u);
    EXPECT_EQ(device.detectSignal(0, value), 0u);
    EXPECT_EQ(value, 1);
    EXPECT_THAT(messages(), ElementsAre("Retry Setting Signal"));
}

TEST_F(ModemLinesTest, OnlyTheElevenPassesGoToTheLogFile) {
    openQuietly();
    device.setLogFilePath("C:\\dev.log");
    platform.failures().fail(Op::Control).twice();
    port.addErrorBits(0x10, 10);
    EXPECT_EQ(device.setSignal(1, true), 0x4344u);
    EXPECT_EQ(platform.files().content("C:\\dev.log"),
              "[2024/03/05-09:07:02::145][00001]\t[COMMENT]: ClearDeviceError Error More Than 10 Times\r\n");
}

// --- lines in

struct DetectCase {
    std::uint32_t status;
    std::int32_t index;
    std::int32_t value;
};

class DetectSignalTest : public DeviceCommTest, public ::testing::WithParamInterface<DetectCase> {};

TEST_P(DetectSignalTest, GivesALineOrTheWholeWord) {
    openQuietly();
    port.setModemStatus(GetParam().status);
    std::int32_t value = 77;
    EXPECT_EQ(device.detectSignal(GetParam().index, value), 0u);
    EXPECT_EQ(value, GetParam().value);
    EXPECT_THAT(platform.journal().texts(), ElementsAre("clearErrors", "modemStatus"));
    EXPECT_THAT(messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Lines, DetectSignalTest,
                         ::testing::Values(DetectCase{0x10, 0, 1}, DetectCase{0x10, 1, 0}, DetectCase{0x10, 2, 0},
                                           DetectCase{0x10, 3, 0}, DetectCase{0x20, 0, 0}, DetectCase{0x20, 1, 1},
                                           DetectCase{0x20, 2, 0}, DetectCase{0x20, 3, 0}, DetectCase{0x40, 0, 0},
                                           DetectCase{0x40, 1, 0}, DetectCase{0x40, 2, 1}, DetectCase{0x40, 3, 0},
                                           DetectCase{0x80, 0, 0}, DetectCase{0x80, 1, 0}, DetectCase{0x80, 2, 0},
                                           DetectCase{0x80, 3, 1}, DetectCase{0xEF, 0, 0}, DetectCase{0xDF, 1, 0},
                                           DetectCase{0xBF, 2, 0}, DetectCase{0x7F, 3, 0}, DetectCase{0x30, -1, 0x30},
                                           DetectCase{0xFF, -1, 0xFF}, DetectCase{0, -1, 0}, DetectCase{0xF0, 4, 0},
                                           DetectCase{0xF0, -2, 0}, DetectCase{0xF0, 256, 0},
                                           DetectCase{0xF0, 2147483647, 0}, DetectCase{0xF0, -2147483647 - 1, 0}),
                         [](const auto& test) { return "Case" + std::to_string(test.index); });

TEST_F(ModemLinesTest, StatusThatCannotBeReadIsToldAndGives0) {
    openQuietly();
    port.setModemStatus(0xF0);
    platform.failures().fail(Op::ModemStatus).twice();
    for (int time = 0; time < 2; ++time) {
        std::int32_t value = 77;
        EXPECT_EQ(device.detectSignal(0, value), 0x4345u);
        EXPECT_EQ(value, 0);
    }
    EXPECT_THAT(messages(), ElementsAreArray(repeated("DetectSignal Error : " + kSystemText31, 2)));
    EXPECT_TRUE(device.isOpen());
    EXPECT_EQ(passed(), 0);
    std::int32_t value = 0;
    EXPECT_EQ(device.detectSignal(0, value), 0u);
    EXPECT_EQ(value, 1);
}

TEST_F(ModemLinesTest, ErrorPassesBeforeDetectingAreTold) {
    openQuietly();
    port.setModemStatus(0x80);
    port.setStandingErrorBits(0x10);
    std::int32_t value = 0;
    EXPECT_EQ(device.detectSignal(3, value), 0u);
    EXPECT_EQ(value, 1);
    EXPECT_THAT(messages(), ElementsAreArray(repeated(kBreakText, 11) + Texts{kTooManyPasses}));
}

// --- flow control: the flag word that the port is given

struct FlowCase {
    std::uint8_t mode;
    std::uint32_t start;  // what the port reports
    std::uint32_t flags;  // what it is given
};

class FlowControlTest : public DeviceCommTest, public ::testing::WithParamInterface<FlowCase> {};

TEST_P(FlowControlTest, OpeningInAModeSetsItsFlags) {
    const FlowCase& c = GetParam();
    port.lineSettings.flags = c.start;
    EXPECT_EQ(device.setFlowControlMode(c.mode), 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty()) << "a closed port only keeps the mode";
    EXPECT_EQ(openCom7(), 0u);
    EXPECT_EQ(port.lineSettings.flags, c.flags);
}

TEST_P(FlowControlTest, SwitchingToAModeSetsItsFlagsWhateverModeWasBefore) {
    const FlowCase& c = GetParam();
    for (std::uint8_t before = 1; before <= 8; ++before) {
        device.setFlowControlMode(before);
        port.lineSettings.flags = c.start;
        openQuietly();
        EXPECT_EQ(device.setFlowControlMode(c.mode), 0u);
        EXPECT_EQ(port.lineSettings.flags, c.flags) << "after mode " << int{before};
        EXPECT_EQ(platform.journal().serial().size(), 2u);
        EXPECT_THAT(messages(), IsEmpty());
        EXPECT_EQ(passed(), 0);
        device.CloseDevice();
    }
}

// From a cleared word, from the four bits that are kept, from all low bits, from all bits, and from the high bits.
INSTANTIATE_TEST_SUITE_P(
    Modes, FlowControlTest,
    ::testing::Values(
        FlowCase{1, 0, 0x6010}, FlowCase{1, 0x0C81, 0x6C91}, FlowCase{1, 0xFFFF, 0xEC91},
        FlowCase{1, 0xFFFFFFFF, 0xFFFFEC91}, FlowCase{1, 0xFFFF8000, 0xFFFFE010}, FlowCase{2, 0, 0x6014},
        FlowCase{2, 0x0C81, 0x6C95}, FlowCase{2, 0xFFFF, 0xEC95}, FlowCase{2, 0xFFFFFFFF, 0xFFFFEC95},
        FlowCase{2, 0xFFFF8000, 0xFFFFE014}, FlowCase{3, 0, 0x5020}, FlowCase{3, 0x0C81, 0x5CA1},
        FlowCase{3, 0xFFFF, 0xDCA1}, FlowCase{3, 0xFFFFFFFF, 0xFFFFDCA1}, FlowCase{3, 0xFFFF8000, 0xFFFFD020},
        FlowCase{4, 0, 0x5028}, FlowCase{4, 0x0C81, 0x5CA9}, FlowCase{4, 0xFFFF, 0xDCA9},
        FlowCase{4, 0xFFFFFFFF, 0xFFFFDCA9}, FlowCase{4, 0xFFFF8000, 0xFFFFD028}, FlowCase{5, 0, 0x5110},
        FlowCase{5, 0x0C81, 0x5D91}, FlowCase{5, 0xFFFF, 0xDD91}, FlowCase{5, 0xFFFFFFFF, 0xFFFFDD91},
        FlowCase{5, 0xFFFF8000, 0xFFFFD110}, FlowCase{6, 0, 0x5210}, FlowCase{6, 0x0C81, 0x5E91},
        FlowCase{6, 0xFFFF, 0xDE91}, FlowCase{6, 0xFFFFFFFF, 0xFFFFDE91}, FlowCase{6, 0xFFFF8000, 0xFFFFD210},
        FlowCase{7, 0, 0x5310}, FlowCase{7, 0x0C81, 0x5F91}, FlowCase{7, 0xFFFF, 0xDF91},
        FlowCase{7, 0xFFFFFFFF, 0xFFFFDF91}, FlowCase{7, 0xFFFF8000, 0xFFFFD310}, FlowCase{8, 0, 0x5010},
        FlowCase{8, 0x0C81, 0x5C91}, FlowCase{8, 0xFFFF, 0xDC91}, FlowCase{8, 0xFFFFFFFF, 0xFFFFDC91},
        FlowCase{8, 0xFFFF8000, 0xFFFFD010},
        // Every other value is as 8.
        FlowCase{0, 0, 0x5010}, FlowCase{0, 0x0C81, 0x5C91}, FlowCase{0, 0xFFFF, 0xDC91}, FlowCase{9, 0xFFFF, 0xDC91},
        FlowCase{200, 0, 0x5010}, FlowCase{200, 0xFFFF, 0xDC91}, FlowCase{255, 0xFFFF, 0xDC91}),
    [](const auto& test) {
        return "Mode" + std::to_string(test.param.mode) + "From" + std::to_string(test.param.start);
    });

TEST_F(ModemLinesTest, ModeIs8UnlessOneIsSet) {
    port.lineSettings.flags = 0xFFFF;
    EXPECT_EQ(openCom7(), 0u);
    EXPECT_EQ(port.lineSettings.flags, 0xDC91u);
}

TEST_F(ModemLinesTest, RefusedModeLeavesThePreviousSettingsInForce) {
    openQuietly();
    platform.failures().fail(Op::SetLineSettings).twice();
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(device.setFlowControlMode(4), 0x4003u);
        EXPECT_EQ(port.lineSettings.flags, 0x5010u);
    }
    EXPECT_THAT(messages(), ElementsAreArray(repeated("SetCommState Fail", 2)));
    EXPECT_TRUE(device.isOpen());
    // The mode is kept; the next configuration starts from the settings that were accepted.
    EXPECT_EQ(device.configure(), 0u);
    EXPECT_EQ(port.lineSettings.flags, 0x5028u);
}

TEST_F(ModemLinesTest, RefusedModeGoesToTheLogFile) {
    openQuietly();
    device.setLogFilePath("C:\\dev.log");
    platform.failures().fail(Op::SetLineSettings);
    EXPECT_EQ(device.setFlowControlMode(4), 0x4003u);
    EXPECT_EQ(platform.files().content("C:\\dev.log"),
              "[2024/03/05-09:07:02::045][00001]\t[COMMENT]: SetCommState Fail\r\n");
}

// --- flow control by the manager

struct SwitchCase {
    std::int32_t mode;
    std::uint32_t flags;
};

class SwitchModeTest : public HandsetFixture, public ::testing::WithParamInterface<SwitchCase> {};

TEST_P(SwitchModeTest, ModesFrom1To8AreSetAndEveryOtherIs7) {
    openQuietly();
    port.switchFlowControlMode(GetParam().mode);
    EXPECT_EQ(comm.lineSettings.flags, GetParam().flags);
    EXPECT_EQ(port.pendingFlowControlMode(), 7);
}

TEST_P(SwitchModeTest, OnAClosedPortTheNextOpenAppliesIt) {
    port.markInitialised();
    port.switchFlowControlMode(GetParam().mode);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_EQ(port.open(), 0u);
    EXPECT_EQ(comm.lineSettings.flags, GetParam().flags);
}

TEST_P(SwitchModeTest, BeforeInitialisationItChangesNothingThenOrLater) {
    ASSERT_EQ(port.open(), 0u);
    forget();
    port.switchFlowControlMode(GetParam().mode);
    EXPECT_EQ(port.pendingFlowControlMode(), GetParam().mode);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    port.markInitialised();
    EXPECT_EQ(port.open(), 0u);
    EXPECT_EQ(comm.lineSettings.flags, 0x5010u);
}

TEST_P(SwitchModeTest, OnAnotherDeviceTypeItDoesNothing) {
    openQuietly();
    port.setDeviceType(1, 0, 0);
    port.switchFlowControlMode(GetParam().mode);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_EQ(port.pendingFlowControlMode(), 7);
    port.setDeviceType(0, 0, 0);
    EXPECT_EQ(port.open(), 0u);
    EXPECT_EQ(comm.lineSettings.flags, 0x5010u);
}

INSTANTIATE_TEST_SUITE_P(Modes, SwitchModeTest,
                         ::testing::Values(SwitchCase{1, 0x6010}, SwitchCase{2, 0x6014}, SwitchCase{3, 0x5020},
                                           SwitchCase{4, 0x5028}, SwitchCase{5, 0x5110}, SwitchCase{6, 0x5210},
                                           SwitchCase{7, 0x5310}, SwitchCase{8, 0x5010}, SwitchCase{0, 0x5310},
                                           SwitchCase{9, 0x5310}, SwitchCase{-1, 0x5310}, SwitchCase{257, 0x5310},
                                           SwitchCase{264, 0x5310}, SwitchCase{2147483647, 0x5310},
                                           SwitchCase{-2147483647 - 1, 0x5310}),
                         [](const auto& test) { return "Case" + std::to_string(test.index); });

using SwitchModeFailureTest = HandsetFixture;

TEST_F(SwitchModeFailureTest, RefusedFlowControlIsToldByItsMessageAlone) {
    openQuietly();
    platform.failures().fail(Op::SetLineSettings);
    port.switchFlowControlMode(2);
    EXPECT_EQ(comm.lineSettings.flags, 0x5010u);
    EXPECT_THAT(sink.messages(), ElementsAre("SetCommState Fail"));
}

}  // namespace
}  // namespace mova
