#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "logging/VersionBanner.h"
#include "support/ScriptedPlatform.h"

namespace mova {
namespace {

using ::testing::ElementsAre;

class VersionBannerTest : public ::testing::Test {
protected:
    VersionBannerTest() {
        platform.withDebugViewer();
        debug.setPrefix("MovaCmdSvr: ");
    }

    ScriptedPlatform platform;
    MyDebugMsg debug{platform};
};

TEST_F(VersionBannerTest, ThreeLinesIntroduceTheComponent) {
    const VersionTexts texts = postVersionBanner(platform, debug);
    EXPECT_THAT(platform.datagrams().texts(),
                ElementsAre("MovaCmdSvr: <MovaCmdSvr Ver 1.8.6>", "MovaCmdSvr: C:\\Station\\MovaCmdSvr.dll",
                            "MovaCmdSvr: Thursday, February 29, 2024 12:30:00"));
    EXPECT_EQ(texts.version, "<MovaCmdSvr Ver 1.8.6>");
    EXPECT_EQ(texts.modulePath, "C:\\Station\\MovaCmdSvr.dll");
    EXPECT_EQ(texts.build, "Thursday, February 29, 2024 12:30:00");
}

TEST_F(VersionBannerTest, ModuleFileThatCannotBeFoundLeavesTheThirdLineEmpty) {
    platform.host().removeFileTime("C:\\Station\\MovaCmdSvr.dll");
    const VersionTexts texts = postVersionBanner(platform, debug);
    EXPECT_THAT(platform.datagrams().texts(), ElementsAre("MovaCmdSvr: <MovaCmdSvr Ver 1.8.6>",
                                                          "MovaCmdSvr: C:\\Station\\MovaCmdSvr.dll", "MovaCmdSvr: "));
    EXPECT_EQ(texts.build, "");
}

TEST_F(VersionBannerTest, DateThatCannotBeFormedLeavesTheThirdLineEmpty) {
    platform.failures().fail(Op::LongDate);
    EXPECT_EQ(postVersionBanner(platform, debug).build, "");
    EXPECT_THAT(platform.datagrams().texts(), ElementsAre("MovaCmdSvr: <MovaCmdSvr Ver 1.8.6>",
                                                          "MovaCmdSvr: C:\\Station\\MovaCmdSvr.dll", "MovaCmdSvr: "));
}

TEST_F(VersionBannerTest, ModuleWithoutAPathStillPostsThreeLines) {
    platform.failures().fail(Op::ModulePath);
    postVersionBanner(platform, debug);
    EXPECT_THAT(platform.datagrams().texts(),
                ElementsAre("MovaCmdSvr: <MovaCmdSvr Ver 1.8.6>", "MovaCmdSvr: ", "MovaCmdSvr: "));
}

}  // namespace
}  // namespace mova
