// Locks among objects of this process, and among processes.

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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

#include "io/VirtualSlots.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

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

namespace {

constexpr auto kExclusive = qzLockFile::LockExclusive;
constexpr auto kShared = qzLockFile::LockShared;

const std::string kRefused =
    "Fail to acquire lock on existing file, " + SystemError(EWOULDBLOCK).toString();

}  // namespace

class qzLockFileTest : public ::testing::Test {
protected:
    bool take(qzLockFile& lock, qzLockFile::LockType type = kExclusive)
    {
        mWasThere = true;
        mError = "old";
        return lock.takeLockUtf8(mPath, &mWasThere, type, &mError);
    }
    bool release(qzLockFile& lock, bool removeFile)
    {
        mError = "old";
        return lock.releaseLock(removeFile, &mError);
    }
    bool hasFile() const { return std::filesystem::exists(mPath); }
    std::string read() const { return support::readFile(mPath); }

    support::LibraryStart mStart;
    support::ScratchFolder mFolder;
    std::string mPath = mFolder.getPath("lock");
    bool mWasThere = false;
    std::string mError;
};

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
    EXPECT_EQ(read(), "Lock from PID : " + std::to_string(::getpid()) +
                          ", TID : " + qzThread::CurrentThreadId());
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
    const std::string own =
        "Lock from PID : " + std::to_string(::getpid()) + ", TID : " + qzThread::CurrentThreadId();
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

// Without its descriptor, an object can't know whose file is at the path, and leaves it there.
TEST_F(qzLockFileTest, ReportsThatItsDescriptorWasClosed)
{
    const std::string text = "Fail to release lock on file, " + SystemError(EBADF).toString();
    for (const bool removeFile : {false, true}) {
        qzLockFile lock;
        ASSERT_TRUE(take(lock));
        ::close(qzLockFileTestPeer::getDescriptor(lock));
        EXPECT_FALSE(release(lock, removeFile));
        EXPECT_EQ(mError, removeFile ? text + ", Fail to remove lock file" : text);
        EXPECT_FALSE(lock.isLocked());
        EXPECT_EQ(qzLockFileTestPeer::getPath(lock), "");
    }
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

// --- Other processes

TEST_F(qzLockFileTest, TakesOverTheFileOfAKilledProcess)
{
    const auto body = [this] {
        qzLockFile lock;
        if (!take(lock)) return 1;
        ::raise(SIGKILL);
        return 2;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "signal 9");
    EXPECT_TRUE(hasFile());
    qzLockFile lock;
    EXPECT_TRUE(take(lock));
    EXPECT_TRUE(mWasThere);
}

TEST_F(qzLockFileTest, AForkedChildLeavesTheLockToItsParent)
{
    auto lock = std::make_unique<qzLockFile>();
    ASSERT_TRUE(take(*lock));
    EXPECT_EQ(runInChild([&] { return lock->releaseLock(true, nullptr) ? 0 : 1; }).getEnd(),
              "exit 0");
    const auto destroy = [&] {
        lock.reset();
        return 0;
    };
    EXPECT_EQ(runInChild(destroy).getEnd(), "exit 0");
    EXPECT_TRUE(hasFile());
    qzLockFile other;
    EXPECT_FALSE(take(other));
    EXPECT_TRUE(release(*lock, true));
    EXPECT_FALSE(hasFile());
}

// The system then knows no owner of the open file any longer.
TEST_F(qzLockFileTest, AForkedChildLeavesTheLockOfAnEndedParentToItsDescriptor)
{
    const auto parent = [this] {
        qzLockFile lock;
        if (!take(lock)) return 1;
        const pid_t self = ::getpid();
        if (::fork() != 0) ::_exit(0);
        while (::getppid() == self)
            ::usleep(1000);
        const bool isReleased = lock.releaseLock(true, nullptr);
        support::writeFile(mFolder.getPath("done"), isReleased && hasFile() ? "left" : "removed");
        ::_exit(0);
    };
    EXPECT_EQ(runInChild(parent).getEnd(), "exit 0");
    const std::string done = mFolder.getPath("done");
    const auto isDone = [&] {
        return std::filesystem::exists(done) && !support::readFile(done).empty();
    };
    EXPECT_TRUE(support::waitUntil(isDone));
    EXPECT_EQ(support::readFile(done), "left");
}

TEST_F(qzLockFileTest, AChildOfAnyKindOfForkLeavesTheLockToItsParent)
{
    support::writeFile(mPath, "");
    for (const auto type : {kExclusive, kShared}) {
        qzLockFile lock;
        ASSERT_TRUE(take(lock, type));
        const pid_t child = ::_Fork();  // without the handlers of a fork
        if (child == 0) ::_exit(lock.releaseLock(true, nullptr) && !lock.isLocked() ? 0 : 1);
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        EXPECT_TRUE(hasFile());
        qzLockFile other;
        EXPECT_FALSE(take(other)) << "the child has released it";
        EXPECT_TRUE(release(lock, false));
    }
}

TEST_F(qzLockFileTest, AForkedChildKeepsItsLockFromAChildOfItsOwn)
{
    const auto body = [this] {
        qzLockFile lock;
        if (!take(lock)) return 1;
        const auto grandchild = [&] { return lock.releaseLock(true, nullptr) ? 0 : 1; };
        if (runInChild(grandchild).getEnd() != "exit 0" || !hasFile()) return 2;
        return release(lock, true) && !hasFile() ? 0 : 3;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST_F(qzLockFileTest, AForkedChildHasLocksOfItsOwn)
{
    const auto body = [this] {
        qzLockFile lock;
        return take(lock) && release(lock, true) && !hasFile() ? 0 : 1;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

// --- The check of the protocol

TEST_F(qzLockFileTest, TheCheckEndsAtItsSharedTaker)
{
    const std::string exclusiveFile = mFolder.getPath() + "/file_ex.lock";
    support::writeFile(exclusiveFile, "of an earlier run");
    EXPECT_FALSE(qzLockFile::UnitTestUtf8(mFolder.getPath()));
    EXPECT_FALSE(std::filesystem::exists(exclusiveFile)) << "its first half has passed";
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
