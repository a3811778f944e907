// SPDX-License-Identifier: MIT
#include <qz/qzMutex.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/SystemError.h>
#include <qz/qzRandomUtils.h>

#include "PlatformCalls.h"
#include "Waiter.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/LogCapture.h"
#include "support/OutputCapture.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::LogCapture;
using support::runInChild;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

static_assert(sizeof(qzMutexSystem) == 8 && !std::is_polymorphic_v<qzMutexSystem>);
static_assert(!std::is_copy_constructible_v<qzMutexSystem>);
static_assert(std::is_nothrow_destructible_v<qzMutexSystem>);

namespace fs = std::filesystem;

// A name that no other test has, nor one that runs at the same time.
std::string makeName(const std::string& end = "")
{
    static int number = 0;
    return "qz-test-" + std::to_string(::getpid()) + '-' + std::to_string(++number) + end;
}

std::string makePath(const std::string& fileName)
{
    return "/var/lock/" + fileName;
}

std::string describeFailure(const std::string& name, int error)
{
    return "Fail to create lock for file '" + name + "' error " + SystemError(error).toString();
}

ino_t getFileNumber(const std::string& path)
{
    struct stat info = {};
    EXPECT_EQ(::stat(path.c_str(), &info), 0);
    return info.st_ino;
}

// Whether nobody has the lock of a file, seen from outside of all objects.
bool isFree(const std::string& path)
{
    const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_GE(fd, 0) << path;
    const bool result = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
    ::close(fd);
    return result;
}

int fillWithOnes(unsigned char* buffer, int size)
{
    std::fill(buffer, buffer + size, static_cast<unsigned char>(0xFF));
    return 1;
}

int fillWithZeros(unsigned char* buffer, int size)
{
    std::fill(buffer, buffer + size, static_cast<unsigned char>(0));
    return 1;
}

class RandomGenerator {
public:
    explicit RandomGenerator(qzRandomUtils::Generator generator)
    {
        qzRandomUtils::SetRandGenerator(generator);
    }
    ~RandomGenerator() { qzRandomUtils::SetRandGenerator(nullptr); }
    RandomGenerator(const RandomGenerator&) = delete;
    RandomGenerator& operator=(const RandomGenerator&) = delete;
};

std::set<std::string> listRandomNames()
{
    std::set<std::string> names;
    const ::testing::Matcher<std::string> isRandom =
        ::testing::MatchesRegex("[0-9a-f]{12}4[0-9a-f]{3}[89ab][0-9a-f]{15}");
    for (const fs::directory_entry& entry : fs::directory_iterator("/var/lock")) {
        const std::string name = entry.path().filename();
        if (isRandom.Matches(name)) names.insert(name);
    }
    return names;
}

}  // namespace

class qzMutexSystemTest : public ::testing::Test {
protected:
    LibraryStart mLibrary{FullInit};
};

// --- The file

struct FileNameRow {
    const char* name;
    const char* given;
    const char* fileName;
};

class qzMutexSystemFile : public ::testing::TestWithParam<FileNameRow> {
protected:
    support::EnvironmentLocale mLocale{"de_DE.UTF-8"};
    LibraryStart mLibrary{FullInit};
};

TEST_P(qzMutexSystemFile, HasTheNameOfItsRow)
{
    const std::string end = makeName();
    const std::string path = makePath(GetParam().fileName + end);
    {
        const qzMutexSystem mutex((GetParam().given + end).c_str());
        EXPECT_TRUE(fs::is_regular_file(path)) << path;
    }
    EXPECT_FALSE(fs::exists(path));
}

constexpr FileNameRow kFileNames[] = {
    {"Plain", "plain", "plain"},          {"SlashAndDot", "a/b.c", "a_b_c"},
    {"SlashesAtItsEnds", "/a//", "_a__"}, {"WayUp", "../../etc/", "______etc_"},
    {"Blanks", " a b ", " a b "},         {"OtherMarks", "a_b-c\\d'", "a_b-c\\d'"},
    {"Utf8", "\xc3\xa9", "\xc3\xa9"},
};

INSTANTIATE_TEST_SUITE_P(Rows, qzMutexSystemFile, ::testing::ValuesIn(kFileNames),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzMutexSystemLocale, DecidesHowTheFileIsNamed)
{
    const support::EnvironmentLocale locale("en_US.ISO-8859-1");
    const LibraryStart library(FullInit);
    const std::string end = makeName();
    const std::string path = makePath('\xe9' + end);
    {
        const qzMutexSystem mutex(("\xc3\xa9" + end).c_str());
        EXPECT_TRUE(fs::exists(path));
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(qzMutexSystemTest, KeepsTheContentOfAnExistingFile)
{
    const std::string name = makeName();
    support::writeFile(makePath(name), "left over");
    const qzMutexSystem mutex(name.c_str());
    EXPECT_EQ(support::readFile(makePath(name)), "left over");
}

TEST_F(qzMutexSystemTest, ReportsALinkInItsPlaceAndLeavesItsTargetAlone)
{
    const LogCapture log;
    const support::ScratchFolder folder;
    const std::string target = folder.getPath("target");
    support::writeFile(target, "somebody's data");
    const std::string name = makeName();
    fs::create_symlink(target, makePath(name));
    {
        qzMutexSystem mutex(name.c_str());
        mutex.lock();
        EXPECT_TRUE(isFree(target));
        mutex.unlock();
    }
    EXPECT_THAT(log.getMessages(), ElementsAre(describeFailure(name, ELOOP)));
    EXPECT_EQ(support::readFile(target), "somebody's data");
    EXPECT_TRUE(fs::is_symlink(makePath(name)));
    fs::remove(makePath(name));
}

TEST_F(qzMutexSystemTest, MakesNoFileThroughALinkInItsPlace)
{
    const LogCapture log;
    const support::ScratchFolder folder;
    const std::string name = makeName();
    fs::create_symlink(folder.getPath("missing"), makePath(name));
    const qzMutexSystem mutex(name.c_str());
    EXPECT_FALSE(fs::exists(folder.getPath("missing")));
    fs::remove(makePath(name));
}

TEST_F(qzMutexSystemTest, OwnsOneDescriptor)
{
    const std::size_t before = support::countOpenDescriptors();
    {
        const qzMutexSystem mutex(makeName().c_str());
        EXPECT_EQ(support::countOpenDescriptors(), before + 1);
    }
    EXPECT_EQ(support::countOpenDescriptors(), before);
}

TEST_F(qzMutexSystemTest, SharesTheFileWithAnObjectOfTheSameName)
{
    const std::string name = makeName();
    const qzMutexSystem first(name.c_str());
    const ino_t number = getFileNumber(makePath(name));
    const qzMutexSystem second(name.c_str());
    EXPECT_EQ(getFileNumber(makePath(name)), number);
}

TEST_F(qzMutexSystemTest, GoesOnWithoutANameWhenTheOtherHasLeft)
{
    const std::string name = makeName();
    const std::string path = makePath(name);
    auto first = std::make_unique<qzMutexSystem>(name.c_str());
    qzMutexSystem second(name.c_str());
    const ino_t number = getFileNumber(path);
    first.reset();
    ASSERT_FALSE(fs::exists(path));
    second.lock();
    // The next to come has a new file, and nothing in common with the one that is left.
    qzMutexSystem third(name.c_str());
    EXPECT_NE(getFileNumber(path), number);
    ASSERT_TRUE(isFree(path));
    third.lock();
    EXPECT_FALSE(isFree(path));
}

TEST_F(qzMutexSystemTest, EndsInSilenceWhenTheFileHasGone)
{
    const LogCapture log;
    const std::string name = makeName();
    {
        qzMutexSystem mutex(name.c_str());
        ASSERT_TRUE(fs::remove(makePath(name)));
        mutex.lock();
        mutex.unlock();
    }
    EXPECT_THAT(log.getLines(), IsEmpty());
}

// --- Random names

TEST_F(qzMutexSystemTest, TakesARandomNameOfVersion4ForNoName)
{
    const std::set<std::string> before = listRandomNames();
    {
        const qzMutexSystem first(nullptr);
        const qzMutexSystem second(nullptr);
        EXPECT_EQ(listRandomNames().size(), before.size() + 2);
    }
    EXPECT_EQ(listRandomNames(), before);
}

TEST_F(qzMutexSystemTest, SetsTheVersionAndTheVariantOfARandomName)
{
    {
        const RandomGenerator generator(&fillWithOnes);
        const qzMutexSystem mutex(nullptr);
        EXPECT_TRUE(fs::exists("/var/lock/ffffffffffff4fffbfffffffffffffff"));
    }
    const RandomGenerator generator(&fillWithZeros);
    const qzMutexSystem mutex(nullptr);
    EXPECT_TRUE(fs::exists("/var/lock/00000000000040008000000000000000"));
}

// --- The lock

TEST_F(qzMutexSystemTest, LocksAndUnlocksTheFile)
{
    const std::string name = makeName();
    qzMutexSystem mutex(name.c_str());
    EXPECT_TRUE(isFree(makePath(name)));
    mutex.lock();
    EXPECT_FALSE(isFree(makePath(name)));
    mutex.unlock();
    EXPECT_TRUE(isFree(makePath(name)));
}

TEST_F(qzMutexSystemTest, GivesTheLockBackWhenItGoes)
{
    const std::string name = makeName();
    auto mutex = std::make_unique<qzMutexSystem>(name.c_str());
    const qzMutexSystem other(name.c_str());
    mutex->lock();
    fs::create_hard_link(makePath(name), makePath(name + "-link"));
    mutex.reset();
    EXPECT_TRUE(isFree(makePath(name + "-link")));
    fs::remove(makePath(name + "-link"));
}

TEST_F(qzMutexSystemTest, LetsAllThreadsInThatShareTheObject)
{
    const std::string name = makeName();
    qzMutexSystem mutex(name.c_str());
    mutex.lock();
    const Waiter waiter([&] { mutex.lock(); });
    EXPECT_TRUE(waiter.awaitDone());
    mutex.unlock();
    EXPECT_TRUE(isFree(makePath(name))) << "it doesn't count";
}

// A program that a process starts doesn't keep the lock of a process that has died.
TEST_F(qzMutexSystemTest, IsNotInheritedByPrograms)
{
    const std::string name = makeName();
    const qzMutexSystem mutex(name.c_str());
    const ChildResult result = runInChild([] {
        ::execlp("sh", "sh", "-c", "ls -l /proc/self/fd", nullptr);
        return 1;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.out, Not(HasSubstr(name)));
}

// The thread sanitizer runs a handler of `sigaction` when the thread returns from a call that the
// sanitizer knows, and flock is none. This is the same function by a name that it doesn't replace.
extern "C" int __sigaction(int signal, const struct sigaction* action,
                           struct sigaction* old) noexcept;

int gSignals = 0;

// For the same reason the handler uses nothing that the sanitizer has to see.
__attribute__((no_sanitize("thread"))) void countSignal(int /*signal*/)
{
    __atomic_fetch_add(&gSignals, 1, __ATOMIC_RELAXED);
}

// A signal whose handler doesn't restart interrupted calls.
class CountedSignal {
public:
    CountedSignal()
    {
        gSignals = 0;
        struct sigaction action = {};
        action.sa_handler = &countSignal;
        __sigaction(SIGUSR2, &action, &mOld);
    }
    ~CountedSignal() { __sigaction(SIGUSR2, &mOld, nullptr); }
    CountedSignal(const CountedSignal&) = delete;
    CountedSignal& operator=(const CountedSignal&) = delete;

private:
    struct sigaction mOld = {};
};

TEST_F(qzMutexSystemTest, WaitsOnForTheLockAfterASignalHasBeenHandled)
{
    const CountedSignal signal;
    const std::string name = makeName();
    auto holder = std::make_unique<qzMutexSystem>(name.c_str());
    qzMutexSystem mutex(name.c_str());
    holder->lock();
    std::atomic<pthread_t> thread = 0;
    const Waiter waiter([&] {
        thread = ::pthread_self();
        mutex.lock();
        mutex.unlock();
    });
    ASSERT_TRUE(support::waitUntil([&] { return thread != 0; }));
    // The first signals may come before the wait.
    for (int i = 1; i <= 20; ++i) {
        ::pthread_kill(thread, SIGUSR2);
        ASSERT_TRUE(
            support::waitUntil([&] { return __atomic_load_n(&gSignals, __ATOMIC_RELAXED) >= i; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ASSERT_FALSE(waiter.isDone()) << "it has no lock";
    }
    holder->unlock();
    EXPECT_TRUE(waiter.awaitDone());
}

TEST_F(qzMutexSystemTest, TakesAnExclusiveLockOfTheSystem)
{
    EXPECT_EQ(getPlatformCalls({"system-lock", makeName()}), "flock 2\nflock 8\n");
}

// Memory that processes share.
struct Shared {
    std::atomic<int> opened;
    std::atomic<int> inside;
    std::atomic<int> most;
    volatile long count;  // not atomic: the lock alone guards it

    static Shared& make()
    {
        void* const page = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                  MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        return *static_cast<Shared*>(page);
    }
};

TEST_F(qzMutexSystemTest, KeepsProcessesApart)
{
    constexpr int kProcesses = 3;
    constexpr int kRounds = 500;
    Shared& shared = Shared::make();
    const std::string name = makeName();
    // A process a thread, since a thread here waits for the end of its process.
    const auto runProcess = [&] {
        const ChildResult result = runInChild([&] {
            qzMutexSystem mutex(name.c_str());
            ++shared.opened;
            // Who came later would find a file of another name, had one left.
            while (shared.opened != kProcesses)
                std::this_thread::yield();
            for (int i = 0; i < kRounds; ++i) {
                mutex.lock();
                const int inside = ++shared.inside;
                if (inside > shared.most) shared.most = inside;
                const long before = shared.count;
                std::this_thread::yield();  // the others get their chance to do wrong
                shared.count = before + 1;
                --shared.inside;
                mutex.unlock();
            }
            return 0;
        });
        EXPECT_EQ(result.getEnd(), "exit 0");  // one that never comes is ended as hanging
    };
    const support::StdoutCapture quiet;  // the children report that they are forked
    {
        const Waiter first(runProcess);
        const Waiter second(runProcess);
        const Waiter third(runProcess);
    }
    EXPECT_EQ(shared.count, kProcesses * kRounds);
    EXPECT_EQ(shared.most, 1);
    ::munmap(&shared, sizeof shared);
}

TEST_F(qzMutexSystemTest, IsFreeWhenItsProcessHasDied)
{
    const std::string name = makeName();
    qzMutexSystem mutex(name.c_str());
    const ChildResult result = runInChild([&] {
        qzMutexSystem same(name.c_str());
        same.lock();
        ::kill(::getpid(), SIGKILL);
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "signal 9");
    EXPECT_TRUE(isFree(makePath(name)));
}

// --- Failures

struct FailureRow {
    const char* name;
    std::string given;
    int error;
};

class qzMutexSystemFailure : public ::testing::TestWithParam<FailureRow> {
protected:
    LibraryStart mLibrary{FullInit};
};

TEST_P(qzMutexSystemFailure, IsReportedAndLeavesALockThatDoesNothing)
{
    const LogCapture log;
    {
        qzMutexSystem mutex(GetParam().given.c_str());
        const std::vector<qzLog::LogEntry> entries = log.getEntries();
        ASSERT_EQ(entries.size(), 1U);
        EXPECT_EQ(entries[0].message, describeFailure(GetParam().given, GetParam().error));
        EXPECT_EQ(entries[0].type, qzLog::Critical);
        EXPECT_EQ(entries[0].systemLogTag, "qzSystem");
        EXPECT_EQ(entries[0].subType, "");
        mutex.lock();
        mutex.lock();
        mutex.unlock();
    }
    EXPECT_EQ(log.getEntries().size(), 1U);
}

const FailureRow kFailures[] = {
    {"EmptyName", "", EISDIR},
    {"LongName", std::string(300, 'x'), ENAMETOOLONG},
    {"NoUtf8", "\xff", ENOENT},
};

INSTANTIATE_TEST_SUITE_P(Rows, qzMutexSystemFailure, ::testing::ValuesIn(kFailures),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzMutexSystemPermission, IsReportedWhenItIsMissing)
{
    const std::string name = makeName("/a.b");
    std::string fileName = name;
    std::replace(fileName.begin(), fileName.end(), '/', '_');
    std::replace(fileName.begin(), fileName.end(), '.', '_');
    support::writeFile(makePath(fileName), "not mine");
    fs::permissions(makePath(fileName), fs::perms::none);
    const ChildResult result = runInChild([&] {
        support::becomeNobody();
        const LibraryStart library;
        const LogCapture log;
        {
            qzMutexSystem mutex(name.c_str());
            mutex.lock();
            mutex.unlock();
        }
        for (const std::string& message : log.getMessages())
            std::cout << message << '\n';
        return 0;
    });
    EXPECT_EQ(result.out,
              describeFailure(name, EACCES) + "\nMutex created before full init of qzSystem\n");
    EXPECT_TRUE(fs::exists(makePath(fileName))) << "the file of somebody else";
    fs::remove(makePath(fileName));
}

TEST_F(qzMutexSystemTest, NamesTheArgumentInItsReportAndNotTheFile)
{
    const LogCapture log;
    const support::DescriptorLimit noneLeft(0);
    const qzMutexSystem withoutName(nullptr);
    const qzMutexSystem withName("a/b.c");
    EXPECT_THAT(log.getMessages(), ElementsAre(describeFailure("[NullPtr]", EMFILE),
                                               describeFailure("a/b.c", EMFILE)));
}

}  // namespace qz
