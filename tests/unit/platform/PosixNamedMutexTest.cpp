#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <thread>

#include "ChildProcess.h"
#include "PseudoTerminal.h"
#include "TempFolder.h"
#include "platform/posix/PosixThreading.h"
#include "support/OpenDescriptors.h"

namespace mova {
namespace {

class PosixNamedMutexTest : public testing::Test {
protected:
    std::unique_ptr<NamedMutex> make() { return threading_.makeNamedMutex("SUTLOG"); }

    // Starts a thread that takes the mutex, says so and gives it back.
    std::thread taker(PosixEvent& taken) {
        return std::thread([this, &taken] {
            const auto mutex = make();
            if (mutex->acquire()) taken.set();
            mutex->release();
        });
    }

    TempFolder folder_;
    PosixThreading threading_{folder_.path().string()};
};

TEST_F(PosixNamedMutexTest, IsALockFileOfItsName) {
    const auto mutex = make();
    EXPECT_TRUE(mutex->acquire());
    EXPECT_TRUE(std::filesystem::is_regular_file(folder_.path() / "SUTLOG.lock"));
    mutex->release();
}

TEST_F(PosixNamedMutexTest, IsRecursiveOnItsThreadAcrossObjects) {
    const auto first = make();
    const auto second = make();
    EXPECT_TRUE(first->acquire());
    EXPECT_TRUE(first->acquire());
    EXPECT_TRUE(second->acquire());
    PosixEvent taken;
    std::thread other = taker(taken);
    second->release();
    first->release();
    EXPECT_EQ(taken.wait(20), WaitResult::TimedOut);
    first->release();
    EXPECT_EQ(taken.wait(kGenerousLimit), WaitResult::Signalled);
    other.join();
}

TEST_F(PosixNamedMutexTest, KeepsThreadsWithTheirOwnObjectsApart) {
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < 200; ++i) {
            const auto mutex = make();
            mutex->acquire();
            ++count;
            mutex->release();
        }
    };
    std::thread threads[] = {std::thread(work), std::thread(work), std::thread(work)};
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(count, 600);
}

TEST_F(PosixNamedMutexTest, ReleaseByAnotherThreadIsIgnored) {
    const auto mutex = make();
    mutex->acquire();
    std::thread([&] { mutex->release(); }).join();
    PosixEvent taken;
    std::thread other = taker(taken);
    EXPECT_EQ(taken.wait(20), WaitResult::TimedOut);
    mutex->release();
    EXPECT_EQ(taken.wait(kGenerousLimit), WaitResult::Signalled);
    other.join();
}

TEST_F(PosixNamedMutexTest, ReleaseWithoutHoldingIsIgnored) {
    const auto mutex = make();
    mutex->release();
    EXPECT_TRUE(mutex->acquire());
    mutex->release();
    mutex->release();
    PosixEvent taken;
    taker(taken).join();
    EXPECT_TRUE(taken.isSet());
}

TEST_F(PosixNamedMutexTest, AnObjectThatGoesWhileItHoldsFreesIt) {
    auto mutex = make();
    mutex->acquire();
    mutex->acquire();
    mutex.reset();
    PosixEvent taken;
    taker(taken).join();
    EXPECT_TRUE(taken.isSet());
}

TEST_F(PosixNamedMutexTest, WaitsForAnotherProcess) {
    ProcessGate held;
    ProcessGate free;
    ChildProcess child([&] {
        const auto mutex = make();
        mutex->acquire();
        held.go();
        free.wait();
        mutex->release();
        return 0;
    });
    held.wait();
    PosixEvent taken;
    std::thread other = taker(taken);
    EXPECT_EQ(taken.wait(50), WaitResult::TimedOut);
    free.go();
    EXPECT_EQ(taken.wait(kGenerousLimit), WaitResult::Signalled);
    other.join();
    EXPECT_EQ(child.wait(), 0);
}

TEST_F(PosixNamedMutexTest, IsFreedWhenTheOwningProcessDies) {
    ProcessGate held;
    ChildProcess child([&] {
        const auto mutex = make();
        mutex->acquire();
        held.go();
        for (;;) pause();
        return 0;
    });
    held.wait();
    PosixEvent taken;
    std::thread other = taker(taken);
    EXPECT_EQ(taken.wait(50), WaitResult::TimedOut);
    child.kill(SIGKILL);
    EXPECT_EQ(taken.wait(kGenerousLimit), WaitResult::Signalled);
    other.join();
}

TEST_F(PosixNamedMutexTest, WithoutALockFileThreadsAreStillKeptApart) {
    PosixThreading nowhere(folder_.file("absent"));
    const auto mutex = nowhere.makeNamedMutex("SUTLOG");
    EXPECT_TRUE(mutex->acquire());
    PosixEvent taken;
    std::thread other([&] {
        const auto same = nowhere.makeNamedMutex("SUTLOG");
        if (same->acquire()) taken.set();
        same->release();
    });
    EXPECT_EQ(taken.wait(20), WaitResult::TimedOut);
    mutex->release();
    EXPECT_EQ(taken.wait(kGenerousLimit), WaitResult::Signalled);
    other.join();
}

TEST_F(PosixNamedMutexTest, DifferentNamesAreDifferentMutexes) {
    const auto mutex = threading_.makeNamedMutex("OTHER");
    mutex->acquire();
    PosixEvent taken;
    taker(taken).join();
    EXPECT_TRUE(taken.isSet());
    mutex->release();
}

// What a neighbour does who has found the lock file's name: it opens what it may, and holds it.
class Neighbour {
public:
    explicit Neighbour(const std::string& lockFile)
        : process_([&] {
              if (setresuid(kNobody, kNobody, kNobody) != 0) return 1;
              const int file = ::open(lockFile.c_str(), O_RDONLY);
              if (file >= 0) flock(file, LOCK_EX);
              holds_.go();
              for (;;) pause();
              return 0;
          }) {
        holds_.wait();
    }

private:
    ProcessGate holds_;
    ChildProcess process_;
};

TEST_F(PosixNamedMutexTest, AnotherUserCannotHoldIt) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    umask(022);
    for (const unsigned mode : {0700U, 0755U, 01777U}) {
        std::filesystem::permissions(folder_.path(), std::filesystem::perms(mode));
        make()->acquire();  // makes the file where it is made
        const Neighbour neighbour(folder_.file("SUTLOG.lock"));
        PosixEvent taken;
        std::thread other = taker(taken);
        EXPECT_EQ(taken.wait(kGenerousLimit), WaitResult::Signalled) << mode;
        other.join();
    }
}

TEST_F(PosixNamedMutexTest, IsNotTheOneInAFolderThatOthersMayEnter) {
    const FileDescriptor file(::open(folder_.file("SUTLOG.lock").c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0644));
    ASSERT_EQ(flock(file.get(), LOCK_EX), 0);
    std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
    PosixEvent taken;
    taker(taken).join();
    EXPECT_TRUE(taken.isSet());
}

TEST_F(PosixNamedMutexTest, LeavesNoDescriptorBehind) {
    const auto before = descriptorCount();
    for (int i = 0; i < 50; ++i) {
        const auto mutex = make();
        mutex->acquire();
        mutex->release();
    }
    EXPECT_EQ(descriptorCount(), before);
}

}  // namespace
}  // namespace mova
