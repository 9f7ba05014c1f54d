// What a record is raised as: its text and the text's length.
#include <gtest/gtest.h>

#include "component/EventOutbox.h"

namespace mova {
namespace {

struct Case {
    const char* name;
    LineClass kind;
    std::uint32_t valid;
    const char* first;
    const char* second;
    const char* third;
    const char* text;
    std::int32_t length;
};

class EventTextTest : public ::testing::TestWithParam<Case> {};

TEST_P(EventTextTest, TextAndLengthGoByTheKind) {
    const Case& c = GetParam();
    MovaRetCmdTag record;
    record.kind = c.kind;
    record.valid = c.valid;
    record.responseText = c.first;
    record.terminatorText = c.second;
    record.hexData = c.third;
    record.byteData = "never";
    const EventOutbox::Event event = eventOf(record);
    EXPECT_EQ(event.text, c.text);
    EXPECT_EQ(event.length, c.length);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, EventTextTest,
    ::testing::Values(
        Case{"Kind0AThenTwoLineEndsThenBArrivesAsATildeB", LineClass::AtText, 1, "A\r\n\r\n", "B", "C", "A~B", 3},
        Case{"Kind0WithoutATerminator", LineClass::AtText, 1, "+CREG: 1\r\nRING\r\n", "", "", "+CREG: 1~RING~", 14},
        Case{"Kind0FoldsAcrossBothTexts", LineClass::AtText, 1, "\r\n~A~~\r\n", "~B", "", "~A~B", 4},
        Case{"Kind0KeepsLoneLineEnds", LineClass::AtText, 1, "A\rB\nC\r\n", "OK", "", "A\rB\nC~OK", 8},
        Case{"Kind0Empty", LineClass::AtText, 1, "", "", "C", "", 0},
        Case{"Kind2", LineClass::Echo, 1, "AT*MOVA=010001\r\n", "OK", "C", "AT*MOVA=010001~OK", 17},
        Case{"Kind1IsItsData", LineClass::Confirmation, 1, "first\r\n", "second", "0155", "0155", 4},
        Case{"Kind3IsItsData", LineClass::E2p, 1, "first\r\n", "second", "0155~~", "0155~~", 6},
        Case{"Kind4IsItsFirstText", LineClass::Acknowledgement, 1, "A\r\n\r\n", "*MOVA=ACK", "C", "A\r\n\r\n", 5},
        Case{"Kind5IsEmpty", LineClass::Hci, 1, "first\r\n", "second", "0155", "", 0},
        Case{"Kind6IsEmpty", LineClass::Wifi, 1, "first\r\n", "second", "0155", "", 0},
        Case{"UnknownKindIsEmpty", LineClass{9}, 1, "first\r\n", "second", "0155", "", 0},
        Case{"NotCompleteIsItsFirstText", LineClass::Confirmation, 0, "*MOVA=03\r\n\r\n", "OK", "0155",
             "*MOVA=03\r\n\r\n", 12},
        Case{"NotCompleteKind0IsNotFolded", LineClass::AtText, 0, "A\r\n", "B", "C", "A\r\n", 3},
        Case{"NotCompleteKind5", LineClass::Hci, 0, "first\r\n", "second", "C", "first\r\n", 7},
        Case{"ValidOtherThanOneIsNotComplete", LineClass::E2p, 2, "first", "second", "C", "first", 5}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace mova
