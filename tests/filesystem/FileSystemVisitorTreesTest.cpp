// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FolderFixture.h"
#include "PlainWalk.h"
#include "VisitorFixture.h"
#include "support/Files.h"

namespace qz {

namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Lines = std::vector<std::string>;

// --- Links

TEST_F(FileSystemVisitorTest, EntersLinksToFoldersAndTakesOtherLinksForFiles)
{
    fs::create_directory(getPath("outside"));
    mFolder.write("outside/file", "");
    link("../outside", "link");
    link("missing", "dangling");
    link("loop", "loop");
    link("../outside/file", "fileLink");
    const Lines lines = walk(mRoot);
    EXPECT_EQ(lines, walkPlainly(mRoot));
    EXPECT_THAT(lines,
                UnorderedElementsAre("enter " + mRoot, "folder " + mRoot + " | link",
                                     "enter " + mRoot + "/link", "file " + mRoot + "/link | file",
                                     "leave " + mRoot + "/link", "file " + mRoot + " | dangling",
                                     "file " + mRoot + " | loop", "file " + mRoot + " | fileLink",
                                     "leave " + mRoot));
}

// The system follows 40 links in a path and no more.
TEST_F(FileSystemVisitorTest, WalksACycleOfLinksUntilTheSystemFollowsNoMore)
{
    makeFolder("a");
    link("..", "a/up");
    write("a/file");
    const Lines lines = walk(mRoot);
    EXPECT_EQ(lines, walkPlainly(mRoot));
    std::string deepest = mRoot;
    for (int i = 0; i < 40; ++i)
        deepest += "/a/up";
    EXPECT_THAT(lines, ::testing::Contains("enter " + deepest));
    EXPECT_THAT(lines, ::testing::Contains("file " + deepest + "/a | up"));
}

// --- Depth and length

TEST_F(FileSystemVisitorTest, WalksManyLevels)
{
    std::string name = "a";
    for (int i = 1; i < 200; ++i)
        name += "/a";
    makeFolder(name);
    write(name + "/file");
    WalkRecorder recorder;
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_EQ(recorder.getLines("enter ").size(), 201U);
    EXPECT_EQ(recorder.getLines("leave ").size(), 201U);
    EXPECT_THAT(recorder.getLines("file "), ElementsAre(mRoot + '/' + name + " | file"));
}

TEST_F(FileSystemVisitorTest, IsWholeInATreeDeeperThanTheFreeDescriptors)
{
    std::string folder = "a";
    for (int i = 0; i != 20; ++i, folder += "/a") {
        makeFolder(folder);
        for (const char* name : {"/x", "/y", "/z"})
            write(folder + name);
    }
    const Lines lines = walk(mRoot);
    ASSERT_EQ(lines.size(), 2U + 20 * 6);
    for (const int free : {1, 2, 3, 10}) {
        const support::DescriptorLimit limit(free);
        EXPECT_EQ(walk(mRoot), lines) << free << " free descriptors";
    }
}

// Each entry is in memory once its folder was closed; what happens to it meanwhile isn't noticed.
TEST_F(FileSystemVisitorTest, VisitsAllThatItReadBeforeItClosedAFolder)
{
    makeFolder("a/b/c");
    for (int i = 0; i != 2000; ++i)
        write("file" + std::to_string(i));
    const std::size_t lineCount = walk(mRoot).size();
    const std::size_t openBefore = support::countOpenDescriptors();
    WalkRecorder recorder;
    recorder.setReaction([&](const std::string& line) {
        if (line != "enter " + mRoot + "/a") return;
        for (int i = 0; i != 2000; ++i)
            fs::remove(mRoot + "/file" + std::to_string(i));
    });
    {
        const support::DescriptorLimit one(1);
        EXPECT_TRUE(recorder.walk(mRoot));
    }
    EXPECT_EQ(recorder.getLines().size(), lineCount);
    EXPECT_EQ(support::countOpenDescriptors(), openBefore);
}

TEST_F(FileSystemVisitorTest, SkipsARootThatItHasNoDescriptorFor)
{
    makeFolder("a");
    const support::DescriptorLimit none(0);
    WalkRecorder recorder;
    errno = 0;
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_THAT(recorder.getLines(), IsEmpty());
    EXPECT_EQ(errno, EMFILE);
}

TEST_F(FileSystemVisitorTest, LeavesErrnoAloneForTheEmptyRoot)
{
    errno = 0;
    EXPECT_TRUE(walk("").empty());
    EXPECT_EQ(errno, 0);
}

TEST_F(FileSystemVisitorTest, EndsItsRootAtAZeroByte)
{
    makeFolder("a");
    write("a/file");
    EXPECT_EQ(walk(mRoot + std::string("\0/b", 3)), walk(mRoot));
}

// Each length of the last folder within the system's limit, with entries up to it and beyond.
TEST_F(FileSystemVisitorTest, TakesAllForFilesWhosePathsAreTooLong)
{
    constexpr std::size_t kStep = 240;
    for (std::size_t size = PATH_MAX - 6; size != PATH_MAX + 2; ++size) {
        const support::ScratchFolder folder;
        std::string path = folder.getPath();
        {
            const WorkingFolder here(path);
            while (path.size() < size) {
                std::size_t next = std::min(kStep, size - path.size() - 1);
                if (size - path.size() - 1 - next == 1) --next;  // no name would be left
                const std::string name(next, 'x');
                fs::create_directory(name);
                fs::current_path(name);
                path += '/' + name;
                if (path.size() + 2 == size) break;
            }
            fs::create_directory("f");
            fs::create_directory("folder");
            support::writeFile("x", "");
        }
        EXPECT_EQ(walk(folder.getPath()), walkPlainly(folder.getPath())) << path.size();
        fs::remove_all(folder.getPath());
    }
}

// --- Rights

TEST_F(FileSystemVisitorTest, TakesAllForFilesInAFolderThatMayNotBeSearched)
{
    makeFolder("closed/folder");
    write("closed/file");
    fs::permissions(mRoot + "/closed", fs::perms(0444));
    expectAsNobody([this] {
        const std::string closed = mRoot + "/closed";
        const Lines lines = walk(mRoot);
        EXPECT_EQ(lines, walkPlainly(mRoot));
        EXPECT_THAT(lines, UnorderedElementsAre("enter " + mRoot, "folder " + mRoot + " | closed",
                                                "enter " + closed, "file " + closed + " | folder",
                                                "file " + closed + " | file", "leave " + closed,
                                                "leave " + mRoot));
        EXPECT_THAT(walk(closed + "/."), IsEmpty());
        EXPECT_EQ(walk(closed + "/").size(), 4U);
    });
}

TEST_F(FileSystemVisitorTest, SkipsFoldersThatMayNotBeRead)
{
    makeFolder("closed/folder");
    makeFolder("open");
    fs::permissions(mRoot + "/closed", fs::perms(0111));
    expectAsNobody([this] {
        EXPECT_THAT(walk(mRoot),
                    UnorderedElementsAre("enter " + mRoot, "folder " + mRoot + " | closed",
                                         "folder " + mRoot + " | open", "enter " + mRoot + "/open",
                                         "leave " + mRoot + "/open", "leave " + mRoot));
        EXPECT_THAT(walk(mRoot + "/closed"), IsEmpty());
        EXPECT_EQ(walk(mRoot + "/closed/folder").size(), 2U);
    });
}

// --- A folder that changes meanwhile

TEST_F(FileSystemVisitorTest, MeetsFilesThatAreGoneByNow)
{
    for (const char* name : {"a", "b", "c", "d"})
        write(name);
    WalkRecorder recorder;
    recorder.setReaction([this](const std::string& line) {
        if (line != "enter " + mRoot) fs::remove_all(mRoot);
    });
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_EQ(recorder.getLines("file ").size(), 4U);
    EXPECT_EQ(recorder.getLines().back(), "leave " + mRoot);
}

TEST_F(FileSystemVisitorTest, SkipsAFolderThatGoesWhenItIsMet)
{
    makeFolder("a");
    makeFolder("b");
    WalkRecorder recorder;
    recorder.setReaction([this](const std::string& line) {
        if (line == "folder " + mRoot + " | a") fs::remove(mRoot + "/a");
    });
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_THAT(recorder.getLines("enter "), ElementsAre(mRoot, mRoot + "/b"));
}

TEST_F(FileSystemVisitorTest, WalksWhatAppearsInAFolderBeforeItIsEntered)
{
    makeFolder("a");
    WalkRecorder recorder;
    recorder.setReaction([this](const std::string& line) {
        if (line == "folder " + mRoot + " | a") makeFolder("a/new");
        if (line == "folder " + mRoot + "/a | new") write("a/new/file");
    });
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_THAT(recorder.getLines("file "), ElementsAre(mRoot + "/a/new | file"));
}

TEST_F(FileSystemVisitorTest, EndsInAFolderWhoseFilesAreRenamedMeanwhile)
{
    for (int i = 0; i < 100; ++i)
        write("file" + std::to_string(i));
    WalkRecorder recorder;
    int renamed = 0;
    recorder.setReaction([&](const std::string& line) {
        if (line.rfind("file ", 0) != 0 || renamed == 500) return;
        const std::string name = line.substr(line.find(" | ") + 3);
        fs::rename(mRoot + '/' + name, mRoot + "/renamed" + std::to_string(renamed++));
    });
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_GE(recorder.getLines("file ").size(), 100U);
}

// --- Against the plain form

class TreeOfChance {
public:
    TreeOfChance(const std::string& root, unsigned int seed) : mChance(seed) { fill(root, 0); }

private:
    unsigned int take(unsigned int end) { return static_cast<unsigned int>(mChance() % end); }
    void fill(const std::string& folder, int depth)
    {
        static const char* const kNames[] = {"a",
                                             "b.txt",
                                             "C.TXT",
                                             ".hidden",
                                             "d\\a",
                                             "\\a",
                                             "..x",
                                             "caf\xc3\xa9",
                                             "\xff",
                                             "e.tar.gz",
                                             "long name of a file"};
        for (const char* name : kNames) {
            const std::string path = folder + '/' + name;
            switch (take(depth < 3 ? 6 : 4)) {
                case 0:
                    break;
                case 1:
                case 2:
                    support::writeFile(path, "");
                    break;
                case 3:
                    fs::create_symlink(take(2) == 0 ? "/dev/null" : "/proc/self/fdinfo/none", path);
                    break;
                default:
                    fs::create_directory(path);
                    fill(path, depth + 1);
            }
        }
    }

    std::mt19937 mChance;
};

TEST_F(FileSystemVisitorTest, WalksTreesOfChanceAsThePlainFormDoes)
{
    const Lines none;
    const Lines some = {"txt", ".gz"};
    for (unsigned int seed = 1; seed <= 6; ++seed) {
        const support::ScratchFolder folder;
        const TreeOfChance tree(folder.getPath(), seed);
        for (const Lines* extensions : {&none, &some}) {
            for (const bool ignoreCase : {false, true}) {
                WalkRecorder recorder;
                WalkRecorder plainRecorder;
                EXPECT_TRUE(
                    recorder.visit(folder.getPath(), true, extensions, ignoreCase, nullptr));
                plain::Walk(plainRecorder, true, *extensions, ignoreCase).run(folder.getPath());
                EXPECT_EQ(recorder.getLines(), plainRecorder.getLines()) << "seed " << seed;
            }
        }
    }
}

}  // namespace

}  // namespace qz
