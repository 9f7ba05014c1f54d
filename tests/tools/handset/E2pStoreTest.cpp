#include <gtest/gtest.h>

#include "handset/E2pStore.h"

namespace mova::handset {
namespace {

using namespace std::string_literals;

TEST(E2pStore, AnErasedStoreHasTheIdentityObjectsAllSet) {
    struct Expected {
        std::uint16_t object;
        std::uint16_t record;
        std::size_t bytes;
    };
    E2pStore store = E2pStore::erased();
    for (const Expected& expected : {Expected{4097, 1, 64},
                                     {4099, 1, 64},
                                     {4099, 2, 96},
                                     {4099, 7, 32},
                                     {4256, 1, 16},
                                     {4260, 1, 24},
                                     {36895, 1, 512}}) {
        const std::string* const bytes = store.find(expected.object, expected.record);
        ASSERT_NE(bytes, nullptr) << expected.object;
        EXPECT_EQ(*bytes, std::string(expected.bytes, '\xFF')) << expected.object;
    }
}

TEST(E2pStore, KnowsObjectsAndTheirRecords) {
    E2pStore store;
    store.put(0x1234, 2, "\xAA\xBB");
    EXPECT_TRUE(store.has(0x1234));
    EXPECT_FALSE(store.has(0x1233));
    EXPECT_FALSE(store.has(0x1235));
    ASSERT_NE(store.find(0x1234, 2), nullptr);
    EXPECT_EQ(*store.find(0x1234, 2), "\xAA\xBB");
    EXPECT_EQ(store.find(0x1234, 1), nullptr);
    EXPECT_EQ(store.find(0x1235, 2), nullptr);
}

TEST(E2pStore, IsWrittenAsText) {
    E2pStore store;
    store.put(4099, 7, "\x00\x5A"s);
    store.put(4097, 1, "\xFF"s);
    EXPECT_EQ(store.toText(), "# object record data\n4097 1 FF\n4099 7 005A\n");
}

TEST(E2pStore, IsReadFromText) {
    std::string error;
    auto store = E2pStore::fromText("# mine\n\n  4099   7  005a # the third\r\n65535 65535 FF\n", error);
    ASSERT_TRUE(store) << error;
    EXPECT_EQ(error, "");
    EXPECT_EQ(store->objects().size(), 2U);
    EXPECT_EQ(*store->find(4099, 7), "\x00\x5A"s);
    EXPECT_EQ(*store->find(65535, 65535), "\xFF");
}

TEST(E2pStore, TextOfAStoreGivesTheStoreAgain) {
    std::string error;
    const E2pStore erased = E2pStore::erased();
    const auto again = E2pStore::fromText(erased.toText(), error);
    ASSERT_TRUE(again) << error;
    EXPECT_EQ(again->objects(), erased.objects());
}

TEST(E2pStore, ARecordThatComesTwiceIsTheLast) {
    std::string error;
    auto store = E2pStore::fromText("1 1 AA\n1 1 BB\n", error);
    ASSERT_TRUE(store);
    EXPECT_EQ(*store->find(1, 1), "\xBB");
}

TEST(E2pStore, AnEmptyTextIsAnEmptyStore) {
    std::string error;
    const auto store = E2pStore::fromText("", error);
    ASSERT_TRUE(store);
    EXPECT_TRUE(store->objects().empty());
}

struct BadText {
    const char* text;
    const char* error;
};

class E2pStoreErrors : public testing::TestWithParam<BadText> {};

TEST_P(E2pStoreErrors, AreToldWithTheirLine) {
    std::string error;
    EXPECT_FALSE(E2pStore::fromText(GetParam().text, error));
    EXPECT_EQ(error, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, E2pStoreErrors,
    testing::Values(BadText{"1 1 AA\nobject 1 AA\n", "line 2: no object number"},
                    BadText{"1\n", "line 1: expected object, record and hexadecimal data"},
                    BadText{"1 1\n", "line 1: expected object, record and hexadecimal data"},
                    BadText{"# x\n\n1 one AA\n", "line 3: expected object, record and hexadecimal data"},
                    BadText{"1 1 AAB\n", "line 1: expected object, record and hexadecimal data"},
                    BadText{"1 1 XY\n", "line 1: expected object, record and hexadecimal data"},
                    BadText{"1 1 AA BB\n", "line 1: expected object, record and hexadecimal data"},
                    BadText{"65536 1 AA\n", "line 1: expected object, record and hexadecimal data"},
                    BadText{"1 65536 AA\n", "line 1: expected object, record and hexadecimal data"}));

}  // namespace
}  // namespace mova::handset
