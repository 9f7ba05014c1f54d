#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstring>
#include <filesystem>

#include "ChildProcess.h"
#include "PseudoTerminal.h"
#include "TempFolder.h"
#include "platform/posix/PosixPlatform.h"

namespace mova {
namespace {

TEST(PosixHost, TheVersionIsOfTheFamilyThatTakesTheFirstMatch) {
    PosixHost host;
    EXPECT_EQ(host.systemVersion().platformId, 2U);
    EXPECT_EQ(host.systemVersion().major, 6U);
    EXPECT_EQ(host.systemVersion().minor, 1U);
}

TEST(PosixHost, ModulePathOfAProgramThatThisIsLinkedIntoIsTheProgram) {
    PosixHost host;
    EXPECT_EQ(host.modulePath(), std::filesystem::read_symlink("/proc/self/exe").string());
}

TEST(PosixHost, FileTimeIsTheLastWriteInSeconds) {
    TempFolder folder;
    writeFile(folder.file("a"), "x");
    const timespec times[2] = {{1, 0}, {1709629622, 999'999'999}};
    ASSERT_EQ(utimensat(AT_FDCWD, folder.file("a").c_str(), times, 0), 0);
    PosixHost host;
    EXPECT_EQ(host.fileTime(folder.file("a")), 1709629622);
    EXPECT_EQ(host.fileTime(folder.file("absent")), std::nullopt);
    EXPECT_EQ(host.fileTime(""), std::nullopt);
}

// The environment is the process's, so each of these has one of its own.
int fallbackIs(const std::string& expected, const char* stateHome, const char* home) {
    return ChildProcess([&] {
               stateHome ? setenv("XDG_STATE_HOME", stateHome, 1) : unsetenv("XDG_STATE_HOME");
               home ? setenv("HOME", home, 1) : unsetenv("HOME");
               umask(0);
               return PosixHost().fallbackTraceFile() == expected ? 0 : 1;
           })
        .wait();
}

unsigned modeOf(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

TEST(PosixHost, TheTracesFallbackIsInAFolderOfTheUsersOwn) {
    TempFolder folder;
    const std::string state = folder.file("a/state");
    EXPECT_EQ(fallbackIs(state + "/mova/TempMova.Log", state.c_str(), "/absent"), 0);
    EXPECT_EQ(modeOf(folder.file("a")), 0700U);
    EXPECT_EQ(modeOf(state + "/mova"), 0700U);
    EXPECT_EQ(fallbackIs(state + "/mova/TempMova.Log", state.c_str(), nullptr), 0);  // it is there already
    const std::string home = folder.file("home");
    for (const char* unset : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(fallbackIs(home + "/.local/state/mova/TempMova.Log", unset, home.c_str()), 0);
    }
    EXPECT_EQ(modeOf(home + "/.local/state/mova"), 0700U);
}

TEST(PosixHost, ThereIsNoFallbackWhereNoFolderIsTheUsersOwn) {
    TempFolder folder;
    EXPECT_EQ(fallbackIs("", nullptr, nullptr), 0);
    EXPECT_EQ(fallbackIs("", "state", "/absent"), 0);  // not from the root on
    EXPECT_EQ(fallbackIs("", "/dev/null/state", nullptr), 0);
    std::filesystem::create_directories(folder.path() / "elsewhere");
    std::filesystem::create_directory_symlink(folder.path() / "elsewhere", folder.path() / "mova");
    EXPECT_EQ(fallbackIs("", folder.path().c_str(), nullptr), 0);
}

TEST(PosixHost, TheTracesFallbackIsNotWhereOthersMayWrite) {
    TempFolder folder;
    const std::string state = folder.file("state");
    std::filesystem::create_directories(state + "/mova");
    for (const unsigned mode : {0777U, 0770U, 01777U}) {
        std::filesystem::permissions(state + "/mova", std::filesystem::perms(mode));
        EXPECT_EQ(fallbackIs("", state.c_str(), nullptr), 0) << mode;
    }
    std::filesystem::permissions(state + "/mova", std::filesystem::perms(0755));
    EXPECT_EQ(fallbackIs(state + "/mova/TempMova.Log", state.c_str(), nullptr), 0);
    std::filesystem::permissions(state, std::filesystem::perms(0777));
    EXPECT_EQ(fallbackIs("", state.c_str(), nullptr), 0);
    std::filesystem::permissions(state, std::filesystem::perms(01777));  // nobody can replace what is mine
    EXPECT_EQ(fallbackIs(state + "/mova/TempMova.Log", state.c_str(), nullptr), 0);
}

TEST(PosixHost, NothingIsMadeWhereAPlantedLinkLeads) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    TempFolder folder;
    std::filesystem::permissions(folder.path(), std::filesystem::perms(01777));
    std::filesystem::create_directory(folder.file("mine"));
    std::filesystem::create_directory_symlink(folder.file("mine"), folder.file(".local"));
    EXPECT_EQ(fallbackIs(folder.file(".local/state/mova/TempMova.Log"), nullptr, folder.path().c_str()), 0);  // my link
    std::filesystem::remove_all(folder.file("mine/state"));
    ASSERT_EQ(lchown(folder.file(".local").c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(fallbackIs("", nullptr, folder.path().c_str()), 0);
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("mine")));
}

TEST(PosixPlatform, ComposesOnePlatformOfItsOptions) {
    TempFolder folder;
    PseudoTerminal terminal;
    std::filesystem::create_symlink(terminal.slave(), folder.path() / "COM7");
    PosixPlatform composed({folder.path().string(), folder.path().string(), folder.path().string()});
    Platform& platform = composed.platform();
    const auto key = platform.keys.open("SYSTEM\\CurrentControlSet\\Enum\\ROOT\\tty\\COM7", KeyAccess::Query);
    EXPECT_NE(key, KeyTree::kNoKey);
    const PortHandle port = platform.serial.open("\\\\.\\COM7", true);
    EXPECT_NE(port, kInvalidPort);
    EXPECT_TRUE(platform.serial.close(port));
    const auto mutex = platform.threading.makeNamedMutex("SUTLOG");
    mutex->acquire();
    EXPECT_TRUE(std::filesystem::exists(folder.file("SUTLOG.lock")));
    mutex->release();
}

TEST(PosixPlatform, OneDeviceAloneIsPortOneAndNeedsNoLink) {
    TempFolder folder;
    PseudoTerminal terminal;
    std::filesystem::create_symlink(terminal.slave(), folder.path() / "COM2");
    PosixPlatform composed({folder.path().string(), "/sys", folder.path().string(), terminal.slave()});
    Platform& platform = composed.platform();
    const auto key = platform.keys.open("SYSTEM\\CurrentControlSet\\Enum\\ROOT\\tty", KeyAccess::Read);
    std::string name;
    EXPECT_TRUE(platform.keys.subkey(key, 0, name));
    EXPECT_EQ("/dev/" + name, terminal.slave());
    EXPECT_EQ(platform.serial.portName(1), name);
    const std::string path = "\\\\.\\" + name;
    EXPECT_FALSE(platform.keys.subkey(key, 1, name));
    platform.keys.close(key);
    EXPECT_EQ(platform.serial.open("\\\\.\\COM2", true), kInvalidPort);
    const PortHandle port = platform.serial.open(path, true);
    EXPECT_NE(port, kInvalidPort);
    platform.serial.close(port);
}

TEST(PosixPlatform, ChannelsAreInTheRuntimeFolderOfTheUser) {
    TempFolder folder;
    ChildProcess child([&] {
        setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
        PosixPlatform composed;
        const auto mutex = composed.platform().threading.makeNamedMutex("SUTLOG");
        mutex->acquire();
        mutex->release();
        return std::filesystem::exists(folder.file("SUTLOG.lock")) ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), 0);
}

// The native platform lives as long as its process, so each of these has one of its own.
TEST(NativePlatform, IsOneForTheProcess) {
    EXPECT_EQ(ChildProcess([] { return &nativePlatform() == &nativePlatform() ? 0 : 1; }).wait(), 0);
}

TEST(NativePlatform, TakesTheFolderOfThePortLinksFromTheEnvironment) {
    TempFolder folder;
    PseudoTerminal terminal;
    std::filesystem::create_symlink(terminal.slave(), folder.path() / "COM7");
    ChildProcess child([&] {
        setenv("MOVA_DEVICE_DIR", folder.path().c_str(), 1);
        return nativePlatform().serial.open("\\\\.\\COM7", true) != kInvalidPort ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), 0);
}

TEST(PortLinks, APortOfTheFolderIsCalledByItsNumber) {
    const PortLinks links("/dev");
    EXPECT_EQ(links.nameOf(1), "COM1");
    EXPECT_EQ(links.nameOf(7), "COM7");
    EXPECT_EQ(links.pathOf("COM7"), "/dev/COM7");
    EXPECT_TRUE(links.isName("COM7"));
    EXPECT_FALSE(links.isName("ttyUSB0"));
}

TEST(PortLinks, ADeviceByItsPathIsCalledAfterThePath) {
    const struct {
        const char* path;
        const char* name;
    } kCases[] = {{"/dev/ttyUSB0", "ttyUSB0"},
                  {"/dev/pts/5", "pts/5"},
                  {"/dev/serial/by-id/usb-FTDI_A50285BI-if00-port0", "serial/by-id/usb-FTDI_A50285BI-if00-port0"},
                  {"/tmp/station/left", "left"},
                  {"/tmp/station/./left", "left"},
                  {"/tmp/two words (left)\\\x1b", "two_words__left___"},
                  {"/tmp/a-name-that-is-longer-than-the-room-that-a-friendly-name-leaves",
                   "s-longer-than-the-room-that-a-friendly-name-leaves"}};
    for (const auto& [path, name] : kCases) {
        const PortLinks links = PortLinks::only(path);
        EXPECT_EQ(links.nameOf(1), name);
        EXPECT_EQ(links.pathOf(name), path);
        EXPECT_TRUE(links.isName(name));
        EXPECT_EQ(links.names(), std::vector<std::string>{name});
    }
}

TEST(PortLinks, TheOnlyDeviceIsPort1) {
    const PortLinks links = PortLinks::only("/dev/ttyUSB0");
    EXPECT_EQ(links.nameOf(2), "COM2");
    EXPECT_EQ(links.pathOf("COM2"), "");
    EXPECT_EQ(links.pathOf("COM1"), "");
    EXPECT_FALSE(links.isName("COM1"));
}

}  // namespace
}  // namespace mova
