#include <gtest/gtest.h>

#include <map>

#include "PseudoTerminal.h"
#include "TempFolder.h"
#include "platform/posix/SysfsKeyTree.h"

namespace mova {
namespace {

namespace fs = std::filesystem;

const std::string kRoot = "SYSTEM\\CurrentControlSet\\Enum";

// A /dev and a /sys of a few devices, linked the way the kernel and udev link them.
class SysfsKeyTreeTest : public testing::Test {
protected:
    SysfsKeyTreeTest() {
        fs::create_directories(dev_);
        fs::create_directories(sys_);
    }

    void linkPort(const std::string& link, const std::string& target) { fs::create_symlink(target, dev_ / link); }

    // The device's folder below sys/devices, driven by `driver` of `bus`; empty: by nobody.
    fs::path addFolder(const std::string& folder, const std::string& bus, const std::string& driver) {
        const fs::path path = sys_ / "devices" / folder;
        fs::create_directories(path);
        if (!driver.empty()) {
            const fs::path driverPath = sys_ / "bus" / bus / "drivers" / driver;
            fs::create_directories(driverPath);
            fs::create_directory_symlink(driverPath, path / "driver");
        }
        return path;
    }

    // A terminal of the name, below a device folder.
    void addTerminal(const std::string& name, const fs::path& device) {
        writeFile(dev_ / name, "");
        const fs::path terminal = device / "tty" / name;
        fs::create_directories(terminal);
        fs::create_directory_symlink(device, terminal / "device");
        fs::create_directories(sys_ / "class/tty");
        fs::create_directory_symlink(terminal, sys_ / "class/tty" / name);
    }

    // A USB adapter as the usb-serial drivers list it, on the numbered USB port.
    void addUsbAdapter(int usbPort, const std::string& name, const std::string& driver, const std::string& product) {
        const std::string usb = "pci0000:00/0000:00:14.0/usb1/1-" + std::to_string(usbPort);
        const fs::path usbDevice = addFolder(usb, "usb", "usb");
        writeFile(usbDevice / "idVendor", "0403\n");
        if (!product.empty()) writeFile(usbDevice / "product", product + "\n");
        const std::string interface = usb + "/1-" + std::to_string(usbPort) + ":1.0";
        addFolder(interface, "usb", driver);
        addTerminal(name, addFolder(interface + "/" + name, "usb-serial", driver));
    }

    std::string friendlyName(const std::string& path) { return text(path, "FriendlyName"); }

    std::string text(const std::string& path, const std::string& valueName) {
        const auto key = keys_.open(path, KeyAccess::Query);
        if (key == KeyTree::kNoKey) return "<no key>";
        char buffer[255] = {};
        std::size_t size = sizeof buffer;
        const bool read = keys_.value(key, valueName, buffer, size);
        keys_.close(key);
        if (!read) return "<no value>";
        EXPECT_EQ(buffer[size - 1], '\0');
        return std::string(buffer, size - 1);
    }

    std::vector<std::string> subkeys(const std::string& path) {
        std::vector<std::string> names;
        const auto key = keys_.open(path, KeyAccess::Read);
        std::string name;
        for (std::uint32_t i = 0; keys_.subkey(key, i, name); ++i) names.push_back(name);
        keys_.close(key);
        return names;
    }

    // The friendly names three levels below the root, as port discovery walks there.
    std::map<std::string, std::string> walk() {
        std::map<std::string, std::string> found;
        for (const auto& bus : subkeys(kRoot)) {
            for (const auto& driver : subkeys(kRoot + "\\" + bus)) {
                for (const auto& port : subkeys(kRoot + "\\" + bus + "\\" + driver)) {
                    const std::string below = bus + "\\" + driver + "\\" + port;
                    found[below] = friendlyName(kRoot + "\\" + below);
                }
            }
        }
        return found;
    }

    using Found = std::map<std::string, std::string>;
    TempFolder folder_;
    const fs::path dev_ = folder_.path() / "dev";
    const fs::path sys_ = folder_.path() / "sys";
    SysfsKeyTree keys_{PortLinks(dev_), sys_};
};

TEST_F(SysfsKeyTreeTest, AFolderWithoutPortsIsAnEmptyTree) {
    EXPECT_EQ(walk(), Found{});
    SysfsKeyTree nowhere(PortLinks(folder_.path() / "absent"), folder_.path() / "absent");
    EXPECT_NE(nowhere.open(kRoot, KeyAccess::Read), KeyTree::kNoKey);
    EXPECT_EQ(nowhere.open(kRoot + "\\USB", KeyAccess::Read), KeyTree::kNoKey);
}

TEST_F(SysfsKeyTreeTest, APortOfAnotherMachineIsWhatTheLinkSays) {
    linkPort("COM7", "lab1:4001");
    linkPort("COM8", "lab1");
    EXPECT_EQ(walk(), (Found{{"ROOT\\rfc2217\\COM7", "Remote Port (COM7)"}}));
    EXPECT_EQ(PortLinks(dev_).pathOf("COM7"), "lab1:4001");
    SysfsKeyTree only(PortLinks::only("[2001:db8::7]:4001"), sys_);
    EXPECT_NE(only.open(kRoot + "\\ROOT\\rfc2217\\[2001:db8::7]:4001", KeyAccess::Query), KeyTree::kNoKey);
}

TEST_F(SysfsKeyTreeTest, AnOnboardPort) {
    addTerminal("ttyS0", addFolder("pnp0/00:01", "pnp", "serial"));
    linkPort("COM1", "ttyS0");
    EXPECT_EQ(walk(), (Found{{"ROOT\\serial\\COM1", "Communications Port (COM1)"}}));
    EXPECT_EQ(text(kRoot + "\\ROOT\\serial\\COM1", "UpperFilters"), "serenum");
}

TEST_F(SysfsKeyTreeTest, AnOnboardPortBehindTheSerialBaseBus) {
    addFolder("pnp0/00:00", "pnp", "serial");
    addFolder("pnp0/00:00/00:00:0", "serial-base", "ctrl");
    addTerminal("ttyS0", addFolder("pnp0/00:00/00:00:0/00:00:0.0", "serial-base", "port"));
    linkPort("COM1", "ttyS0");
    EXPECT_EQ(walk(), (Found{{"ROOT\\serial\\COM1", "Communications Port (COM1)"}}));
}

TEST_F(SysfsKeyTreeTest, TheNamesOfKnownDrivers) {
    const std::pair<const char*, const char*> rows[] = {
        {"serial8250", "Communications Port (COM1)"},
        {"serial", "Communications Port (COM2)"},
        {"pnp", "Communications Port (COM3)"},
        {"ftdi_sio", "USB Serial Port (COM4)"},
        {"cp210x", "Silicon Labs CP210x USB to UART Bridge (COM5)"},
        {"pl2303", "Prolific USB-to-Serial Comm Port (COM6)"},
        {"ch341", "USB-SERIAL CH340 (COM7)"},
        {"ch341-uart", "USB-SERIAL CH340 (COM8)"},
        {"mxser", "MOXA Communication Port (COM9)"},
        {"moxa", "MOXA Communication Port (COM10)"},
    };
    int number = 0;
    for (const auto& [driver, name] : rows) {
        const std::string n = std::to_string(++number);
        addTerminal("ttyX" + n, addFolder("platform/dev" + n, "any", driver));
        linkPort("COM" + n, "ttyX" + n);
        EXPECT_EQ(friendlyName(kRoot + "\\ROOT\\" + driver + "\\COM" + n), name);
    }
}

TEST_F(SysfsKeyTreeTest, AKnownDriverNamesAUsbAdapterWhateverItsProductText) {
    addUsbAdapter(1, "ttyUSB0", "ftdi_sio", "FT232R USB UART");
    linkPort("COM7", "ttyUSB0");
    EXPECT_EQ(walk(), (Found{{"USB\\ftdi_sio\\COM7", "USB Serial Port (COM7)"}}));
}

TEST_F(SysfsKeyTreeTest, AnUnknownUsbDriverLeavesTheProductText) {
    addUsbAdapter(2, "ttyUSB1", "option", "Handset USB Modem");
    linkPort("COM8", "ttyUSB1");
    EXPECT_EQ(walk(), (Found{{"USB\\option\\COM8", "Handset USB Modem (COM8)"}}));
}

TEST_F(SysfsKeyTreeTest, AModemWhoseTerminalHangsOnTheUsbInterface) {
    const std::string usb = "pci0000:00/usb2/2-1";
    writeFile(addFolder(usb, "usb", "usb") / "product", "Acme Phone\n");
    addTerminal("ttyACM0", addFolder(usb + "/2-1:1.0", "usb", "cdc_acm"));
    linkPort("COM3", "ttyACM0");
    EXPECT_EQ(walk(), (Found{{"USB\\cdc_acm\\COM3", "Acme Phone (COM3)"}}));
}

TEST_F(SysfsKeyTreeTest, WithoutProductTextTheInterfacesTextIsTaken) {
    addUsbAdapter(3, "ttyUSB2", "qcserial", "");
    writeFile(sys_ / "devices/pci0000:00/0000:00:14.0/usb1/1-3/1-3:1.0/interface", "AT Interface\n");
    linkPort("COM9", "ttyUSB2");
    EXPECT_EQ(walk(), (Found{{"USB\\qcserial\\COM9", "AT Interface (COM9)"}}));
}

TEST_F(SysfsKeyTreeTest, WithoutAnyTextTheDriversNameIsTaken) {
    addUsbAdapter(4, "ttyUSB3", "sierra", "");
    addTerminal("ttyAMA0", addFolder("platform/uart", "amba", "uart-pl011"));
    linkPort("COM4", "ttyUSB3");
    linkPort("COM5", "ttyAMA0");
    EXPECT_EQ(walk(), (Found{{"USB\\sierra\\COM4", "sierra (COM4)"}, {"ROOT\\uart-pl011\\COM5", "uart-pl011 (COM5)"}}));
}

TEST_F(SysfsKeyTreeTest, APseudoTerminal) {
    PseudoTerminal terminal;
    linkPort("COM12", terminal.slave());
    EXPECT_EQ(walk(), (Found{{"ROOT\\tty\\COM12", "Pseudo-terminal (COM12)"}}));
}

TEST_F(SysfsKeyTreeTest, ADeviceThatSysfsDoesNotKnowHasItsOwnName) {
    writeFile(dev_ / "ttyX0", "");
    linkPort("COM2", "ttyX0");
    EXPECT_EQ(walk(), (Found{{"ROOT\\tty\\COM2", "ttyX0 (COM2)"}}));
}

TEST_F(SysfsKeyTreeTest, LinksAreFollowedToTheDevice) {
    addUsbAdapter(1, "ttyUSB0", "cp210x", "CP2102");
    fs::create_directories(dev_ / "serial/by-id");
    fs::create_symlink("../../ttyUSB0", dev_ / "serial/by-id/usb-bridge");
    linkPort("COM6", "serial/by-id/usb-bridge");
    EXPECT_EQ(walk(), (Found{{"USB\\cp210x\\COM6", "Silicon Labs CP210x USB to UART Bridge (COM6)"}}));
}

TEST_F(SysfsKeyTreeTest, OnlyLinksOfPortsThatLeadToADeviceAreListed) {
    writeFile(dev_ / "ttyS0", "");
    for (const char* name : {"COM", "COMX", "com1", "COM1a", "XCOM1"}) linkPort(name, "ttyS0");
    linkPort("COM2", "ttyUSB9");
    EXPECT_EQ(walk(), Found{});
    EXPECT_EQ(friendlyName(kRoot + "\\ROOT\\tty\\COM2"), "<no key>");
    EXPECT_EQ(friendlyName(kRoot + "\\ROOT\\tty\\COMX"), "<no key>");
}

TEST_F(SysfsKeyTreeTest, SeveralPortsOfOneDriverAndOfSeveralBuses) {
    addUsbAdapter(1, "ttyUSB0", "ftdi_sio", "");
    addUsbAdapter(2, "ttyUSB1", "ftdi_sio", "");
    addTerminal("ttyS0", addFolder("pnp0/00:01", "pnp", "serial"));
    linkPort("COM7", "ttyUSB0");
    linkPort("COM11", "ttyUSB1");
    linkPort("COM1", "ttyS0");
    EXPECT_EQ(subkeys(kRoot), (std::vector<std::string>{"ROOT", "USB"}));
    EXPECT_EQ(subkeys(kRoot + "\\USB"), (std::vector<std::string>{"ftdi_sio"}));
    EXPECT_EQ(walk(), (Found{{"ROOT\\serial\\COM1", "Communications Port (COM1)"},
                             {"USB\\ftdi_sio\\COM11", "USB Serial Port (COM11)"},
                             {"USB\\ftdi_sio\\COM7", "USB Serial Port (COM7)"}}));
}

TEST_F(SysfsKeyTreeTest, AVeryLongProductTextStillFitsTheReadersOfNames) {
    addUsbAdapter(1, "ttyUSB0", "option", std::string(400, 'x'));
    linkPort("COM1", "ttyUSB0");
    EXPECT_EQ(friendlyName(kRoot + "\\USB\\option\\COM1"), std::string(200, 'x') + " (COM1)");
}

TEST_F(SysfsKeyTreeTest, PathsThatAreNoKeys) {
    addUsbAdapter(1, "ttyUSB0", "ftdi_sio", "");
    linkPort("COM7", "ttyUSB0");
    for (const std::string& path :
         {std::string(), std::string("SYSTEM"), std::string("Enum"), kRoot + "X", kRoot + "\\PCI", kRoot + "\\USB\\x",
          kRoot + "\\USB\\ftdi_sio\\COM8", kRoot + "\\ROOT\\ftdi_sio\\COM7", kRoot + "\\USB\\x\\COM7",
          kRoot + "\\USB\\ftdi_sio\\COM7\\Control"}) {
        EXPECT_EQ(keys_.open(path, KeyAccess::Read), KeyTree::kNoKey) << path;
    }
}

TEST_F(SysfsKeyTreeTest, AKeyOpenedForQueriesListsNoSubkeys) {
    writeFile(dev_ / "ttyX0", "");
    linkPort("COM2", "ttyX0");
    const auto key = keys_.open(kRoot, KeyAccess::Query);
    std::string name;
    EXPECT_FALSE(keys_.subkey(key, 0, name));
    keys_.close(key);
}

TEST_F(SysfsKeyTreeTest, AValueIsCopiedOnlyIntoABufferThatHoldsIt) {
    writeFile(dev_ / "ttyX0", "");
    linkPort("COM2", "ttyX0");
    const auto key = keys_.open(kRoot + "\\ROOT\\tty\\COM2", KeyAccess::Read);
    char buffer[8] = "unheard";
    std::size_t size = 7;
    EXPECT_FALSE(keys_.value(key, "UpperFilters", buffer, size));
    EXPECT_STREQ(buffer, "unheard");
    size = 8;
    EXPECT_TRUE(keys_.value(key, "UpperFilters", buffer, size));
    EXPECT_EQ(size, 8U);
    EXPECT_STREQ(buffer, "serenum");
    EXPECT_FALSE(keys_.value(key, "PortName", buffer, size));
    keys_.close(key);
}

TEST_F(SysfsKeyTreeTest, AnOpenKeyStaysAsItWasRead) {
    writeFile(dev_ / "ttyX0", "");
    linkPort("COM2", "ttyX0");
    const auto key = keys_.open(kRoot + "\\ROOT\\tty", KeyAccess::Read);
    fs::remove(dev_ / "COM2");
    std::string name;
    EXPECT_TRUE(keys_.subkey(key, 0, name));
    EXPECT_EQ(name, "COM2");
    EXPECT_FALSE(keys_.subkey(key, 1, name));
    keys_.close(key);
    EXPECT_FALSE(keys_.subkey(key, 0, name));
    EXPECT_EQ(walk(), Found{});
}

TEST_F(SysfsKeyTreeTest, KeysThatWereNeverOpenedAnswerNothing) {
    std::string name;
    char buffer[8];
    std::size_t size = sizeof buffer;
    EXPECT_FALSE(keys_.subkey(KeyTree::kNoKey, 0, name));
    EXPECT_FALSE(keys_.value(77, "FriendlyName", buffer, size));
    keys_.close(77);
    keys_.close(KeyTree::kNoKey);
}

}  // namespace
}  // namespace mova
