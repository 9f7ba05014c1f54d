#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "ChildProcess.h"
#include "TempFolder.h"
#include "platform/posix/PrivateFolder.h"

namespace mova {
namespace {

constexpr unsigned kSomebody = 64'999;  // nobody's number, whose folder in /tmp is this test's own
const std::string kInTmp = "/tmp/mova-64999";

class PrivateFolderTest : public testing::Test {
protected:
    ~PrivateFolderTest() override { std::filesystem::remove_all(kInTmp); }

    std::string folder(unsigned mode, uid_t owner = geteuid()) const {
        std::string path = folder_.file("folder");
        std::filesystem::remove_all(path);
        EXPECT_EQ(mkdir(path.c_str(), 0700), 0);
        EXPECT_EQ(chmod(path.c_str(), mode), 0);
        EXPECT_EQ(chown(path.c_str(), owner, owner), 0);
        return path;
    }

    // The environment and the user are the process's, so each of these has one of its own. 0: as expected.
    static int asSomebody(const char* runtimeDir, const std::function<bool()>& holds) {
        return ChildProcess([&] {
                   runtimeDir ? setenv("XDG_RUNTIME_DIR", runtimeDir, 1) : unsetenv("XDG_RUNTIME_DIR");
                   umask(0);
                   if (setresuid(kSomebody, kSomebody, kSomebody) != 0) return 2;
                   return holds() ? 0 : 1;
               })
            .wait();
    }

    TempFolder folder_;
};

bool isThere(const PrivateFolder& folder) { return static_cast<bool>(folder.open()); }

TEST_F(PrivateFolderTest, IsOneThatOnlyItsOwnerMayEnter) {
    EXPECT_TRUE(isThere(PrivateFolder(folder(0700))));
    for (const unsigned mode : {0755U, 0711U, 0750U, 0702U, 01777U}) {
        EXPECT_FALSE(isThere(PrivateFolder(folder(mode)))) << mode;
    }
    EXPECT_EQ(PrivateFolder(folder(0755)).whyNot(), folder_.file("folder") + " lets others in (mode 755)");
}

TEST_F(PrivateFolderTest, IsNoLinkAndNoFile) {
    std::filesystem::create_directory_symlink(folder(0700), folder_.file("link"));
    EXPECT_FALSE(isThere(PrivateFolder(folder_.file("link"))));
    EXPECT_EQ(PrivateFolder(folder_.file("link")).whyNot(), folder_.file("link") + " is a link");
    writeFile(folder_.file("file"), "");
    EXPECT_FALSE(isThere(PrivateFolder(folder_.file("file"))));
    EXPECT_EQ(PrivateFolder(folder_.file("file")).whyNot(), folder_.file("file") + " is no folder");
}

TEST_F(PrivateFolderTest, OneThatWasNamedIsNotMade) {
    EXPECT_FALSE(PrivateFolder(folder_.file("absent")).make());
    EXPECT_FALSE(std::filesystem::exists(folder_.file("absent")));
    EXPECT_EQ(PrivateFolder(folder_.file("absent")).whyNot(), folder_.file("absent") + ": No such file or directory");
}

TEST_F(PrivateFolderTest, StaysTheSameWhateverTakesItsName) {
    const std::string path = folder(0700);
    const FileDescriptor opened = PrivateFolder(path).open();
    std::filesystem::rename(path, folder_.file("moved"));
    std::filesystem::create_directory(path);
    writeFile(pathThrough(opened, "entry"), "x");
    EXPECT_TRUE(std::filesystem::exists(folder_.file("moved/entry")));
    EXPECT_FALSE(std::filesystem::exists(path + "/entry"));
}

TEST_F(PrivateFolderTest, OfTheEnvironmentIsTheRuntimeFolder) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
    const std::string runtime = folder(0700, kSomebody);
    EXPECT_EQ(asSomebody(runtime.c_str(), [&] { return PrivateFolder().make() && PrivateFolder().path() == runtime; }),
              0);
    EXPECT_FALSE(std::filesystem::exists(kInTmp));
}

TEST_F(PrivateFolderTest, WithoutARuntimeFolderIsOneInTmpThatBecomesTheUsersAlone) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    for (const char* runtime : {static_cast<const char*>(nullptr), "", "runtime"}) {
        EXPECT_EQ(asSomebody(runtime, [] { return !PrivateFolder().open() && PrivateFolder().path() == kInTmp; }), 0);
        EXPECT_FALSE(std::filesystem::exists(kInTmp));
        EXPECT_EQ(asSomebody(runtime, [] { return PrivateFolder().make() && PrivateFolder().open(); }), 0);
        struct stat status {};
        ASSERT_EQ(lstat(kInTmp.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0700U);
        EXPECT_EQ(status.st_uid, kSomebody);
        std::filesystem::remove_all(kInTmp);
    }
}

TEST_F(PrivateFolderTest, ARuntimeFolderThatIsNotTheUsersAloneIsPassedOver) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
    const auto inTmp = [] { return PrivateFolder().make() && PrivateFolder().path() == kInTmp; };
    EXPECT_EQ(asSomebody(folder(0700).c_str(), inTmp), 0);             // root's
    EXPECT_EQ(asSomebody(folder(0777, kSomebody).c_str(), inTmp), 0);  // everybody's
    std::filesystem::create_directory_symlink(folder(0700, kSomebody), folder_.file("link"));
    EXPECT_EQ(asSomebody(folder_.file("link").c_str(), inTmp), 0);
}

TEST_F(PrivateFolderTest, WhatAnotherUserPutInItsPlaceIsNotTaken) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    ASSERT_EQ(mkdir(kInTmp.c_str(), 0700), 0);
    ASSERT_EQ(chown(kInTmp.c_str(), kNobody, kNobody), 0);
    const auto foreign = [] {
        return !PrivateFolder().make() && PrivateFolder().whyNot() == kInTmp + " belongs to another user (65534)";
    };
    EXPECT_EQ(asSomebody(nullptr, foreign), 0);
    ASSERT_EQ(chmod(kInTmp.c_str(), 0777), 0);
    EXPECT_EQ(asSomebody(nullptr, foreign), 0);
    std::filesystem::remove(kInTmp);
    std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
    std::filesystem::create_directory_symlink(folder(0700, kSomebody), kInTmp);
    EXPECT_EQ(asSomebody(nullptr, [] { return !PrivateFolder().make(); }), 0);
}

}  // namespace
}  // namespace mova
