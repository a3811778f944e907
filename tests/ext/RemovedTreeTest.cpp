// SPDX-License-Identifier: MIT
#include <qz/ext/SafeFiles.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <random>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/SystemError.h>
#include <qz/qzCancelInterface.h>

#include "ext/SafeFilesFixture.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/Limits.h"
#include "support/SmallDisk.h"

namespace qz::ext {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

// A tree "F/root", and a folder beside it that must stay as it is.
class RemovedTreeTest : public SafeFilesTest {
protected:
    // On some disks, a new file takes milliseconds.
    RemovedTreeTest() : SafeFilesTest(Place::Memory) { makeTree(mForeign, 12); }
    ~RemovedTreeTest() override
    {
        if (fs::exists(mRoot)) removeTreeNoFollow(mRoot);
    }

    // Makes a folder with `depth` levels below it, each a folder "d". It has a file, and empty
    // folders that are made before and after it, so that one of them is listed after it.
    static void makeTree(const std::string& path, int depth)
    {
        fs::create_directory(path);
        std::string folder = path;
        for (int level = 0; level <= depth; ++level, folder += "/d") {
            support::writeFile(folder + "/file", "content");
            fs::create_directory(folder + "/first");
            if (level < depth) fs::create_directory(folder + "/d");
            fs::create_directory(folder + "/last");
        }
    }
    // Allows other users to list the root, and no change of it.
    void makeReadOnly()
    {
        fs::permissions(mFolder.getPath(), fs::perms::all);
        fs::permissions(mRoot, fs::perms::owner_read | fs::perms::others_read |
                                   fs::perms::owner_exec | fs::perms::others_exec);
    }
    // Makes a folder with so many levels that its paths are too long for the system.
    void makeDeepTree(int depth)
    {
        fs::create_directory(mRoot);
        int folder = ::open(mRoot.c_str(), O_RDONLY | O_DIRECTORY);
        for (int level = 0; level < depth; ++level) {
            ::mkdirat(folder, "d", 0700);
            ::close(::openat(folder, "file", O_WRONLY | O_CREAT, 0600));
            const int next = ::openat(folder, "d", O_RDONLY | O_DIRECTORY);
            ::close(folder);
            folder = next;
        }
        ::close(folder);
    }
    bool isForeignWhole() const
    {
        std::string folder = mForeign;
        for (int level = 0; level <= 12; ++level, folder += "/d") {
            if (!fs::is_directory(folder + "/first") || !fs::is_directory(folder + "/last") ||
                !fs::is_regular_file(folder + "/file"))
                return false;
        }
        return true;
    }
    std::string getFailure(const RemovedTree& removed)
    {
        mFailure = removed.failure;
        return SafeFilesTest::getFailure();
    }

    const std::string mRoot = mFolder.getPath("root");
    const std::string mForeign = mFolder.getPath("foreign");
};

TEST_F(RemovedTreeTest, RemovesAllAndCountsIt)
{
    makeTree(mRoot, 20);
    fs::create_symlink(mForeign, mRoot + "/link");
    fs::create_symlink("nothing", mRoot + "/d/dangling");
    ASSERT_EQ(::mkfifo((mRoot + "/d/pipe").c_str(), 0600), 0);
    const RemovedTree removed = removeTreeNoFollow(mRoot);
    EXPECT_TRUE(removed) << removed.failure.toString();
    EXPECT_EQ(removed.removedCount, 21U * 4U + 3U);
    EXPECT_EQ(removed.failureCount, 0U);
    EXPECT_EQ(removed.failure.error, 0);
    EXPECT_THAT(list(), ElementsAre("foreign", "target"));
    EXPECT_TRUE(isForeignWhole());
}

TEST_F(RemovedTreeTest, RemovesAFileOrALinkItself)
{
    fs::create_symlink(mForeign, mFolder.getPath("link"));
    for (const char* path : {"target", "link///"}) {
        const RemovedTree removed = removeTreeNoFollow(mFolder.getPath(path));
        EXPECT_TRUE(removed) << removed.failure.toString();
        EXPECT_EQ(removed.removedCount, 1U);
    }
    EXPECT_THAT(list(), ElementsAre("foreign"));
    EXPECT_TRUE(isForeignWhole());
}

TEST_F(RemovedTreeTest, RemovesALinkOfOneLetterItself)
{
    const support::ChildResult child = support::runInChild([&] {
        fs::current_path(mFolder.getPath());
        fs::create_symlink(mForeign, "l");
        return removeTreeNoFollow("l/").removedCount == 1 ? kExpected : 1;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_THAT(list(), ElementsAre("foreign", "target"));
    EXPECT_TRUE(isForeignWhole());
}

TEST_F(RemovedTreeTest, RemovesAFolderOfManyFilesAndFolders)
{
    constexpr int kCount = 500;
    const std::string longName(100, 'n');
    fs::create_directory(mRoot);
    for (int i = 0; i < kCount; ++i) {
        support::writeFile(mRoot + "/file" + longName + std::to_string(i), "");
        fs::create_directory(mRoot + "/folder" + longName + std::to_string(i));
    }
    EXPECT_EQ(removeTreeNoFollow(mRoot).removedCount, 2U * kCount + 1U);
    EXPECT_FALSE(fs::exists(mRoot));
}

TEST_F(RemovedTreeTest, RefusesPathsThatNameNoEntry)
{
    const std::string invalid = SystemError(EINVAL).toString();
    for (const char* path : {"/", "//", ".", "..", "/tmp/.", "/tmp/..", "../"}) {
        const RemovedTree removed = removeTreeNoFollow(path);
        EXPECT_FALSE(removed);
        EXPECT_EQ(removed.failure.toString(), std::string("removal of ") + path + ": " + invalid);
    }
    EXPECT_EQ(removeTreeNoFollow("").failure.toString(),
              "conversion of the path '': " + SystemError(EILSEQ).toString());
    const std::string missing = SystemError(ENOENT).toString();
    EXPECT_EQ(getFailure(removeTreeNoFollow(mRoot)), "open F/root: " + missing);
    EXPECT_EQ(getFailure(removeTreeNoFollow(mRoot + "//")), "open F/root: " + missing);
    EXPECT_EQ(getFailure(removeTreeNoFollow(mRoot + "/file")),
              "open the folder of F/root/file: " + missing);
}

TEST_F(RemovedTreeTest, RemovesTheRestIfSomethingCantBeRemoved)
{
    makeTree(mRoot, 3);
    fs::permissions(mFolder.getPath(), fs::perms::all);
    for (const auto& entry : fs::recursive_directory_iterator(mRoot))
        fs::permissions(entry, fs::perms::all);
    fs::permissions(mRoot, fs::perms::all);
    // Neither can be read, nor can its content be removed.
    fs::permissions(mRoot + "/d/d", fs::perms::owner_exec);
    const support::ChildResult child = support::runInChild([&] {
        support::becomeNobody();
        const RemovedTree removed = removeTreeNoFollow(mRoot);
        return getFailure(removed) == "open F/root/d/d: " + SystemError(EACCES).toString() &&
                       removed.removedCount == 6 && removed.failureCount == 3
                   ? kExpected
                   : 1;
    });
    fs::permissions(mRoot + "/d/d", fs::perms::all);
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_THAT(list(mRoot), ElementsAre("d"));
    EXPECT_THAT(list(mRoot + "/d"), ElementsAre("d"));
    EXPECT_EQ(list(mRoot + "/d/d").size(), 4U);
}

TEST_F(RemovedTreeTest, NamesAFileThatCantBeRemoved)
{
    makeTree(mRoot, 0);
    makeReadOnly();
    const support::ChildResult child = support::runInChild([&] {
        support::becomeNobody();
        const RemovedTree removed = removeTreeNoFollow(mRoot);
        return getFailure(removed) == "unlink F/root/file: " + SystemError(EACCES).toString() &&
                       removed.removedCount == 0 && removed.failureCount == 4
                   ? kExpected
                   : 1;
    });
    fs::permissions(mRoot, fs::perms::all);
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_EQ(list(mRoot).size(), 3U);
}

TEST_F(RemovedTreeTest, NamesAFileAsItIsIfItsNameIsNoText)
{
    fs::create_directory(mRoot);
    support::writeFile(mRoot + "/\xff", "");
    makeReadOnly();
    const support::ChildResult child = support::runInChild([&] {
        support::becomeNobody();
        const RemovedTree removed = removeTreeNoFollow(mRoot);
        const std::string expected = "unlink F/root/\xff: " + SystemError(EACCES).toString();
        return getFailure(removed) == expected ? kExpected : 1;
    });
    fs::permissions(mRoot, fs::perms::all);
    EXPECT_EQ(child.exitCode, kExpected);
}

TEST_F(RemovedTreeTest, RemovesAnEmptyFolderThatCantBeRead)
{
    fs::create_directory(mRoot);
    fs::permissions(mFolder.getPath(), fs::perms::all);
    fs::permissions(mRoot, fs::perms::none);
    const support::ChildResult child = support::runInChild([&] {
        support::becomeNobody();
        return removeTreeNoFollow(mRoot).removedCount == 1 ? kExpected : 1;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_FALSE(fs::exists(mRoot));
}

TEST_F(RemovedTreeTest, NeedsNoRightToReadTheFolderOfTheRoot)
{
    const std::string folder = mFolder.getPath("folder");
    makeTree(mFolder.getPath("folder"), 0);
    fs::permissions(mFolder.getPath(), fs::perms::all);
    fs::permissions(folder, fs::perms::owner_write | fs::perms::others_write |
                                fs::perms::owner_exec | fs::perms::others_exec);
    const support::ChildResult child = support::runInChild([&] {
        support::becomeNobody();
        return removeTreeNoFollow(folder + "/file") ? kExpected : 1;
    });
    fs::permissions(folder, fs::perms::all);
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_THAT(list(folder), ElementsAre("first", "last"));
}

TEST_F(RemovedTreeTest, EntersNoOtherFileSystem)
{
    makeTree(mRoot, 1);
    const support::ChildResult child = support::runInChild([&] {
        const std::string mounted = mRoot + "/d/first";
        if (!support::mountSmallDisk(mounted, "64k")) return support::kNoSmallDisk;
        support::writeFile(mounted + "/file", "precious");
        const RemovedTree removed = removeTreeNoFollow(mRoot);
        if (getFailure(removed) != "enter F/root/d/first: " + SystemError(EXDEV).toString())
            return 1;
        return support::readFile(mounted + "/file") == "precious" ? kExpected : 2;
    });
    if (child.exitCode == support::kNoSmallDisk) GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(child.exitCode, kExpected);
}

// It has the number of the device, and is the same file system.
TEST_F(RemovedTreeTest, EntersNoFolderThatIsMountedFromElsewhere)
{
    makeTree(mRoot, 1);
    const support::ChildResult child = support::runInChild([&] {
        const std::string mounted = mRoot + "/d/last";
        if (!support::mountSmallDisk(mRoot + "/d/first", "64k") ||
            ::mount(mForeign.c_str(), mounted.c_str(), nullptr, MS_BIND, nullptr) != 0)
            return support::kNoSmallDisk;
        const RemovedTree removed = removeTreeNoFollow(mounted);
        return getFailure(removed) == "enter F/root/d/last: " + SystemError(EXDEV).toString() &&
                       removed.removedCount == 0
                   ? kExpected
                   : 1;
    });
    if (child.exitCode == support::kNoSmallDisk) GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_TRUE(isForeignWhole());
}

TEST_F(RemovedTreeTest, LeavesAFileSystemThatIsMountedAtTheRoot)
{
    fs::create_directory(mRoot);
    const support::ChildResult child = support::runInChild([&] {
        if (!support::mountSmallDisk(mRoot, "64k")) return support::kNoSmallDisk;
        support::writeFile(mRoot + "/file", "precious");
        if (getFailure(removeTreeNoFollow(mRoot)) !=
            "enter F/root: " + SystemError(EXDEV).toString())
            return 1;
        return support::readFile(mRoot + "/file") == "precious" ? kExpected : 2;
    });
    if (child.exitCode == support::kNoSmallDisk) GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(child.exitCode, kExpected);
}

// --- Depth and descriptors

TEST_F(RemovedTreeTest, RemovesATreeThatIsDeeperThanTheDescriptorsAndThePathsOfTheSystem)
{
    constexpr int kDepth = 5000;
    makeDeepTree(kDepth);
    const support::ResourceLimit limit(RLIMIT_NOFILE, 32);
    const RemovedTree removed = removeTreeNoFollow(mRoot);
    EXPECT_TRUE(removed) << removed.failure.error;
    EXPECT_EQ(removed.removedCount, 2U * kDepth + 1U);
    EXPECT_FALSE(fs::exists(mRoot));
}

TEST_F(RemovedTreeTest, NeedsThreeDescriptors)
{
    makeTree(mRoot, 30);
    makeTree(mRoot + "/first/again", 30);  // after the way back from the first branch
    makeTree(mRoot + "/last/again", 30);
    {
        const support::DescriptorLimit limit(2);
        const RemovedTree removed = removeTreeNoFollow(mRoot);
        EXPECT_EQ(removed.failure.error, EMFILE);
        EXPECT_FALSE(removed);
    }
    const support::DescriptorLimit limit(3);
    const RemovedTree removed = removeTreeNoFollow(mRoot);
    EXPECT_TRUE(removed) << removed.failure.toString();
    EXPECT_FALSE(fs::exists(mRoot));
}

TEST_F(RemovedTreeTest, LeavesNoDescriptor)
{
    makeTree(mRoot, 30);
    const std::size_t before = support::countOpenDescriptors();
    EXPECT_TRUE(removeTreeNoFollow(mRoot));
    EXPECT_FALSE(removeTreeNoFollow(mRoot));
    EXPECT_EQ(support::countOpenDescriptors(), before);
}

TEST_F(RemovedTreeTest, UsesAboutTenDescriptors)
{
    struct CountAtPolls : qzCancelInterfaceReadOnly {
        bool shouldCancel() const override
        {
            most = std::max(most, support::countOpenDescriptors());
            return false;
        }
        mutable std::size_t most = 0;
    } count;
    makeTree(mRoot, 30);
    const std::size_t before = support::countOpenDescriptors();
    EXPECT_TRUE(removeTreeNoFollow(mRoot, &count));
    EXPECT_GT(count.most, before + 2);
    EXPECT_LE(count.most, before + 10);
}

// --- Cancellation

struct CancelAfter : qzCancelInterfaceReadOnly {
    explicit CancelAfter(int count) : left(count) {}
    bool shouldCancel() const override { return --left < 0; }
    mutable int left;
};

TEST_F(RemovedTreeTest, StopsOnRequest)
{
    makeTree(mRoot, 10);
    for (const int polls : {0, 1, 5, 12}) {
        const CancelAfter cancel(polls);
        const RemovedTree removed = removeTreeNoFollow(mRoot, &cancel);
        EXPECT_FALSE(removed);
        EXPECT_EQ(getFailure(removed), "removal of F/root: " + SystemError(ECANCELED).toString());
        EXPECT_EQ(removed.failureCount, 1U);
        EXPECT_LE(removed.removedCount, static_cast<unsigned long>(polls));
        EXPECT_TRUE(fs::exists(mRoot));
    }
    const CancelAfter never(1'000'000);
    EXPECT_TRUE(removeTreeNoFollow(mRoot, &never));
}

// --- Attacks: somebody changes the tree all the time

class RemovedTreeAttack : public RemovedTreeTest {
protected:
    using Change = std::function<void()>;

    // Makes none, one or two changes before each object.
    struct ChangeAtPolls : qzCancelInterfaceReadOnly {
        bool shouldCancel() const override
        {
            for (auto left = random() % 3; left > 0; --left)
                change();
            return false;
        }
        Change change;
        mutable std::mt19937 random;
    };

    RemovedTree removeWithChanges(unsigned int seed, const Change& change)
    {
        ChangeAtPolls polls;
        polls.change = change;
        polls.random.seed(seed);
        return removeTreeNoFollow(mRoot, &polls);
    }
    // Makes a change before each object.
    RemovedTree removeWithChanges(const Change& change)
    {
        struct ChangeAtEachPoll : qzCancelInterfaceReadOnly {
            bool shouldCancel() const override
            {
                change();
                return false;
            }
            Change change;
        } polls;
        polls.change = change;
        return removeTreeNoFollow(mRoot, &polls);
    }
    // Another thread makes the changes, at any moment.
    void removeDuringChanges(const Change& change)
    {
        std::atomic<bool> isOver = false;
        std::atomic<bool> hasBegun = false;
        std::thread attacker([&] {
            for (; !isOver; hasBegun = true)
                change();
        });
        while (!hasBegun)
            std::this_thread::yield();
        removeTreeNoFollow(mRoot);
        isOver = true;
        attacker.join();
    }
    // Makes a tree with a link to the foreign one. @return a change that swaps the link and a
    // folder, whose entries have the same names.
    Change makeTreeWithLink(unsigned int levels)
    {
        makeTree(mRoot, 12);
        const std::string folder = getFolder(levels);
        fs::create_symlink(mForeign, folder + "/link");
        return [real = folder + "/d", link = folder + "/link"] {
            ::renameat2(AT_FDCWD, real.c_str(), AT_FDCWD, link.c_str(), RENAME_EXCHANGE);
        };
    }
    std::string getFolder(unsigned int levels) const
    {
        std::string folder = mRoot;
        for (unsigned int level = 0; level < levels; ++level)
            folder += "/d";
        return folder;
    }

    static constexpr unsigned int kRounds = 36;
    const unsigned int mSeed = std::random_device()();
};

TEST_F(RemovedTreeAttack, LeavesATreeAloneThatALinkInTheTreeLeadsTo)
{
    for (unsigned int round = 0; round < kRounds; ++round) {
        removeWithChanges(mSeed + round, makeTreeWithLink(round % 12));
        ASSERT_TRUE(isForeignWhole()) << "seed " << mSeed << ", round " << round;
        removeTreeNoFollow(mRoot);
        ASSERT_FALSE(fs::exists(mRoot)) << "seed " << mSeed << ", round " << round;
    }
}

TEST_F(RemovedTreeAttack, LeavesATreeAloneThatALinkOfAnotherThreadLeadsTo)
{
    for (unsigned int round = 0; round < kRounds; ++round) {
        removeDuringChanges(makeTreeWithLink(round % 12));
        ASSERT_TRUE(isForeignWhole()) << round;
        removeTreeNoFollow(mRoot);
        ASSERT_FALSE(fs::exists(mRoot)) << round;
    }
}

// The way back by ".." then leads to the foreign tree.
TEST_F(RemovedTreeAttack, LeavesATreeAloneToWhichAFolderIsMoved)
{
    const std::string away = mForeign + "/d/moved";
    for (unsigned int round = 0; round < kRounds; ++round) {
        makeTree(mRoot, 24);
        const std::string folder = getFolder(1 + round % 12);
        bool isAway = false;
        removeWithChanges(mSeed + round, [&] {
            ::rename((isAway ? away : folder).c_str(), (isAway ? folder : away).c_str());
            isAway = !isAway;
        });
        ASSERT_TRUE(isForeignWhole()) << "seed " << mSeed << ", round " << round;
        removeTreeNoFollow(away);
        removeTreeNoFollow(mRoot);
        ASSERT_FALSE(fs::exists(mRoot)) << "seed " << mSeed << ", round " << round;
    }
}

TEST_F(RemovedTreeAttack, GoesOnAfterObjectsThatOthersRemove)
{
    constexpr unsigned int kObjects = 3 * 4;
    // The last one can be removed only when it is empty.
    for (const char* const object : {"/d/file", "/first", "/d"}) {
        for (int poll = 0; poll < 40; ++poll) {
            makeTree(mRoot, 2);
            unsigned int removedByOther = 0;
            int left = poll;
            const RemovedTree removed = removeWithChanges([&] {
                std::error_code notEmpty;
                if (left-- == 0 && fs::remove(mRoot + object, notEmpty)) removedByOther = 1;
            });
            EXPECT_TRUE(removed) << removed.failure.toString() << object << poll;
            EXPECT_EQ(removed.removedCount + removedByOther, kObjects) << object << poll;
            EXPECT_FALSE(fs::exists(mRoot));
        }
    }
}

TEST_F(RemovedTreeAttack, RemovesAFolderThatTakesThePlaceOfAFile)
{
    for (int poll = 0; poll < 20; ++poll) {
        makeTree(mRoot, 1);
        const std::string file = mRoot + "/d/file";
        int left = poll;
        const RemovedTree removed = removeWithChanges([&] {
            if (left-- == 0 && fs::remove(file)) makeTree(file, 0);
        });
        EXPECT_TRUE(removed) << removed.failure.toString() << poll;
        EXPECT_FALSE(fs::exists(mRoot));
    }
}

// After its content was removed.
TEST_F(RemovedTreeAttack, RemovesALinkThatTakesThePlaceOfAnEmptiedFolder)
{
    makeTree(mRoot, 2);
    const std::string folder = mRoot + "/d/d";
    const std::string away = mForeign + "/moved";
    const RemovedTree removed = removeWithChanges([&] {
        if (fs::is_symlink(folder) || !fs::is_directory(folder) || !fs::is_empty(folder)) return;
        fs::rename(folder, away);
        fs::create_symlink(mForeign, folder);
    });
    EXPECT_TRUE(removed) << removed.failure.toString();
    EXPECT_FALSE(fs::exists(mRoot));
    EXPECT_TRUE(isForeignWhole());
    EXPECT_TRUE(fs::is_empty(away));
}

// The rest of the tree is removed all the same.
TEST_F(RemovedTreeAttack, RemovesTheRestIfAFolderWasMovedAway)
{
    makeTree(mRoot, 24);
    const std::string folder = getFolder(14);
    const std::string away = mForeign + "/moved";
    const std::size_t before = support::countOpenDescriptors();
    // Moves the folder while the walk is below it, and before it can remove the level above.
    struct MoveAtDepth : qzCancelInterfaceReadOnly {
        bool shouldCancel() const override
        {
            if (!fs::exists(deepFile)) {
                std::error_code ignored;
                fs::rename(from, to, ignored);
            }
            mostDescriptors = std::max(mostDescriptors, support::countOpenDescriptors());
            return false;
        }
        std::string deepFile;
        std::string from;
        std::string to;
        mutable std::size_t mostDescriptors = 0;
    } move;
    move.from = folder;
    move.to = away;
    move.deepFile = getFolder(24) + "/file";
    const RemovedTree removed = removeTreeNoFollow(mRoot, &move);
    EXPECT_EQ(removed.failure.toString(),
              "return from " + folder + ": " + SystemError(ESTALE).toString());
    EXPECT_FALSE(fs::exists(mRoot)) << "its folders were reachable by their names";
    EXPECT_LE(move.mostDescriptors, before + 10);
    EXPECT_TRUE(isForeignWhole());
    EXPECT_TRUE(fs::is_directory(away));
    EXPECT_TRUE(removeTreeNoFollow(away));
}

}  // namespace qz::ext
