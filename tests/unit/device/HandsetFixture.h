// The handset's port on the scripted platform: COM7, not opened yet, its trace and its device messages kept.
#pragma once
#include "device/HandsetPort.h"
#include "support/RecordingTrace.h"
#include "unit/device/DeviceFixture.h"

namespace mova {

class HandsetFixture : public ::testing::Test {
protected:
    HandsetFixture() {
        platform.withDebugViewer();
        port.device().setMessageSink(&sink);
        port.setPortNumber(7);
    }
    ~HandsetFixture() override {
        port.closeAtEnd();
        port.device().setMessageSink(nullptr);
    }

    // Initialised and open, with everything noted so far forgotten.
    void openQuietly() {
        port.markInitialised();
        ASSERT_EQ(port.open(), 0u);
        forget();
    }
    // The device closes itself on a failing write while the manager keeps its copy of the handle.
    void letTheDeviceCloseItself() {
        platform.failures().fail(Op::BeginWrite);
        std::uint32_t written = 0;
        ASSERT_EQ(port.device().WriteData("x", 1, written), 0x4341u);
        ASSERT_FALSE(port.device().isOpen());
        ASSERT_TRUE(port.hasHandle());
        forget();
    }
    void forget() {
        sink.clear();
        trace.clear();
        comm.clearWritten();
        platform.journal().clear();
        platform.datagrams().clear();
        begun = platform.elapsed();
    }
    std::int64_t passed() const { return platform.elapsed() - begun; }

    ScriptedPlatform platform;
    ScriptedPort& comm = platform.withPort(7, friendlyName());
    RecordingTrace trace;
    RecordingCallBack sink;
    MyDebugMsg debug{platform};
    HandsetPort port{platform, debug, trace};
    std::int64_t begun = 0;

    static std::string friendlyName() { return "USB Serial Port (COM7)"; }
};

}  // namespace mova
