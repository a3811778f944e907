// SPDX-License-Identifier: MIT
#include <qz/ext/FileLock.h>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>

#include <qz/SystemError.h>
#include <qz/qzCancelInterface.h>

#include "support/Allocations.h"
#include "support/CancelledThread.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/OutputCapture.h"
#include "support/RefusedCalls.h"
#include "support/ScratchFolder.h"
#include "support/SmallDisk.h"
#include "support/Waiting.h"

namespace qz::ext {

namespace {

constexpr int kExpected = 42;

std::string describe(const std::string& step, int error)
{
    return step + ": " + SystemError(error).toString();
}

}  // namespace

class FileLockTest : public ::testing::Test {
protected:
    bool take(FileLock& lock, FileLock::Mode mode = FileLock::Exclusive)
    {
        return lock.tryLockUtf8(mPath, mode, &mFailure);
    }
    // Starts a process that holds the lock until it is killed, or until its pipe closes.
    pid_t startHolder(FileLock::Mode mode = FileLock::Exclusive)
    {
        support::flushStandardStreams();
        int ready[2] = {};
        EXPECT_EQ(::pipe(ready), 0);
        const pid_t pid = ::fork();
        if (pid == 0) {
            FileLock lock;
            const char isLocked = take(lock, mode) ? 1 : 0;
            if (::write(ready[1], &isLocked, 1) == 1) ::pause();
            ::_exit(1);
        }
        char isLocked = 0;
        EXPECT_EQ(::read(ready[0], &isLocked, 1), 1);
        EXPECT_EQ(isLocked, 1);
        ::close(ready[0]);
        ::close(ready[1]);
        return pid;
    }
    static void killAndReap(pid_t pid)
    {
        ::kill(pid, SIGKILL);
        EXPECT_EQ(::waitpid(pid, nullptr, 0), pid);
    }

    support::LibraryStart mStart;
    support::ScratchFolder mFolder;
    const std::string mPath = mFolder.getPath("lock");
    SystemFailure mFailure;
    FileLock mFirst;
    FileLock mSecond;
};

TEST_F(FileLockTest, ExcludesAnotherObjectUntilItIsReleased)
{
    EXPECT_TRUE(take(mFirst));
    EXPECT_TRUE(mFirst.isLocked());
    EXPECT_FALSE(take(mSecond));
    EXPECT_FALSE(mSecond.isLocked());
    mFirst.unlock();
    EXPECT_FALSE(mFirst.isLocked());
    EXPECT_TRUE(take(mSecond));
}

TEST_F(FileLockTest, NamesTheHolderInARefusal)
{
    ASSERT_TRUE(take(mFirst));
    EXPECT_FALSE(take(mSecond));
    EXPECT_EQ(mFailure.toString(),
              describe("lock " + mPath + ", held by process " + std::to_string(::getpid()) + " (" +
                           program_invocation_short_name + ")",
                       EAGAIN));
}

TEST_F(FileLockTest, SharesALockAmongSharedTakersOnly)
{
    FileLock third;
    EXPECT_TRUE(take(mFirst, FileLock::Shared));
    EXPECT_TRUE(take(mSecond, FileLock::Shared));
    EXPECT_FALSE(take(third));
    mFirst.unlock();
    EXPECT_FALSE(take(third));
    mSecond.unlock();
    EXPECT_TRUE(take(third));
    EXPECT_FALSE(take(mFirst, FileLock::Shared));
}

TEST_F(FileLockTest, LeavesItsFileWithOneLineForTheUserAlone)
{
    ASSERT_TRUE(take(mFirst));
    mFirst.unlock();
    struct stat status = {};
    ASSERT_EQ(::stat(mPath.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(support::readFile(mPath), "Lock of process " + std::to_string(::getpid()) + ", " +
                                            program_invocation_short_name + "\n");
}

TEST_F(FileLockTest, ShortensTheLongerLineOfAnotherHolder)
{
    support::writeFile(mPath, "Lock of process 1, " + std::string(200, 'x') + "\n");
    ASSERT_TRUE(take(mFirst));
    EXPECT_EQ(support::readFile(mPath), "Lock of process " + std::to_string(::getpid()) + ", " +
                                            program_invocation_short_name + "\n");
}

TEST_F(FileLockTest, RefusesASecondLockOfTheSameObject)
{
    ASSERT_TRUE(take(mFirst));
    EXPECT_FALSE(take(mFirst));
    EXPECT_EQ(mFailure.toString(), describe("lock " + mPath, EDEADLK));
    EXPECT_TRUE(mFirst.isLocked());
}

TEST_F(FileLockTest, MovesTheLock)
{
    ASSERT_TRUE(take(mFirst));
    FileLock moved(std::move(mFirst));
    EXPECT_TRUE(moved.isLocked());
    EXPECT_FALSE(take(mSecond));
    FileLock other;
    ASSERT_TRUE(other.tryLockUtf8(mFolder.getPath("other"), FileLock::Exclusive));
    other = std::move(moved);
    EXPECT_FALSE(take(mSecond)) << "the lock that was moved is lost";
    EXPECT_TRUE(mSecond.tryLockUtf8(mFolder.getPath("other"), FileLock::Exclusive))
        << "the lock that was replaced is still held";
}

TEST_F(FileLockTest, FindsTheHolderAndNobodyOfAFreeLock)
{
    EXPECT_FALSE(FileLock::FindHolderUtf8(mPath).has_value());
    ASSERT_TRUE(take(mFirst, FileLock::Shared));
    const std::optional<LockHolder> holder = FileLock::FindHolderUtf8(mPath);
    ASSERT_TRUE(holder.has_value());
    EXPECT_EQ(holder->pid, ::getpid());
    EXPECT_EQ(holder->program, program_invocation_short_name);
    EXPECT_TRUE(take(mSecond, FileLock::Shared)) << "the search disturbs";
    mFirst.unlock();
    mSecond.unlock();
    EXPECT_FALSE(FileLock::FindHolderUtf8(mPath).has_value());
}

TEST_F(FileLockTest, IsFreeAfterItsHolderWasKilled)
{
    const pid_t holder = startHolder();
    EXPECT_FALSE(take(mFirst));
    EXPECT_EQ(FileLock::FindHolderUtf8(mPath)->pid, holder);
    killAndReap(holder);
    EXPECT_FALSE(FileLock::FindHolderUtf8(mPath).has_value());
    EXPECT_TRUE(take(mFirst));
}

TEST_F(FileLockTest, WaitsUntilTheHolderIsKilled)
{
    const pid_t holder = startHolder();
    std::thread killer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        ::kill(holder, SIGKILL);
    });
    EXPECT_TRUE(mFirst.lockUtf8(mPath, FileLock::Exclusive, -1, nullptr, &mFailure));
    killer.join();
    ::waitpid(holder, nullptr, 0);
}

TEST_F(FileLockTest, EndsAWaitAtItsTime)
{
    ASSERT_TRUE(take(mFirst));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(mSecond.lockUtf8(mPath, FileLock::Exclusive, 60, nullptr, &mFailure));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(60));
    EXPECT_EQ(mFailure.error, ETIMEDOUT);
    EXPECT_NE(mFailure.step.find("held by process"), std::string::npos) << mFailure.step;
}

TEST_F(FileLockTest, EndsAWaitOnACancelRequest)
{
    ASSERT_TRUE(take(mFirst));
    struct CancelThirdPoll : qzCancelInterfaceReadOnly {
        bool shouldCancel() const override { return ++polls >= 3; }
        mutable int polls = 0;
    } cancel;
    EXPECT_FALSE(mSecond.lockUtf8(mPath, FileLock::Exclusive, -1, &cancel, &mFailure));
    EXPECT_EQ(mFailure.error, ECANCELED);
}

TEST_F(FileLockTest, WaitsEverLongerBetweenItsTriesUpToALimit)
{
    const support::ChildResult child =
        support::runProgram({.program = "lock_pauses", .arguments = {mPath}});
    EXPECT_EQ(child.getEnd(), "exit 0") << child.err;
    EXPECT_EQ(child.out, "100\n200\n400\n800\n1600\n2000\n2000\n2000\n");
}

TEST_F(FileLockTest, WaitsOnAcrossSignals)
{
    struct sigaction action = {};
    struct sigaction oldAction = {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(::sigaction(SIGALRM, &action, &oldAction), 0);  // without SA_RESTART
    const itimerval often = {{0, 500}, {0, 500}};
    ASSERT_TRUE(take(mFirst));
    ::setitimer(ITIMER_REAL, &often, nullptr);
    EXPECT_FALSE(mSecond.lockUtf8(mPath, FileLock::Exclusive, 100, nullptr, &mFailure));
    EXPECT_EQ(mFailure.error, ETIMEDOUT);
    mFirst.unlock();
    EXPECT_TRUE(take(mSecond));
    const itimerval never = {};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &oldAction, nullptr);
}

// --- Files that are removed or replaced

TEST_F(FileLockTest, NoticesThatItsFileWasRemoved)
{
    ASSERT_TRUE(take(mFirst));
    EXPECT_TRUE(mFirst.isFileInPlace());
    std::filesystem::remove(mPath);
    EXPECT_FALSE(mFirst.isFileInPlace());
    EXPECT_TRUE(mFirst.isLocked());
    EXPECT_TRUE(take(mSecond));
    EXPECT_FALSE(mFirst.isFileInPlace());
    EXPECT_TRUE(mSecond.isFileInPlace());
}

TEST_F(FileLockTest, GetsTheFileThatReplacedTheOneItWaitedFor)
{
    ASSERT_TRUE(take(mFirst));
    std::thread replacer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        std::filesystem::rename(mFolder.write("new", ""), mPath);
        mFirst.unlock();
    });
    EXPECT_TRUE(mSecond.lockUtf8(mPath, FileLock::Exclusive, -1, nullptr, &mFailure));
    replacer.join();
    EXPECT_TRUE(mSecond.isFileInPlace());
}

TEST_F(FileLockTest, NoticesAFileOfTheSameNumberOnAnotherDisk)
{
    const support::ChildResult child = support::runInChild([&] {
        if (!support::mountSmallDisk(mFolder.getPath(), "64k")) return support::kNoSmallDisk;
        struct stat first = {};
        struct stat second = {};
        if (!take(mFirst) || ::stat(mPath.c_str(), &first) != 0) return 1;
        if (::mount("none", mFolder.getPath().c_str(), "tmpfs", 0, "size=64k") != 0) return 2;
        support::writeFile(mPath, "");
        if (::stat(mPath.c_str(), &second) != 0 || first.st_dev == second.st_dev) return 3;
        if (first.st_ino != second.st_ino) return 4;
        return mFirst.isFileInPlace() ? 5 : kExpected;
    });
    if (child.exitCode == support::kNoSmallDisk) GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(child.exitCode, kExpected);
}

// --- Files that can't be locked

TEST_F(FileLockTest, RefusesALinkAndLeavesItsTargetAlone)
{
    const std::string target = mFolder.write("target", "precious");
    std::filesystem::create_symlink(target, mPath);
    EXPECT_FALSE(take(mFirst));
    EXPECT_EQ(mFailure.toString(), describe("lock " + mPath, ELOOP));
    EXPECT_EQ(support::readFile(target), "precious");
}

TEST_F(FileLockTest, MakesNoFileAtTheEndOfADanglingLink)
{
    std::filesystem::create_symlink(mFolder.getPath("target"), mPath);
    EXPECT_FALSE(take(mFirst));
    EXPECT_EQ(mFailure.error, ELOOP);
    EXPECT_FALSE(std::filesystem::exists(mFolder.getPath("target")));
}

TEST_F(FileLockTest, RefusesAFileWithASecondName)
{
    std::filesystem::create_hard_link(mFolder.write("target", ""), mPath);
    EXPECT_FALSE(take(mFirst));
    EXPECT_EQ(mFailure.toString(), describe("lock " + mPath, EMLINK));
    EXPECT_EQ(support::readFile(mPath), "");
}

TEST_F(FileLockTest, RefusesAFileWithOtherContent)
{
    support::writeFile(mPath, "precious");
    EXPECT_FALSE(take(mFirst));
    EXPECT_EQ(mFailure.toString(), describe("lock " + mPath + ", no lock file", EINVAL));
    EXPECT_EQ(support::readFile(mPath), "precious");
}

TEST_F(FileLockTest, RefusesAFileThatCantBeReadAndLeavesItAlone)
{
    support::writeFile(mPath, "precious");
    const support::ChildResult child = support::runInChild([&] {
        support::refuseSystemCall(SYS_pread64, EIO);
        const bool isRefused = !take(mFirst) && !mFirst.isLocked();
        return isRefused && mFailure.toString() == describe("lock " + mPath, EIO) ? kExpected : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
    EXPECT_EQ(support::readFile(mPath), "precious");
}

TEST_F(FileLockTest, RefusesAFolderAndANamedPipe)
{
    std::filesystem::create_directory(mPath);
    EXPECT_FALSE(take(mFirst));
    EXPECT_EQ(mFailure.toString(), describe("lock " + mPath, EISDIR));
    std::filesystem::remove(mPath);
    ASSERT_EQ(::mkfifo(mPath.c_str(), 0600), 0);
    EXPECT_FALSE(take(mFirst));
    EXPECT_EQ(mFailure.toString(), describe("lock " + mPath + ", no regular file", EINVAL));
}

TEST_F(FileLockTest, ReportsAMissingFolderAndAnEmptyPath)
{
    const std::string path = mFolder.getPath("none/lock");
    EXPECT_FALSE(mFirst.tryLockUtf8(path, FileLock::Exclusive, &mFailure));
    EXPECT_EQ(mFailure.toString(), describe("lock " + path, ENOENT));
    EXPECT_FALSE(mFirst.tryLockUtf8("", FileLock::Exclusive, &mFailure));
    EXPECT_EQ(mFailure.toString(), describe("conversion of the path ''", EILSEQ));
    EXPECT_FALSE(mFirst.tryLockUtf8(path, FileLock::Exclusive));
}

TEST(FileLockLocaleTest, LocksNoOtherFileIfTheLocalSetCantHoldTheName)
{
    const support::ScratchFolder folder;
    const support::ChildResult child = support::runInChild([&] {
        const support::EnvironmentLocale locale("C");
        const support::LibraryStart library;
        FileLock lock;
        SystemFailure failure;
        const std::string path = folder.getPath("\u00e4");
        return !lock.tryLockUtf8(path, FileLock::Exclusive, &failure) && failure.error == EILSEQ
                   ? kExpected
                   : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
    EXPECT_TRUE(std::filesystem::is_empty(folder.getPath()));
}

TEST_F(FileLockTest, RefusesAPathWithAZeroByte)
{
    const std::string path = mPath + std::string("\0rest", 5);
    EXPECT_FALSE(mFirst.tryLockUtf8(path, FileLock::Exclusive, &mFailure));
    EXPECT_EQ(mFailure.error, EILSEQ);
    EXPECT_FALSE(std::filesystem::exists(mPath));
    ASSERT_TRUE(take(mFirst));
    EXPECT_FALSE(FileLock::FindHolderUtf8(path).has_value());
}

TEST_F(FileLockTest, ReportsThatNoDescriptorIsLeft)
{
    // The sanitizer looks at objects with virtual functions, such as the fixture, by a descriptor.
    const std::string path = mPath;
    FileLock lock;
    SystemFailure failure;
    {
        const support::DescriptorLimit noneLeft(0);
        EXPECT_FALSE(lock.tryLockUtf8(path, FileLock::Exclusive, &failure));
    }
    EXPECT_EQ(failure.toString(), describe("lock " + path, EMFILE));
}

TEST_F(FileLockTest, IsRefusedWithoutTheRightToTheFile)
{
    mFolder.write("lock", "");
    ASSERT_EQ(::chmod(mPath.c_str(), 0400), 0);
    ASSERT_EQ(::chmod(mFolder.getPath().c_str(), 0555), 0);
    const support::ChildResult child =
        support::runInChild([path = mPath, newPath = mFolder.getPath("new")] {
            support::becomeNobody();
            FileLock lock;
            SystemFailure failure;
            SystemFailure newFailure;
            return !lock.tryLockUtf8(path, FileLock::Exclusive, &failure) &&
                           failure.error == EACCES &&
                           !lock.tryLockUtf8(newPath, FileLock::Exclusive, &newFailure) &&
                           newFailure.error == EACCES
                       ? kExpected
                       : 1;
        });
    ::chmod(mFolder.getPath().c_str(), 0755);
    EXPECT_EQ(child.exitCode, kExpected);
}

TEST_F(FileLockTest, IsTakenOnAFullDiskWithoutALine)
{
    const support::ChildResult child = support::runInChild([&] {
        if (!support::mountSmallDisk(mFolder.getPath(), "64k")) return support::kNoSmallDisk;
        support::writeFile(mPath, "");
        const int filler = ::open(mFolder.getPath("filler").c_str(), O_CREAT | O_WRONLY, 0600);
        const std::string block(1024, 'x');
        while (::write(filler, block.data(), block.size()) > 0) {
        }
        const bool isTaken = take(mFirst) && !take(mSecond) && mFailure.error == EAGAIN;
        const std::optional<LockHolder> holder = FileLock::FindHolderUtf8(mPath);
        return isTaken && holder && holder->pid == 0 && support::readFile(mPath).empty() ? kExpected
                                                                                         : 1;
    });
    if (child.exitCode == support::kNoSmallDisk) GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(child.exitCode, kExpected);
}

// --- Other processes

TEST_F(FileLockTest, StaysWithTheParentOfAFork)
{
    ASSERT_TRUE(take(mFirst));
    const support::ChildResult child = support::runInChild([&] {
        if (mFirst.isLocked() || mFirst.isFileInPlace()) return 1;
        mFirst.unlock();  // must not release the parent's
        return take(mSecond) ? 2 : kExpected;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_TRUE(mFirst.isLocked());
    EXPECT_FALSE(take(mSecond)) << "the child has released the lock";
}

TEST_F(FileLockTest, IsNotKeptByAChildThatOutlivesTheHolder)
{
    int ready[2] = {};
    ASSERT_EQ(::pipe(ready), 0);
    support::flushStandardStreams();
    const pid_t holder = ::fork();
    if (holder == 0) {
        FileLock lock;
        if (!take(lock)) ::_exit(1);
        if (::fork() == 0) {
            const pid_t self = ::getpid();
            if (::write(ready[1], &self, sizeof self) > 0) ::pause();
            ::_exit(0);
        }
        ::pause();
    }
    pid_t child = 0;
    ASSERT_EQ(::read(ready[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    killAndReap(holder);
    EXPECT_TRUE(take(mFirst)) << "a child of the holder keeps the lock";
    ::kill(child, SIGKILL);
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(FileLockTest, IsReleasedThoughAProcessHasACopyOfTheDescriptor)
{
    ASSERT_TRUE(take(mFirst));
    const pid_t child = ::_Fork();  // without the handlers of a fork
    if (child == 0) {
        for (;;)
            ::pause();
    }
    EXPECT_FALSE(take(mSecond));
    mFirst.unlock();
    EXPECT_TRUE(take(mSecond)) << "the copy holds the lock";
    killAndReap(child);
}

TEST_F(FileLockTest, TakesNoTerminalAsItsOwn)
{
    const support::ChildResult child = support::runInChild([&] {
        const int screen = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        char path[100] = "";
        if (::setsid() < 0 || ::grantpt(screen) != 0 || ::unlockpt(screen) != 0) return 1;
        if (::ptsname_r(screen, path, sizeof path) != 0) return 2;
        if (mFirst.tryLockUtf8(path, FileLock::Exclusive, &mFailure)) return 3;
        if (FileLock::FindHolderUtf8(path).has_value()) return 4;
        return ::open("/dev/tty", O_RDWR) < 0 && errno == ENXIO ? kExpected : 5;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
}

TEST_F(FileLockTest, TakesALockOfItsOwnInAForkedChild)
{
    ASSERT_TRUE(take(mFirst));
    const support::ChildResult child = support::runInChild([&] {
        const std::string other = mFolder.getPath("other");
        const bool isTaken = mFirst.tryLockUtf8(other, FileLock::Exclusive, &mFailure);
        return isTaken && !mSecond.tryLockUtf8(other, FileLock::Exclusive) ? kExpected : 1;
    });
    EXPECT_EQ(child.exitCode, kExpected);
}

TEST_F(FileLockTest, IsNotPassedOnToAProgram)
{
    ASSERT_TRUE(take(mFirst));
    const support::ChildResult child = support::runProgram(
        {.program = "/bin/sh", .arguments = {"-c", "ls -l /proc/self/fd; exit 42"}});
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_EQ(child.out.find(mPath), std::string::npos) << child.out;
}

TEST_F(FileLockTest, ClosesNothingOfAGrandchild)
{
    const int place = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(place);
    ASSERT_TRUE(take(mFirst));
    const support::ChildResult child = support::runInChild([&] {
        // Gets the number that the lock has in the parent.
        if (::fcntl(place, F_GETFD) >= 0 || ::open("/dev/null", O_RDONLY) != place) return 1;
        const support::ChildResult grandchild =
            support::runInChild([&] { return ::fcntl(place, F_GETFD) >= 0 ? kExpected : 1; });
        return grandchild.exitCode;
    });
    EXPECT_EQ(child.exitCode, kExpected);
}

TEST_F(FileLockTest, FindsNobodyInANamedPipeAtOnce)
{
    ASSERT_EQ(::mkfifo(mPath.c_str(), 0600), 0);
    const int hangLimitSec = 60;
    const support::ChildResult child = support::runInChild(
        [&] { return FileLock::FindHolderUtf8(mPath).has_value() ? 1 : kExpected; }, "",
        hangLimitSec);
    EXPECT_EQ(child.getEnd(), "exit 42");
}

TEST_F(FileLockTest, IsNoStandardStreamOfAProcessThatHasClosedThem)
{
    const support::ChildResult child = support::runInChild([&] {
        for (int place = 0; place < 3; ++place)
            ::close(place);
        if (!take(mFirst)) return 1;
        for (int place = 0; place < 3; ++place) {
            if (::fcntl(place, F_GETFD) >= 0) return 2;
        }
        return kExpected;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
}

TEST_F(FileLockTest, IsReleasedOnAThreadThatIsCancelled)
{
    const support::ChildResult child = support::runInChild([&] {
        if (!take(mFirst)) return 1;
        const bool isCancelled = support::endsByCancellation([&] {
            mFirst.unlock();
            ::pthread_testcancel();
        });
        return isCancelled && !mFirst.isLocked() && take(mSecond) ? kExpected : 2;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
}

TEST_F(FileLockTest, NamesNoGroupOfProcessesAsTheHolder)
{
    const std::string line = "Lock of process -1, \x1b[2J\n";
    ASSERT_TRUE(take(mFirst));
    support::writeFile(mPath, line);
    const std::optional<LockHolder> holder = FileLock::FindHolderUtf8(mPath);
    ASSERT_TRUE(holder.has_value());
    EXPECT_EQ(holder->pid, 0);
    EXPECT_FALSE(take(mSecond));
    EXPECT_EQ(mFailure.toString(), describe("lock " + mPath, EAGAIN));
}

TEST_F(FileLockTest, LeavesNoDescriptorAndNoLockWhenMemoryIsShort)
{
    const std::size_t before = support::countOpenDescriptors();
    const std::size_t failed = support::failEachAllocation(
        [&] {
            FileLock lock;
            SystemFailure failure;
            if (lock.tryLockUtf8(mPath, FileLock::Exclusive, &failure)) return;
            lock.tryLockUtf8(mFolder.getPath(), FileLock::Exclusive, &failure);
        },
        [&](const support::AllocationFailure& failure) {
            EXPECT_EQ(support::countOpenDescriptors(), before) << failure.number;
            EXPECT_FALSE(FileLock::FindHolderUtf8(mPath).has_value()) << failure.number;
        });
    EXPECT_GT(failed, 0U);
}

TEST_F(FileLockTest, LeavesNoDescriptorAfterRefusals)
{
    ASSERT_TRUE(take(mFirst));
    const std::size_t before = support::countOpenDescriptors();
    EXPECT_FALSE(take(mSecond));
    EXPECT_FALSE(mSecond.tryLockUtf8(mFolder.getPath(), FileLock::Exclusive));
    FileLock::FindHolderUtf8(mPath);
    EXPECT_EQ(support::countOpenDescriptors(), before);
}

}  // namespace qz::ext
