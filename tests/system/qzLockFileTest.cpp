// SPDX-License-Identifier: MIT
// Locks among objects of this process.

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <locale>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/SystemError.h>
#include <qz/qzLockFile.h>
#include <qz/qzThread.h>

#include "LockFileFixture.h"
#include "io/VirtualSlots.h"
#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/ScratchFolder.h"
#include "support/SmallDisk.h"

namespace qz {

using support::runInChild;
using ::testing::ElementsAre;

/// Looks into a lock.
class qzLockFileTestPeer {
public:
    static int getDescriptor(const qzLockFile& lock) { return ::fileno(lock.mFile); }
    static const std::string& getPath(const qzLockFile& lock) { return lock.mPath; }
    static Offsets getOffsets(const qzLockFile& lock)
    {
        return {findOffset(lock, lock.mPath), findOffset(lock, lock.mFile)};
    }
};

static_assert(sizeof(qzLockFile) == 40 && !std::is_polymorphic_v<qzLockFile>);
static_assert(!std::is_copy_constructible_v<qzLockFile> && !std::is_copy_assignable_v<qzLockFile>);
static_assert(qzLockFile::LockExclusive == 0 && qzLockFile::LockShared == 1);
static_assert(sizeof(qzLockFile::LockType) == 4);

using qzLockFileTest = LockFileFixture;

namespace {

// What a taker writes.
std::string describeTaker()
{
    return "Lock from PID : " + std::to_string(::getpid()) +
           ", TID : " + qzThread::CurrentThreadId();
}

}  // namespace

TEST_F(qzLockFileTest, KeepsTheOrderOfItsFields)
{
    const qzLockFile lock;
    EXPECT_THAT(qzLockFileTestPeer::getOffsets(lock), ElementsAre(0, 32));
}

TEST_F(qzLockFileTest, MakesTheFileWithProcessAndThread)
{
    qzLockFile lock;
    EXPECT_FALSE(lock.isLocked());
    EXPECT_TRUE(take(lock));
    EXPECT_TRUE(lock.isLocked());
    EXPECT_FALSE(mWasThere);
    EXPECT_EQ(mError, "");
    EXPECT_EQ(read(), describeTaker());
    EXPECT_EQ(qzLockFileTestPeer::getPath(lock), mPath);
    EXPECT_TRUE(release(lock, true));
    EXPECT_EQ(qzLockFileTestPeer::getPath(lock), "");
    EXPECT_EQ(mError, "");
    EXPECT_FALSE(hasFile());
}

TEST_F(qzLockFileTest, ExcludesAnotherObject)
{
    qzLockFile first;
    qzLockFile second;
    ASSERT_TRUE(take(first));
    for (const auto type : {kExclusive, kShared}) {
        EXPECT_FALSE(take(second, type));
        EXPECT_FALSE(mWasThere);
        EXPECT_EQ(mError, kRefused);
    }
    EXPECT_FALSE(second.takeLockUtf8(mPath, nullptr, kExclusive, nullptr));
    EXPECT_TRUE(release(first, false));
    EXPECT_TRUE(hasFile());
    EXPECT_TRUE(take(second));
    EXPECT_TRUE(mWasThere);
}

TEST_F(qzLockFileTest, SharesAFileThatExists)
{
    support::writeFile(mPath, "");
    qzLockFile first;
    qzLockFile second;
    qzLockFile third;
    EXPECT_TRUE(take(first, kShared));
    EXPECT_TRUE(mWasThere);
    EXPECT_TRUE(take(second, kShared));
    EXPECT_FALSE(take(third, kExclusive));
    EXPECT_TRUE(release(first, false));
    EXPECT_FALSE(take(third, kExclusive));
    EXPECT_TRUE(release(second, false));
    EXPECT_TRUE(take(third, kExclusive));
}

TEST_F(qzLockFileTest, WritesItsTextAtOnceUnderASharedLockAsWell)
{
    support::writeFile(mPath, "");
    qzLockFile lock;
    ASSERT_TRUE(take(lock, kShared));
    EXPECT_EQ(read(), describeTaker());
}

TEST_F(qzLockFileTest, ASharedTakerThatMakesTheFileHoldsItAlone)
{
    qzLockFile first;
    qzLockFile second;
    EXPECT_TRUE(take(first, kShared));
    EXPECT_FALSE(mWasThere);
    EXPECT_FALSE(take(second, kShared));
    EXPECT_EQ(mError, kRefused);
}

TEST_F(qzLockFileTest, AnyOtherTypeIsExclusive)
{
    support::writeFile(mPath, "");
    qzLockFile first;
    qzLockFile second;
    EXPECT_TRUE(take(first, static_cast<qzLockFile::LockType>(2)));
    EXPECT_FALSE(take(second, kShared));
}

TEST_F(qzLockFileTest, LeavesTheTailOfALongerContent)
{
    const std::string content(200, '#');
    support::writeFile(mPath, content);
    qzLockFile lock;
    ASSERT_TRUE(take(lock));
    const std::string own = describeTaker();
    EXPECT_EQ(read(), own + content.substr(own.size()));
    EXPECT_TRUE(release(lock, false));
    EXPECT_EQ(read().size(), 200U);
}

TEST_F(qzLockFileTest, LeavesAFileAloneThatItCannotLock)
{
    support::writeFile(mPath, "other content");
    const int other = ::open(mPath.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::flock(other, LOCK_SH | LOCK_NB), 0);
    qzLockFile lock;
    EXPECT_FALSE(take(lock));
    EXPECT_EQ(read(), "other content") << "no step to making the file";
    EXPECT_TRUE(take(lock, kShared));
    ::close(other);
}

TEST_F(qzLockFileTest, RemovesTheFileInItsDestructor)
{
    {
        qzLockFile lock;
        ASSERT_TRUE(take(lock));
    }
    EXPECT_FALSE(hasFile());
}

TEST_F(qzLockFileTest, ReleasesNothingWithoutALock)
{
    qzLockFile lock;
    EXPECT_FALSE(release(lock, true));
    EXPECT_EQ(mError, "File is not locked");
    EXPECT_FALSE(lock.releaseLock(false, nullptr));
}

TEST_F(qzLockFileTest, ExplainsWhyAFileCannotBeOpened)
{
    const std::string text = "Fail to open lock file in w+, ";
    qzLockFile lock;
    EXPECT_FALSE(lock.takeLockUtf8(mFolder.getPath("missing/lock"), &mWasThere, kShared, &mError));
    EXPECT_EQ(mError, text + SystemError(ENOENT).toString());
    EXPECT_FALSE(mWasThere);
    EXPECT_FALSE(lock.takeLockUtf8(mFolder.getPath(), nullptr, kExclusive, &mError));
    EXPECT_EQ(mError, text + SystemError(EISDIR).toString());
    EXPECT_FALSE(lock.takeLockUtf8("", nullptr, kExclusive, &mError));
    EXPECT_EQ(mError, text + SystemError(ENOENT).toString());
    EXPECT_FALSE(lock.takeLockUtf8(mFolder.getPath("\xFF"), nullptr, kExclusive, &mError));
    EXPECT_EQ(mError, text + SystemError(ENOENT).toString());
    EXPECT_FALSE(lock.isLocked());
}

// --- A second lock of one object

TEST_F(qzLockFileTest, KeepsItsLockWhenASecondTakeFails)
{
    qzLockFile lock;
    ASSERT_TRUE(take(lock));
    EXPECT_TRUE(take(lock)) << "it has one";
    EXPECT_EQ(mError, kRefused);
    EXPECT_FALSE(mWasThere);
    EXPECT_TRUE(lock.takeLockUtf8(mFolder.getPath("no/lock"), nullptr, kExclusive, nullptr));
    EXPECT_EQ(qzLockFileTestPeer::getPath(lock), mPath);
    EXPECT_TRUE(release(lock, true));
    EXPECT_FALSE(hasFile());
}

TEST_F(qzLockFileTest, LosesItsFirstLockToASecondOneUntilTheProcessEnds)
{
    const auto body = [this] {
        qzLockFile lock;
        qzLockFile other;
        if (!take(lock)) return 1;
        if (!lock.takeLockUtf8(mFolder.getPath("second"), nullptr, kExclusive, nullptr)) return 2;
        if (!lock.releaseLock(true, nullptr) || lock.isLocked()) return 3;
        return take(other) ? 4 : 0;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
    EXPECT_TRUE(hasFile());
    qzLockFile lock;
    EXPECT_TRUE(take(lock)) << "the process has ended";
}

// --- The file at the path

TEST_F(qzLockFileTest, ReportsThatTheFileHasGoneAlready)
{
    qzLockFile lock;
    ASSERT_TRUE(take(lock));
    std::filesystem::remove(mPath);
    EXPECT_FALSE(release(lock, true));
    EXPECT_EQ(mError, "Fail to remove lock file");
    EXPECT_FALSE(lock.isLocked());
}

TEST_F(qzLockFileTest, LeavesAnotherTakersFileAlone)
{
    // Two holders share a file, and the first to go removes it. The file that the next taker makes
    // is not the second holder's to remove.
    support::writeFile(mPath, "");
    qzLockFile first;
    auto second = std::make_unique<qzLockFile>();
    ASSERT_TRUE(take(first, kShared) && take(*second, kShared));
    EXPECT_TRUE(release(first, true));
    EXPECT_FALSE(hasFile());
    qzLockFile next;
    ASSERT_TRUE(take(next));
    second.reset();
    EXPECT_TRUE(hasFile());
    qzLockFile afterwards;
    EXPECT_FALSE(take(afterwards)) << "two exclusive holders";
}

TEST_F(qzLockFileTest, LeavesTheFileToAnotherHolderThatIsRemovingIt)
{
    support::writeFile(mPath, "");
    qzLockFile first;
    qzLockFile second;
    ASSERT_TRUE(take(first, kShared) && take(second, kShared));
    struct flock removal = {};
    removal.l_type = F_WRLCK;
    const int descriptor = qzLockFileTestPeer::getDescriptor(first);
    ASSERT_EQ(::fcntl(descriptor, F_OFD_SETLK, &removal), 0);
    EXPECT_FALSE(release(second, true));
    EXPECT_EQ(mError, "Fail to remove lock file");
    EXPECT_TRUE(hasFile());
    EXPECT_TRUE(release(first, true));
    EXPECT_FALSE(hasFile());
}

TEST_F(qzLockFileTest, LetsTwoSharedHoldersNotBothRemoveTheFile)
{
    support::writeFile(mPath, "");
    qzLockFile first;
    qzLockFile second;
    ASSERT_TRUE(take(first, kShared) && take(second, kShared));
    // The first one goes on to remove as long as its open file exists.
    const int copy = ::dup(qzLockFileTestPeer::getDescriptor(first));
    std::filesystem::create_hard_link(mPath, mFolder.getPath("again"));
    EXPECT_TRUE(release(first, true));
    std::filesystem::rename(mFolder.getPath("again"), mPath);
    EXPECT_FALSE(release(second, true));
    EXPECT_TRUE(hasFile());
    ::close(copy);
}

TEST_F(qzLockFileTest, RemovesItsFileWhateverRecordLocksOthersHaveOnIt)
{
    qzLockFile lock;
    ASSERT_TRUE(take(lock));
    const int other = ::open(mPath.c_str(), O_RDONLY | O_CLOEXEC);
    struct flock record = {};
    record.l_type = F_RDLCK;
    ASSERT_EQ(::fcntl(other, F_OFD_SETLK, &record), 0);
    EXPECT_TRUE(release(lock, true)) << mError;
    EXPECT_FALSE(hasFile());
    ::close(other);
}

TEST_F(qzLockFileTest, LeavesAFileOfTheSameNumberOnAnotherDiskAlone)
{
    const support::ChildResult child = runInChild([&] {
        if (!support::mountSmallDisk(mFolder.getPath(), "64k")) return support::kNoSmallDisk;
        struct stat first = {};
        struct stat second = {};
        qzLockFile lock;
        if (!take(lock) || ::stat(mPath.c_str(), &first) != 0) return 1;
        if (::mount("none", mFolder.getPath().c_str(), "tmpfs", 0, "size=64k") != 0) return 2;
        support::writeFile(mPath, "");
        if (::stat(mPath.c_str(), &second) != 0 || first.st_dev == second.st_dev) return 3;
        if (first.st_ino != second.st_ino) return 4;
        return release(lock, true) || !hasFile() ? 5 : 0;
    });
    if (child.exitCode == support::kNoSmallDisk) GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(child.getEnd(), "exit 0");
}

// Without its descriptor, an object can't know whose file is at the path, and leaves it there.
TEST_F(qzLockFileTest, ReportsThatItsDescriptorWasClosed)
{
    const std::string text = "Fail to release lock on file, " + SystemError(EBADF).toString();
    const auto body = [&] {
        for (const bool removeFile : {false, true}) {
            qzLockFile lock;
            EXPECT_TRUE(take(lock));
            ::close(qzLockFileTestPeer::getDescriptor(lock));
            EXPECT_FALSE(release(lock, removeFile));
            EXPECT_EQ(mError, removeFile ? text + ", Fail to remove lock file" : text);
            EXPECT_FALSE(lock.isLocked());
            EXPECT_EQ(qzLockFileTestPeer::getPath(lock), "");
        }
        return HasFailure() ? 1 : 0;
    };
    body();
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0") << "in a forked child";
}

TEST_F(qzLockFileTest, ReleasesTheLockWhereverMemoryIsShort)
{
    const std::size_t before = support::countOpenDescriptors();
    const std::size_t failed = support::failEachAllocation(
        [&] {
            qzLockFile lock;
            lock.takeLockUtf8(mPath, nullptr, kExclusive, nullptr);
        },
        [&](const support::AllocationFailure& failure) {
            qzLockFile other;
            EXPECT_TRUE(take(other)) << failure.number << ' ' << mError;
            EXPECT_EQ(support::countOpenDescriptors(), before + 1) << failure.number;
        });
    EXPECT_GT(failed, 0U);
}

// --- What may be at the path

TEST_F(qzLockFileTest, FollowsALinkAndRemovesTheLinkAlone)
{
    const std::string target = mFolder.write("target", "");
    std::filesystem::create_symlink(target, mPath);
    qzLockFile lock;
    qzLockFile other;
    ASSERT_TRUE(take(lock)) << mError;
    EXPECT_TRUE(mWasThere);
    EXPECT_EQ(support::readFile(target), describeTaker());
    EXPECT_FALSE(other.takeLockUtf8(target, nullptr, kExclusive, nullptr));
    EXPECT_TRUE(release(lock, true)) << mError;
    EXPECT_FALSE(std::filesystem::is_symlink(mPath));
    EXPECT_TRUE(std::filesystem::exists(target));
}

TEST_F(qzLockFileTest, MakesTheFileAtTheEndOfALink)
{
    const std::string target = mFolder.getPath("target");
    std::filesystem::create_symlink(target, mPath);
    qzLockFile lock;
    ASSERT_TRUE(take(lock)) << mError;
    EXPECT_FALSE(mWasThere);
    EXPECT_EQ(support::readFile(target), describeTaker());
}

TEST_F(qzLockFileTest, LeavesTheFileThatReplacedItsOwn)
{
    qzLockFile lock;
    ASSERT_TRUE(take(lock));
    std::filesystem::rename(mFolder.write("other", "of another program"), mPath);
    EXPECT_FALSE(release(lock, true));
    EXPECT_EQ(mError, "Fail to remove lock file");
    EXPECT_EQ(read(), "of another program");
}

// Another process could replace it for ever.
TEST_F(qzLockFileTest, GivesUpAFileThatIsReplacedAtEachAttempt)
{
    const support::ChildResult result = support::runProgram(
        {.program = "lock_child", .arguments = {"never-in-place", mPath}, .timeoutSec = 60});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, kRefused);
    EXPECT_EQ(read(), "") << "nothing is written without a lock";
}

// A blocked write would end by SIGALRM.
TEST_F(qzLockFileTest, WaitsForNoReaderOfAFullNamedPipe)
{
    ASSERT_EQ(::mkfifo(mPath.c_str(), 0600), 0);
    const int pipe = ::open(mPath.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    for (const std::size_t size : {4096U, 1U}) {
        const std::string bytes(size, 'x');
        while (::write(pipe, bytes.data(), bytes.size()) > 0) {
        }
    }
    const auto body = [&] {
        qzLockFile lock;
        return take(lock) && release(lock, false) ? 0 : 1;
    };
    EXPECT_EQ(runInChild(body, {}, 60).getEnd(), "exit 0");
    ::close(pipe);
}

// To wait for the end of the lease would end in a success, after the time that the system gives.
TEST_F(qzLockFileTest, WaitsForNoEndOfALease)
{
    mFolder.write("lock", "");
    const int leased = ::open(mPath.c_str(), O_RDWR | O_CLOEXEC);
    const auto oldAction = ::signal(SIGIO, SIG_IGN);  // the system's request to end the lease
    const bool hasLease = ::fcntl(leased, F_SETLEASE, F_WRLCK) == 0;
    qzLockFile lock;
    const bool isTaken = hasLease && take(lock);
    ::close(leased);
    ::signal(SIGIO, oldAction);
    if (!hasLease) GTEST_SKIP() << "this file system has no leases";
    EXPECT_FALSE(isTaken);
    EXPECT_EQ(mError, "Fail to open lock file in w+, " + SystemError(EWOULDBLOCK).toString());
    EXPECT_TRUE(take(lock)) << mError;
}

static int gLeased = -1;

// The first attempt to open the file fails, as if it were missing, and the second one finds it.
TEST_F(qzLockFileTest, KeepsTheContentOfAFileThatAppearsDuringTheAttempt)
{
    const std::string content(200, '#');
    support::writeFile(mPath, content);
    gLeased = ::open(mPath.c_str(), O_RDWR | O_CLOEXEC);
    const auto oldAction = ::signal(SIGIO, [](int) { ::fcntl(gLeased, F_SETLEASE, F_UNLCK); });
    const bool hasLease = ::fcntl(gLeased, F_SETLEASE, F_WRLCK) == 0;
    qzLockFile lock;
    const bool isTaken = take(lock, kShared);
    ::signal(SIGIO, oldAction);
    ::close(gLeased);
    if (!hasLease) GTEST_SKIP() << "this file system has no leases";
    EXPECT_TRUE(isTaken) << mError;
    EXPECT_FALSE(mWasThere);
    EXPECT_EQ(read(), describeTaker() + content.substr(describeTaker().size()));
    qzLockFile other;
    EXPECT_FALSE(take(other, kShared)) << "it holds the file alone";
}

TEST_F(qzLockFileTest, TakesNoTerminalAsThatOfTheProcess)
{
    const support::ChildResult child = runInChild([&] {
        const int screen = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        char path[100] = "";
        if (::setsid() < 0 || ::grantpt(screen) != 0 || ::unlockpt(screen) != 0) return 1;
        if (::ptsname_r(screen, path, sizeof path) != 0) return 2;
        qzLockFile lock;
        if (!lock.takeLockUtf8(path, nullptr, kExclusive, nullptr)) return 3;
        if (!lock.releaseLock(false, nullptr)) return 4;
        return ::open("/dev/tty", O_RDWR) < 0 && errno == ENXIO ? 0 : 5;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
}

TEST_F(qzLockFileTest, ReportsThatNoDescriptorIsLeft)
{
    // The sanitizer examines the fixture by a descriptor.
    const std::string path = mPath;
    std::string error;
    qzLockFile lock;
    bool isTaken = true;
    {
        const support::DescriptorLimit noneLeft(0);
        isTaken = lock.takeLockUtf8(path, nullptr, kExclusive, &error);
    }
    EXPECT_FALSE(isTaken);
    EXPECT_EQ(error, "Fail to open lock file in w+, " + SystemError(EMFILE).toString());
}

TEST_F(qzLockFileTest, IsTakenOnAFullDiskWithoutItsText)
{
    const support::ChildResult child = runInChild([&] {
        if (!support::mountSmallDisk(mFolder.getPath(), "64k")) return support::kNoSmallDisk;
        support::writeFile(mPath, "");
        const int filler = ::open(mFolder.getPath("filler").c_str(), O_CREAT | O_WRONLY, 0600);
        const std::string block(1024, 'x');
        while (::write(filler, block.data(), block.size()) > 0) {
        }
        for (const auto type : {kExclusive, kShared}) {
            qzLockFile lock;
            if (!take(lock, type)) return 1;
            // The text must not come when the lock may be another one's.
            if (::ftruncate(filler, 0) != 0 || !release(lock, false) || !read().empty()) return 2;
            if (::lseek(filler, 0, SEEK_SET) != 0) return 3;
            while (::write(filler, block.data(), block.size()) > 0) {
            }
        }
        return 0;
    });
    if (child.exitCode == support::kNoSmallDisk) GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(child.getEnd(), "exit 0");
}

TEST_F(qzLockFileTest, IsRefusedWithoutTheRightToTheFileOrToItsRemoval)
{
    mFolder.write("lock", "");
    ASSERT_EQ(::chmod(mFolder.getPath().c_str(), 0555), 0);
    ASSERT_EQ(::chmod(mPath.c_str(), 0444), 0);
    const support::ChildResult child = runInChild([&] {
        support::becomeNobody();
        qzLockFile lock;
        if (take(lock)) return 1;
        return mError == "Fail to open lock file in w+, " + SystemError(EACCES).toString() ? 0 : 2;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    ASSERT_EQ(::chmod(mPath.c_str(), 0666), 0);
    const support::ChildResult remover = runInChild([&] {
        support::becomeNobody();
        qzLockFile lock;
        if (!take(lock)) return 1;
        return !release(lock, true) && mError == "Fail to remove lock file" && hasFile() ? 0 : 2;
    });
    ::chmod(mFolder.getPath().c_str(), 0755);
    EXPECT_EQ(remover.getEnd(), "exit 0");
}

TEST_F(qzLockFileTest, MakesTheFileForEverybodyWithinTheUmask)
{
    const mode_t before = ::umask(0);
    qzLockFile lock;
    EXPECT_TRUE(take(lock));
    ::umask(before);
    EXPECT_EQ(std::filesystem::status(mPath).permissions(), std::filesystem::perms(0666));
}

TEST_F(qzLockFileTest, ItsDescriptorIsNotInherited)
{
    const std::size_t before = support::countOpenDescriptors();
    qzLockFile lock;
    ASSERT_TRUE(take(lock));
    EXPECT_EQ(support::countOpenDescriptors(), before + 1);
    for (int descriptor = 3; descriptor < 64; ++descriptor) {
        struct stat status = {};
        struct stat atPath = {};
        ::stat(mPath.c_str(), &atPath);
        if (::fstat(descriptor, &status) == 0 && status.st_ino == atPath.st_ino) {
            EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC);
        }
    }
    EXPECT_TRUE(release(lock, true));
    EXPECT_EQ(support::countOpenDescriptors(), before);
}

// --- The check of the protocol

// What happens to the files of a folder during its life, as the system reports it.
class FolderWatch {
public:
    explicit FolderWatch(const std::string& folder) : mQueue(::inotify_init1(IN_NONBLOCK))
    {
        ::inotify_add_watch(
            mQueue, folder.c_str(),
            IN_CREATE | IN_OPEN | IN_MODIFY | IN_CLOSE_WRITE | IN_DELETE | IN_EXCL_UNLINK);
    }
    ~FolderWatch() { ::close(mQueue); }
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    // A word for each event of a file, which is written when its lock is taken.
    std::string getEvents(const std::string& file) const
    {
        std::string events;
        alignas(inotify_event) std::array<char, 16'384> buffer;
        const ssize_t read = ::read(mQueue, buffer.data(), buffer.size());
        const std::size_t size = read > 0 ? static_cast<std::size_t>(read) : 0;
        for (std::size_t at = 0; at < size;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(&buffer[at]);
            if (file == event->name) events += getWord(event->mask);
            at += sizeof *event + event->len;
        }
        return events;
    }

private:
    static const char* getWord(unsigned int mask)
    {
        if ((mask & IN_CREATE) != 0) return "made ";
        if ((mask & IN_OPEN) != 0) return "opened ";
        if ((mask & IN_MODIFY) != 0) return "taken ";
        return (mask & IN_DELETE) != 0 ? "removed " : "closed ";
    }

    int mQueue;
};

TEST_F(qzLockFileTest, TheCheckTakesEachStepOfItsFirstHalf)
{
    support::writeFile(mFolder.getPath() + "/file_ex.lock", "of an earlier run");
    const FolderWatch watch(mFolder.getPath());
    EXPECT_FALSE(qzLockFile::UnitTestUtf8(mFolder.getPath()));
    EXPECT_EQ(watch.getEvents("file_ex.lock"),
              "removed made opened taken opened closed removed "
              "made opened taken closed opened taken removed ");
}

TEST_F(qzLockFileTest, TheCheckEndsAtItsSharedTaker)
{
    const FolderWatch watch(mFolder.getPath());
    EXPECT_FALSE(qzLockFile::UnitTestUtf8(mFolder.getPath()));
    EXPECT_EQ(watch.getEvents("file_shared.lock"),
              "made opened taken opened closed removed "
              "made opened taken opened closed opened closed removed ");
    EXPECT_FALSE(std::filesystem::exists(mFolder.getPath() + "/file_shared.lock"));
}

TEST_F(qzLockFileTest, TheCheckEndsAtOnceWhenItsFileCannotBeMade)
{
    std::filesystem::create_directories(mFolder.getPath() + "/file_ex.lock/inner");
    EXPECT_FALSE(qzLockFile::UnitTestUtf8(mFolder.getPath()));
    EXPECT_TRUE(std::filesystem::exists(mFolder.getPath() + "/file_ex.lock/inner"));
}

TEST_F(qzLockFileTest, TheCheckEndsInAFolderThatIsMissing)
{
    EXPECT_FALSE(qzLockFile::UnitTestUtf8(mFolder.getPath("missing")));
}

TEST(qzLockFileAlone, TakesItsPathInTheLocalCharacterSetAndWritesPlainDigits)
{
    const support::ScratchFolder folder;
    const auto body = [&] {
        const support::EnvironmentLocale locale("en_US.ISO-8859-1");
        const support::LibraryStart start;
        std::locale::global(std::locale("en_US.ISO-8859-1"));
        const std::string file = folder.getPath("l\xE9");
        qzLockFile lock;
        if (!lock.takeLockUtf8(folder.getPath("l\u00e9"), nullptr, kExclusive, nullptr)) return 1;
        const std::string content = "Lock from PID : " + std::to_string(::getpid()) + ", TID : ";
        if (support::readFile(file).rfind(content, 0) != 0) return 2;
        return lock.releaseLock(true, nullptr) && !std::filesystem::exists(file) ? 0 : 3;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST(qzLockFileAlone, FailsWithoutAStart)
{
    const support::ScratchFolder folder;
    const auto body = [&] {
        qzLockFile lock;
        std::string error;
        const bool isTaken = lock.takeLockUtf8(folder.getPath("lock"), nullptr, kExclusive, &error);
        return isTaken || lock.releaseLock(true, &error) || error != "File is not locked" ? 1 : 0;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
    const auto afterAStop = [&] {
        {
            const support::LibraryStart start(FullInit);
        }
        return body();
    };
    EXPECT_EQ(runInChild(afterAStop).getEnd(), "exit 0");
}

}  // namespace qz
