#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

#include "device/PortDiscovery.h"
#include "support/ScriptedPlatform.h"

namespace mova {
namespace {

using ::testing::Each;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

const std::string kEnum = "SYSTEM\\CurrentControlSet\\Enum\\";
const std::string kSerenumPort = kEnum + "ACPI\\PNP0501\\1";
// Below the USB enumerator the third level is a parameters key.
const std::string kUsbDevice = kEnum + "USB\\VID_0403&PID_6001\\A6008isP";

struct Found {
    CardType card;
    std::string name;
    friend bool operator==(const Found&, const Found&) = default;
    friend void PrintTo(const Found& found, std::ostream* out) { *out << found.card << " \"" << found.name << '"'; }
};
const Found kNothing{-2, "untouched"};

class PortDiscoveryTest : public ::testing::Test {
protected:
    Found lookUp(std::uint32_t port) {
        std::string name = "untouched";
        const CardType card = PortDiscovery(platform).lookUp(port, name);
        EXPECT_EQ(platform.keys().openKeys(), 0u);
        return {card, name};
    }
    void addSerenum(const std::string& path, const std::string& friendlyName) {
        platform.keys().add(path, {{"FriendlyName", friendlyName}, {"UpperFilters", "serenum"}});
    }
    void addActive(const std::string& path, std::uint32_t reference = 0x81234567) {
        platform.keys().add(path + "\\Control", {{"DeviceReference", reference}});
    }
    // A device below USB whose parameters key names the port.
    void addUsb(const std::string& path, const std::string& portName, const std::string& friendlyName) {
        platform.keys().add(path, {{"FriendlyName", friendlyName}});
        platform.keys().add(path + "\\Device Parameters", {{"PortName", portName}});
    }
    ScriptedPlatform platform;
};

// --- the prefix table

struct PrefixCase {
    const char* name;
    CardType card;
};

class PrefixTableTest : public PortDiscoveryTest, public ::testing::WithParamInterface<PrefixCase> {};

TEST_P(PrefixTableTest, ClassifiesByWhatTheNameBeginsWith) {
    const auto& [name, card] = GetParam();
    EXPECT_EQ(classifyDriver(name), card);
    EXPECT_EQ(classifyDriver(std::string(name) + " (COM7)"), card);
    EXPECT_EQ(classifyDriver("My " + std::string(name)), 0) << "within the name it counts for nothing";
    EXPECT_EQ(classifyDriver(std::string(name).substr(0, std::string(name).size() - 1)), 0);
    addSerenum(kSerenumPort, std::string(name) + " (COM7)");
    EXPECT_EQ(lookUp(7), (Found{card, std::string(name) + " (COM7)"}));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PrefixTableTest,
    ::testing::Values(PrefixCase{"Communication Port", 1}, PrefixCase{"Communications Port", 1},
                      PrefixCase{"RocketPort Port", 1}, PrefixCase{"\xB3\x71\xB0\x54\xB3\x73\xB1\xB5\xB0\xF0", 1},
                      PrefixCase{"Prolific USB-to-Serial Comm Port", 1}, PrefixCase{"PCI Serial 16850", 2},
                      PrefixCase{"PCI Serial 16550", 2}, PrefixCase{"MosChip PCI Serial Port", 3},
                      PrefixCase{"MOXA Communication Port", 4}, PrefixCase{"Silicon Labs CP210x USB to UART Bridge", 5},
                      PrefixCase{"USB to Serial Port", 5}, PrefixCase{"Nokia USB Modem", 6},
                      PrefixCase{"SAMSUNG Mobile USB Modem", 6}, PrefixCase{"Motorola USB Modem", 6},
                      PrefixCase{"Qualcomm HS-USB", 6}, PrefixCase{"HUAWEI Mobile Connect", 6},
                      PrefixCase{"USB Serial Port", 6}, PrefixCase{"USB-SERIAL CH340", 5},
                      PrefixCase{"Microsoft USB Sync", 6}),
    [](const auto& test) { return "Row" + std::to_string(test.index + 1); });

TEST_F(PortDiscoveryTest, UnknownNamesAreType0) {
    for (const char* name : {"", "My Serial Port (COM4)", "communications port (COM1)", " Communications Port (COM1)",
                             "COMMUNICATIONS PORT", "USB"}) {
        EXPECT_EQ(classifyDriver(name), 0) << name;
    }
}

TEST_F(PortDiscoveryTest, OnlyTypes5And6SitOnUsb) {
    for (const CardType card : {-2, -1, 0, 1, 2, 3, 4, 7}) EXPECT_FALSE(isUsb(card)) << card;
    EXPECT_TRUE(isUsb(5));
    EXPECT_TRUE(isUsb(6));
}

// --- text match

TEST_F(PortDiscoveryTest, TextMatchGivesTheFirstPosition) {
    EXPECT_EQ(matchText("ab COM1 COM1", "COM1", false), 3);
    EXPECT_EQ(matchText("ab com1", "COM1", false), -1);
    EXPECT_EQ(matchText("ab com1", "CoM1", true), 3);
    EXPECT_EQ(matchText("short", "longer pattern", true), -1);
    EXPECT_EQ(matchText("", "x", false), -1);
}

// --- families

struct FamilyCase {
    std::uint32_t platformId;
    std::uint32_t major;
    std::uint32_t minor;
    TreeFamily family;
};

class TreeFamilyTest : public ::testing::TestWithParam<FamilyCase> {};

TEST_P(TreeFamilyTest, GoesByTheVersion) {
    const FamilyCase& c = GetParam();
    EXPECT_EQ(treeFamily({c.platformId, c.major, c.minor}), c.family);
}

INSTANTIATE_TEST_SUITE_P(
    Versions, TreeFamilyTest,
    ::testing::Values(FamilyCase{0, 4, 0, TreeFamily::Legacy}, FamilyCase{1, 4, 0, TreeFamily::Legacy},
                      FamilyCase{1, 4, 10, TreeFamily::Legacy}, FamilyCase{1, 4, 90, TreeFamily::Legacy},
                      FamilyCase{1, 5, 1, TreeFamily::Legacy}, FamilyCase{1, 6, 0, TreeFamily::Legacy},
                      FamilyCase{2, 4, 0, TreeFamily::Nt}, FamilyCase{2, 5, 0, TreeFamily::Nt},
                      FamilyCase{2, 5, 1, TreeFamily::Xp}, FamilyCase{2, 5, 2, TreeFamily::Nt},
                      FamilyCase{2, 6, 0, TreeFamily::Vista}, FamilyCase{2, 6, 1, TreeFamily::Vista},
                      FamilyCase{2, 6, 2, TreeFamily::Vista}, FamilyCase{2, 6, 3, TreeFamily::Vista},
                      FamilyCase{2, 10, 0, TreeFamily::Nt}, FamilyCase{2, 1, 1, TreeFamily::Nt},
                      FamilyCase{3, 6, 1, TreeFamily::Vista}),
    [](const auto& test) {
        return "Id" + std::to_string(test.param.platformId) + "Version" + std::to_string(test.param.major) + "p" +
               std::to_string(test.param.minor);
    });

struct LookUpVersion {
    std::uint32_t major;
    std::uint32_t minor;
    bool needsActiveDevice;
};

// Every version of the NT line.
class NtLineTest : public PortDiscoveryTest, public ::testing::WithParamInterface<LookUpVersion> {
protected:
    NtLineTest() { platform.host().setVersion(GetParam().major, GetParam().minor); }
};

TEST_P(NtLineTest, DeviceWithoutAnActiveReferenceCountsOrNot) {
    addSerenum(kSerenumPort, "Communications Port (COM1)");
    EXPECT_EQ(lookUp(1), GetParam().needsActiveDevice ? kNothing : (Found{1, "Communications Port (COM1)"}));
}

TEST_P(NtLineTest, DeviceWithAnActiveReferenceCounts) {
    addSerenum(kSerenumPort, "Communications Port (COM1)");
    addActive(kSerenumPort);
    EXPECT_EQ(lookUp(1), (Found{1, "Communications Port (COM1)"}));
}

TEST_P(NtLineTest, FirstMatchOrTheFirstActiveOne) {
    addSerenum(kEnum + "A\\A\\1", "First (COM1)");
    addSerenum(kEnum + "B\\B\\1", "Second (COM1)");
    addSerenum(kEnum + "C\\C\\1", "Communications Port (COM1)");
    addActive(kEnum + "A\\A\\1", 0);
    addActive(kEnum + "C\\C\\1");
    const Found active{1, "Communications Port (COM1)"};
    EXPECT_EQ(lookUp(1), GetParam().needsActiveDevice ? active : (Found{0, "First (COM1)"}));
}

TEST_P(NtLineTest, UsbDeviceIsFoundByItsPortName) {
    addUsb(kUsbDevice, "COM1", "USB Serial Port");
    EXPECT_EQ(lookUp(1), GetParam().needsActiveDevice ? kNothing : (Found{6, "USB Serial Port"}));
    addActive(kUsbDevice);
    EXPECT_EQ(lookUp(1), (Found{6, "USB Serial Port"}));
}

TEST_P(NtLineTest, InactiveSerialDeviceGivesWayToAnActiveUsbDevice) {
    addSerenum(kSerenumPort, "Communications Port (COM1)");
    addUsb(kUsbDevice, "COM1", "USB Serial Port");
    addActive(kUsbDevice);
    const Found usb{6, "USB Serial Port"};
    EXPECT_EQ(lookUp(1), GetParam().needsActiveDevice ? usb : (Found{1, "Communications Port (COM1)"}));
}

TEST_P(NtLineTest, LegacyTreeIsNotLookedAt) {
    platform.keys().add("Enum\\ROOT\\PORTS\\0000", {{"FriendlyName", "Communications Port (COM1)"}});
    EXPECT_EQ(lookUp(1), kNothing);
    EXPECT_THAT(platform.keys().opened(), Each(StartsWith("SYSTEM\\CurrentControlSet\\Enum")));
}

INSTANTIATE_TEST_SUITE_P(Versions, NtLineTest,
                         ::testing::Values(LookUpVersion{4, 0, true}, LookUpVersion{5, 0, true},
                                           LookUpVersion{5, 1, false}, LookUpVersion{5, 2, true},
                                           LookUpVersion{6, 0, false}, LookUpVersion{6, 1, false},
                                           LookUpVersion{6, 2, false}, LookUpVersion{10, 0, true}),
                         [](const auto& test) {
                             return "V" + std::to_string(test.param.major) + "p" + std::to_string(test.param.minor);
                         });

// --- the family without the NT tree

TEST_F(PortDiscoveryTest, LegacyFamilySearchesItsOwnTreeByNameAlone) {
    platform.host().setVersion(4, 10, 1);
    platform.keys().add("Enum\\ROOT\\PORTS\\0000", {{"FriendlyName", "Communications Port (COM1)"}});
    EXPECT_EQ(lookUp(1), (Found{1, "Communications Port (COM1)"}));  // no serial enumerator, no active device
    EXPECT_THAT(platform.keys().opened(), Each(StartsWith("Enum")));
}

TEST_F(PortDiscoveryTest, LegacyFamilyKnowsNoOtherTree) {
    platform.host().setVersion(4, 90, 1);
    addSerenum(kSerenumPort, "Communications Port (COM1)");
    addUsb(kUsbDevice, "COM1", "USB Serial Port");
    EXPECT_EQ(lookUp(1), kNothing);
    EXPECT_THAT(platform.keys().opened(), Not(::testing::Contains(StartsWith("SYSTEM"))));
}

// --- what is found

TEST_F(PortDiscoveryTest, SerialEnumeratorsDeviceGivesItsNameAndType) {
    addSerenum(kSerenumPort, "Communications Port (COM1)");
    EXPECT_EQ(lookUp(1), (Found{1, "Communications Port (COM1)"}));
}

TEST_F(PortDiscoveryTest, DeviceWithoutTheSerialEnumeratorGivesWayToAUsbDevice) {
    platform.keys().add(kSerenumPort, {{"FriendlyName", "Communications Port (COM1)"}});
    EXPECT_EQ(lookUp(1), kNothing);
    addUsb(kUsbDevice, "COM1", "USB Serial Port (COM1)");
    EXPECT_EQ(lookUp(1), (Found{6, "USB Serial Port (COM1)"}));
}

struct FilterCase {
    const char* name;
    KeyValue filter;
    bool counts;
};

class UpperFilterTest : public PortDiscoveryTest, public ::testing::WithParamInterface<FilterCase> {};

TEST_P(UpperFilterTest, IsTheSerialEnumeratorExactly) {
    platform.keys().add(kSerenumPort,
                        {{"FriendlyName", "Communications Port (COM1)"}, {"UpperFilters", GetParam().filter}});
    EXPECT_EQ(lookUp(1), GetParam().counts ? (Found{1, "Communications Port (COM1)"}) : kNothing);
}

INSTANTIATE_TEST_SUITE_P(
    Filters, UpperFilterTest,
    ::testing::Values(FilterCase{"Exact", "serenum", true}, FilterCase{"UpperCase", "Serenum", false},
                      FilterCase{"Longer", "serenum2", false}, FilterCase{"Other", "wmi", false},
                      FilterCase{"Empty", "", false},
                      FilterCase{"FirstOfSeveral", KeyValue::raw(std::string("serenum\0wmi\0\0", 13)), true},
                      FilterCase{"SecondOfSeveral", KeyValue::raw(std::string("wmi\0serenum\0\0", 13)), false},
                      FilterCase{"WithoutItsEnd", KeyValue::raw("serenum"), true}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(PortDiscoveryTest, PortsHaveTheirTypes) {
    addSerenum(kEnum + "A\\A\\1", "USB Serial Port (COM7)");
    addSerenum(kEnum + "A\\A\\2", "PCI Serial 16550 (COM3)");
    addSerenum(kEnum + "A\\B\\1", "My Serial Port (COM4)");
    addSerenum(kEnum + "A\\B\\2", "My USB Serial Port (COM5)");
    EXPECT_EQ(lookUp(7), (Found{6, "USB Serial Port (COM7)"}));
    EXPECT_EQ(lookUp(3), (Found{2, "PCI Serial 16550 (COM3)"}));
    EXPECT_EQ(lookUp(4), (Found{0, "My Serial Port (COM4)"}));
    EXPECT_EQ(lookUp(5), (Found{0, "My USB Serial Port (COM5)"}));
    EXPECT_EQ(lookUp(1), kNothing);
}

TEST_F(PortDiscoveryTest, From4096OnItIsTheSyncCableWithoutAnyRegistryAccess) {
    EXPECT_EQ(lookUp(4096), (Found{6, "Microsoft USB Sync"}));
    EXPECT_EQ(lookUp(4097), (Found{6, "Microsoft USB Sync"}));
    EXPECT_EQ(lookUp(0xFFFFFFFF), (Found{6, "Microsoft USB Sync"}));
    EXPECT_THAT(platform.keys().opened(), IsEmpty());
    EXPECT_EQ(lookUp(4095), kNothing);
    EXPECT_THAT(platform.keys().opened(), Not(IsEmpty()));
}

TEST_F(PortDiscoveryTest, MarkOfPort1IsNotThatOfPort11) {
    addSerenum(kSerenumPort, "Communications Port (COM11)");
    EXPECT_EQ(lookUp(1), kNothing);
    EXPECT_EQ(lookUp(11), (Found{1, "Communications Port (COM11)"}));
}

TEST_F(PortDiscoveryTest, PortNameOfPort1AlsoMatchesPort11) {
    addUsb(kUsbDevice, "COM11", "USB Serial Port (COM11)");
    EXPECT_EQ(lookUp(1), (Found{6, "USB Serial Port (COM11)"}));
    EXPECT_EQ(lookUp(2), kNothing);
}

TEST_F(PortDiscoveryTest, SearchesDistinguishCase) {
    addSerenum(kSerenumPort, "Communications Port (com1)");
    addUsb(kUsbDevice, "com1", "USB Serial Port");
    EXPECT_EQ(lookUp(1), kNothing);
}

TEST_F(PortDiscoveryTest, OnlyTheThirdLevelIsLookedAt) {
    addSerenum(kEnum + "ACPI", "Communications Port (COM1)");
    addSerenum(kEnum + "ACPI\\PNP0501", "Communications Port (COM1)");
    addSerenum(kEnum + "ACPI\\PNP0501\\1\\Deeper", "Communications Port (COM1)");
    EXPECT_EQ(lookUp(1), kNothing);
}

TEST_F(PortDiscoveryTest, FirstOfSeveralInTheOrderOfTheTree) {
    platform.keys().add(kEnum + "A\\A\\1", {{"FriendlyName", "Passed over (COM1)"}});
    addSerenum(kEnum + "A\\A\\2", "PCI Serial 16850 (COM1)");
    addSerenum(kEnum + "A\\A\\3", "Communications Port (COM1)");
    EXPECT_EQ(lookUp(1), (Found{2, "PCI Serial 16850 (COM1)"}));
}

TEST_F(PortDiscoveryTest, UsbNameIsReadFromTheDevicesKey) {
    platform.keys().add(kUsbDevice, {{"FriendlyName", "USB Serial Port (COM1)"}});
    platform.keys().add(kUsbDevice + "\\Device Parameters",
                        {{"PortName", "COM1"}, {"FriendlyName", "of the parameters"}});
    EXPECT_EQ(lookUp(1), (Found{6, "USB Serial Port (COM1)"}));
}

TEST_F(PortDiscoveryTest, FoundDeviceWithoutANameIsType0AndLeavesTheName) {
    platform.keys().add(kUsbDevice + "\\Device Parameters", {{"PortName", "COM1"}});
    EXPECT_EQ(lookUp(1), (Found{0, "untouched"}));
}

TEST_F(PortDiscoveryTest, FirstTextOfAMultiTextNameCounts) {
    platform.keys().add(kSerenumPort,
                        {{"FriendlyName", KeyValue::raw(std::string("USB Serial Port (COM1)\0More\0\0", 29))},
                         {"UpperFilters", "serenum"}});
    EXPECT_EQ(lookUp(1), (Found{6, "USB Serial Port (COM1)"}));
}

TEST_F(PortDiscoveryTest, NameLongerThanItsBufferIsFoundButNotRead) {
    const std::string mark = "Communications Port (COM1)";
    addSerenum(kSerenumPort, mark + std::string(254 - mark.size(), '.'));  // 255 bytes with its end
    EXPECT_EQ(lookUp(1), (Found{1, mark + std::string(254 - mark.size(), '.')}));
    addSerenum(kSerenumPort, mark + std::string(255 - mark.size(), '.'));
    EXPECT_EQ(lookUp(1), (Found{0, "untouched"}));
    addSerenum(kSerenumPort, mark + std::string(499 - mark.size(), '.'));  // 500 bytes: the search's buffer
    EXPECT_EQ(lookUp(1), (Found{0, "untouched"}));
    addSerenum(kSerenumPort, mark + std::string(500 - mark.size(), '.'));
    EXPECT_EQ(lookUp(1), kNothing);
}

TEST_F(PortDiscoveryTest, EmptyTreeHasNothing) { EXPECT_EQ(lookUp(1), kNothing); }

// --- active devices

struct ReferenceCase {
    const char* name;
    bool hasControl;
    std::string bytes;  // of the reference, empty: none
    bool counts;
};

class ActiveDeviceTest : public PortDiscoveryTest, public ::testing::WithParamInterface<ReferenceCase> {};

TEST_P(ActiveDeviceTest, HasAReferenceThatIsNot0) {
    platform.host().setVersion(5, 0);
    addSerenum(kSerenumPort, "Communications Port (COM1)");
    if (GetParam().hasControl) platform.keys().add(kSerenumPort + "\\Control");
    if (!GetParam().bytes.empty())
        platform.keys().add(kSerenumPort + "\\Control", {{"DeviceReference", KeyValue::raw(GetParam().bytes)}});
    EXPECT_EQ(lookUp(1), GetParam().counts ? (Found{1, "Communications Port (COM1)"}) : kNothing);
}

INSTANTIATE_TEST_SUITE_P(References, ActiveDeviceTest,
                         ::testing::Values(ReferenceCase{"NoControlKey", false, "", false},
                                           ReferenceCase{"NoReference", true, "", false},
                                           ReferenceCase{"Zero", true, std::string(4, '\0'), false},
                                           ReferenceCase{"One", true, std::string("\1\0\0\0", 4), true},
                                           ReferenceCase{"HighByteOnly", true, std::string("\0\0\0\x80", 4), true},
                                           ReferenceCase{"Longer", true, std::string("\1\0\0\0\0", 5), false}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(PortDiscoveryTest, SeveralInactiveDevicesArePassedOverInTurn) {
    platform.host().setVersion(5, 2);
    for (int i = 1; i <= 5; ++i)
        addSerenum(kEnum + "A\\A\\" + std::to_string(i), "Number " + std::to_string(i) + " (COM1)");
    addActive(kEnum + "A\\A\\4");
    EXPECT_EQ(lookUp(1), (Found{0, "Number 4 (COM1)"}));
    platform.keys().remove(kEnum + "A\\A\\4");
    EXPECT_EQ(lookUp(1), kNothing);
}

// --- failing registry calls

TEST_F(PortDiscoveryTest, TreeThatDoesNotOpenHasNothing) {
    addSerenum(kSerenumPort, "Communications Port (COM1)");
    platform.failures().fail(Op::KeyOpen).always();
    EXPECT_EQ(lookUp(1), kNothing);
}

TEST_F(PortDiscoveryTest, KeyThatDoesNotOpenOnceCountsAsNoMatch) {
    addSerenum(kEnum + "A\\A\\1", "Communications Port (COM1)");
    addSerenum(kEnum + "A\\A\\2", "PCI Serial 16550 (COM1)");
    platform.failures().fail(Op::KeyOpen).matching("A\\A\\1");
    EXPECT_EQ(lookUp(1), (Found{2, "PCI Serial 16550 (COM1)"}));
}

TEST_F(PortDiscoveryTest, ValuesThatDoNotReadCountAsNoMatch) {
    addSerenum(kEnum + "A\\A\\1", "Communications Port (COM1)");
    addSerenum(kEnum + "A\\A\\2", "PCI Serial 16550 (COM1)");
    platform.failures().fail(Op::KeyQuery).matching("FriendlyName");
    EXPECT_EQ(lookUp(1), (Found{2, "PCI Serial 16550 (COM1)"}));
    platform.failures().clear();
    platform.failures().fail(Op::KeyQuery).matching("UpperFilters");
    EXPECT_EQ(lookUp(1), (Found{2, "PCI Serial 16550 (COM1)"}));
    platform.failures().clear();
    platform.failures().fail(Op::KeyQuery).matching("UpperFilters").always();
    EXPECT_EQ(lookUp(1), kNothing);
}

TEST_F(PortDiscoveryTest, EnumerationThatBreaksOffEndsTheSearchThere) {
    addSerenum(kEnum + "A\\A\\1", "Other Port (COM2)");
    addSerenum(kEnum + "A\\A\\2", "Communications Port (COM1)");
    platform.failures().fail(Op::KeyEnum).matching("A\\A").onCall(2);
    EXPECT_EQ(lookUp(1), kNothing);
}

TEST_F(PortDiscoveryTest, NameThatDoesNotReadInTheEndIsType0) {
    addSerenum(kSerenumPort, "Communications Port (COM1)");
    platform.failures().fail(Op::KeyQuery).matching("FriendlyName").onCall(2);
    EXPECT_EQ(lookUp(1), (Found{0, "untouched"}));
}

TEST_F(PortDiscoveryTest, EveryRegistryCallMayFailAndNoKeyStaysOpen) {
    platform.host().setVersion(5, 0);
    addSerenum(kSerenumPort, "Communications Port (COM1)");
    addActive(kSerenumPort);
    addUsb(kUsbDevice, "COM1", "USB Serial Port");
    addActive(kUsbDevice);
    // Each of the three levels above the device asks for its upper filter anew.
    for (const auto& [op, made] :
         {std::pair(Op::KeyOpen, 9u), std::pair(Op::KeyEnum, 3u), std::pair(Op::KeyQuery, 6u)}) {
        unsigned calls = 0;
        for (;; ++calls) {
            platform.failures().clear();
            const FailureRule& rule = platform.failures().fail(op).onCall(calls + 1);
            const Found found = lookUp(1);
            if (!rule.reached()) {
                EXPECT_EQ(found, (Found{1, "Communications Port (COM1)"}));
                break;
            }
            EXPECT_THAT(found.card, ::testing::AnyOf(-2, 0, 1, 6));
        }
        EXPECT_EQ(calls, made) << nameOf(op);
    }
}

}  // namespace
}  // namespace mova
