#include <gtest/gtest.h>

#include "handset/Faults.h"

namespace mova::handset {
namespace {

TEST(Faults, NothingGoesWrongUnlessAskedFor) {
    Faults faults;
    EXPECT_FALSE(faults.take(Fault::Silence));
    EXPECT_FALSE(faults.take(Fault::HangUp));
}

TEST(Faults, AFaultHappensAsOftenAsAskedFor) {
    Faults faults;
    faults.set(Fault::MissingAck, 2);
    EXPECT_TRUE(faults.take(Fault::MissingAck));
    EXPECT_TRUE(faults.take(Fault::MissingAck));
    EXPECT_FALSE(faults.take(Fault::MissingAck));
}

TEST(Faults, OnceIsTheDefault) {
    Faults faults;
    faults.set(Fault::WrongData);
    EXPECT_TRUE(faults.take(Fault::WrongData));
    EXPECT_FALSE(faults.take(Fault::WrongData));
}

TEST(Faults, AlwaysLastsUntilCleared) {
    Faults faults;
    faults.set(Fault::Silence, Faults::kAlways);
    for (int i = 0; i < 1000; ++i) ASSERT_TRUE(faults.take(Fault::Silence));
    faults.clear();
    EXPECT_FALSE(faults.take(Fault::Silence));
}

TEST(Faults, EachIsCountedForItself) {
    Faults faults;
    faults.set(Fault::MissingOk);
    EXPECT_FALSE(faults.take(Fault::MissingAck));
    EXPECT_TRUE(faults.take(Fault::MissingOk));
}

TEST(Faults, EveryFaultHasAName) {
    EXPECT_EQ(faultByName("silence"), Fault::Silence);
    EXPECT_EQ(faultByName("wrong-checksum"), Fault::WrongChecksum);
    EXPECT_EQ(faultByName("wrong-echo"), Fault::WrongEcho);
    EXPECT_EQ(faultByName("wrong-record"), Fault::WrongRecord);
    EXPECT_EQ(faultByName("wrong-data"), Fault::WrongData);
    EXPECT_EQ(faultByName("missing-ack"), Fault::MissingAck);
    EXPECT_EQ(faultByName("missing-ok"), Fault::MissingOk);
    EXPECT_EQ(faultByName("duplicate-segment"), Fault::DuplicateSegment);
    EXPECT_EQ(faultByName("skipped-segment"), Fault::SkippedSegment);
    EXPECT_EQ(faultByName("two-families"), Fault::TwoFamilies);
    EXPECT_EQ(faultByName("hang-up"), Fault::HangUp);
    EXPECT_EQ(nameOf(Fault::HangUp), "hang-up");
    EXPECT_EQ(faultByName("Silence"), std::nullopt);
    EXPECT_EQ(faultByName(""), std::nullopt);
}

TEST(Faults, TheHelpTextNamesThemAll) {
    EXPECT_EQ(faultNames(),
              "silence, wrong-checksum, wrong-echo, wrong-record, wrong-data, missing-ack, missing-ok, "
              "duplicate-segment, skipped-segment, two-families, hang-up");
}

}  // namespace
}  // namespace mova::handset
