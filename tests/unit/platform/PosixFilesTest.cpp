#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "ChildProcess.h"
#include "TempFolder.h"
#include "platform/posix/PosixFiles.h"

namespace mova {
namespace {

constexpr FileMode kModes[] = {FileMode::LogAppend, FileMode::TextAppend, FileMode::TextTruncate};

class PosixFilesTest : public testing::Test {
protected:
    void writeOnce(FileMode mode, std::string_view text) {
        const auto file = files_.open(path_, mode);
        ASSERT_NE(file, Files::kInvalid);
        EXPECT_TRUE(files_.write(file, text));
        files_.close(file);
    }
    TempFolder folder_;
    const std::string path_ = folder_.file("a.log");
    PosixFiles files_;
};

TEST_F(PosixFilesTest, EveryModeMakesTheFileAndWritesTheBytesAsTheyAre) {
    for (const FileMode mode : kModes) {
        std::filesystem::remove(path_);
        writeOnce(mode, std::string_view("one\r\ntwo\n\0\xA4", 11));
        EXPECT_EQ(readFile(path_), std::string("one\r\ntwo\n\0\xA4", 11));
    }
}

TEST_F(PosixFilesTest, AppendingKeepsWhatIsThere) {
    writeFile(path_, "old ");
    writeOnce(FileMode::LogAppend, "log ");
    writeOnce(FileMode::TextAppend, "text");
    EXPECT_EQ(readFile(path_), "old log text");
}

TEST_F(PosixFilesTest, TruncatingDropsWhatIsThere) {
    writeFile(path_, "old and long");
    writeOnce(FileMode::TextTruncate, "new");
    EXPECT_EQ(readFile(path_), "new");
}

TEST_F(PosixFilesTest, TruncatingFollowsNoLink) {
    writeFile(folder_.file("others"), "kept");
    std::filesystem::create_symlink(folder_.file("others"), path_);
    EXPECT_EQ(files_.open(path_, FileMode::TextTruncate), Files::kInvalid);
    EXPECT_EQ(readFile(folder_.file("others")), "kept");
    writeOnce(FileMode::TextAppend, " too");  // a named file may be a link
    EXPECT_EQ(readFile(folder_.file("others")), "kept too");
}

TEST_F(PosixFilesTest, AppendingWritesAtTheEndAlsoAfterOthersWrote) {
    const auto file = files_.open(path_, FileMode::TextAppend);
    EXPECT_TRUE(files_.write(file, "a"));
    writeOnce(FileMode::LogAppend, "b");
    EXPECT_TRUE(files_.write(file, "c"));
    files_.close(file);
    EXPECT_EQ(readFile(path_), "abc");
}

TEST_F(PosixFilesTest, EmptyingLeavesAloneWhatHasAnotherName) {
    writeFile(folder_.file("dear"), "kept");
    std::filesystem::create_hard_link(folder_.file("dear"), path_);
    EXPECT_EQ(files_.open(path_, FileMode::TextTruncate), Files::kInvalid);
    EXPECT_EQ(readFile(folder_.file("dear")), "kept");
}

TEST_F(PosixFilesTest, EmptyingLeavesAloneWhatAnotherUserOwns) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    writeFile(path_, "kept");
    ASSERT_EQ(chown(path_.c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(files_.open(path_, FileMode::TextTruncate), Files::kInvalid);
    EXPECT_EQ(readFile(path_), "kept");
}

TEST_F(PosixFilesTest, NoLockOfAReaderCostsALine) {
    writeFile(path_, "");
    for (const int kind : {LOCK_SH, LOCK_EX}) {
        const FileDescriptor reader(::open(path_.c_str(), O_RDONLY | O_CLOEXEC));
        ASSERT_EQ(flock(reader.get(), kind), 0);
        writeOnce(FileMode::LogAppend, "line ");
    }
    const FileDescriptor reader(::open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    struct flock lock {};
    lock.l_type = F_RDLCK;
    ASSERT_EQ(fcntl(reader.get(), F_OFD_SETLK, &lock), 0);
    writeOnce(FileMode::LogAppend, "line");
    EXPECT_EQ(readFile(path_), "line line line");
}

TEST_F(PosixFilesTest, ANewFileIsItsOwnersAlone) {
    umask(022);
    for (const FileMode mode : kModes) {
        std::filesystem::remove(path_);
        writeOnce(mode, "x");
        struct stat status {};
        ASSERT_EQ(stat(path_.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0600U);
    }
}

TEST_F(PosixFilesTest, AFileThatIsThereKeepsItsMode) {
    writeFile(path_, "");
    std::filesystem::permissions(path_, std::filesystem::perms(0664));
    writeOnce(FileMode::LogAppend, "x");
    writeOnce(FileMode::TextAppend, "x");
    EXPECT_EQ(std::filesystem::status(path_).permissions(), std::filesystem::perms(0664));
}

TEST_F(PosixFilesTest, AFolderThatIsAbsentFailsInEveryMode) {
    for (const FileMode mode : kModes) EXPECT_EQ(files_.open(folder_.file("absent/a.log"), mode), Files::kInvalid);
}

TEST_F(PosixFilesTest, AFullDiskFailsTheWrite) {
    const auto file = files_.open("/dev/full", FileMode::LogAppend);
    ASSERT_NE(file, Files::kInvalid);
    EXPECT_FALSE(files_.write(file, "x"));
    EXPECT_TRUE(files_.write(file, ""));
    files_.close(file);
}

TEST_F(PosixFilesTest, APipeThatNobodyReadsHoldsNobodyUp) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(files_.open(path_, FileMode::LogAppend), Files::kInvalid);
    const auto file = files_.open(path_, FileMode::TextAppend);
    ASSERT_NE(file, Files::kInvalid);
    const std::string line(4096, 'x');
    int written = 0;
    while (files_.write(file, line)) ++written;
    EXPECT_GT(written, 0);
    EXPECT_LT(written, 1000);
    files_.close(file);
}

}  // namespace
}  // namespace mova
