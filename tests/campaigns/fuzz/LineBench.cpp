#include "campaigns/fuzz/LineBench.h"

#include <gtest/gtest.h>

#include "campaigns/fuzz/Require.h"

namespace mova::fuzz {

ScriptedPort& quietPort(ScriptedPlatform& platform) {
    GTEST_FLAG_SET(break_on_failure, true);  // the platform tells of misuse through GoogleTest
    platform.journal().keep(false);
    platform.failures().fail(Op::StartThread).always();
    return platform.withPort(7, "USB Serial Port (COM7)");
}

LineBench::LineBench() : comm(quietPort(platform)) {
    port.setPortNumber(7);
    port.markInitialised();
    require(port.open() == Code::Success, "the scripted port opens");
    comm.clearWritten();
    trace.clear();
}

LineBench::~LineBench() {
    comm.forgetConversation();
    static_cast<void>(port.close());  // the next input has a port of its own
}

}  // namespace mova::fuzz
