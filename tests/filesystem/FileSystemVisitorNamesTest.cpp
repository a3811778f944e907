// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FolderFixture.h"
#include "VisitorFixture.h"

namespace qz {

namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using Lines = std::vector<std::string>;

TEST_F(FileSystemVisitorTest, ReachesAllFromTheRootAsItIsSpelled)
{
    makeTree();
    fs::create_directories(getPath("far/deep"));
    mFolder.write("far/a", "");
    fs::create_directories(getPath("far/x"));
    link("../far/deep", "link");
    const WorkingFolder here(mRoot);
    const Lines roots = {mRoot + "/",
                         mRoot + "//",
                         mRoot + "/.",
                         mRoot + "/./a//",
                         mRoot + "/a/..",
                         mRoot + "/link/..",
                         mRoot + "\\a",
                         mRoot + "\\a\\..",
                         ".",
                         "./",
                         "./.",
                         "..",
                         "../root",
                         "a",
                         "./a/../c",
                         "link/..",
                         "missing/../a",
                         "/../" + mRoot,
                         ".\\a",
                         "link/../x"};
    for (const std::string& root : roots) {
        const Lines lines = walk(root);
        EXPECT_EQ(lines, walkPlainly(root)) << root;
        if (root != "missing/../a") {
            EXPECT_FALSE(lines.empty()) << root;
        }
    }
}

TEST_F(FileSystemVisitorTest, RewritesBackslashesOfTheRoot)
{
    makeFolder("a/b");
    EXPECT_THAT(
        walk(getPath("root\\a")),
        ElementsAre("enter " + mRoot + "/a", "folder " + mRoot + "/a | b",
                    "enter " + mRoot + "/a/b", "leave " + mRoot + "/a/b", "leave " + mRoot + "/a"));
}

// Through a link, ".." leads elsewhere by the text than for the system.
TEST_F(FileSystemVisitorTest, FindsEntriesBySimplifiedPaths)
{
    fs::create_directories(getPath("far/deep"));
    fs::create_directories(getPath("far/one"));
    mFolder.write("far/two", "");
    link("../far/deep", "link");
    makeFolder("two");
    const std::string root = mRoot + "/link/..";
    EXPECT_THAT(walk(root), UnorderedElementsAre("enter " + root, "file " + root + " | deep",
                                                 "file " + root + " | one",
                                                 "folder " + root + " | two", "leave " + root));
}

TEST_F(FileSystemVisitorTest, TakesABackslashInANameForASeparator)
{
    makeFolder("a/b");
    makeFolder("c\\d");
    write("a\\b");
    write("\\a");
    write("e\\f");
    const Lines lines = walk(mRoot);
    EXPECT_EQ(lines, walkPlainly(mRoot));
    EXPECT_THAT(lines, ::testing::Contains("folder " + mRoot + " | a\\b"));
    EXPECT_THAT(lines, ::testing::Contains("file " + mRoot + " | c\\d"));
    EXPECT_THAT(lines, ::testing::Contains("folder " + mRoot + " | \\a"));
    EXPECT_THAT(lines, ::testing::Contains("file " + mRoot + " | e\\f"));
}

// As paths they lead back to the folder or out of it, so entering them would have no end.
TEST_F(FileSystemVisitorTest, EntersNoNameThatLeadsBackToTheFolder)
{
    makeFolder("a");
    const Lines names = {"\\", "\\\\", ".\\", "\\.", "..\\", "..\\..", "a\\..", "..\\root"};
    for (const std::string& name : names)
        write(name);
    WalkRecorder recorder(100);
    EXPECT_TRUE(recorder.walk(mRoot)) << "more lines than entries";
    EXPECT_THAT(recorder.getLines("enter "), UnorderedElementsAre(mRoot, mRoot + "/a"));
    EXPECT_EQ(recorder.getLines("folder ").size(), names.size() + 1);
}

TEST_F(FileSystemVisitorTest, NeverMeetsAFolderItselfAndItsParent)
{
    makeFolder("...");
    write("..a");
    for (const std::string& root : {mRoot, mRoot + "/.", mRoot + "/.../..", mRoot + "/"}) {
        WalkRecorder recorder;
        EXPECT_TRUE(recorder.walk(root, false));
        EXPECT_THAT(recorder.getLines("file "), ElementsAre(root + " | ..a"));
        EXPECT_THAT(recorder.getLines("folder "), ElementsAre(root + " | ..."));
    }
}

TEST(FileSystemVisitorLocale, SkipsNamesThatCannotBeConverted)
{
    expectInLocale("C.UTF-8", [] {
        const support::ScratchFolder folder;
        const std::string& root = folder.getPath();
        folder.write("file\xff", "");
        fs::create_directory(folder.getPath("folder\xff"));
        folder.write("caf\xc3\xa9", "");
        EXPECT_THAT(walk(root), ElementsAre("enter " + root, "file " + root + " | caf\xc3\xa9",
                                            "leave " + root));
    });
}

TEST(FileSystemVisitorLocale, SkipsNamesBeyondAsciiInTheLocaleC)
{
    expectInLocale("C", [] {
        const support::ScratchFolder folder;
        const std::string& root = folder.getPath();
        folder.write("caf\xc3\xa9", "");
        fs::create_directory(folder.getPath("\xe9"));
        folder.write("plain", "");
        EXPECT_THAT(walk(root),
                    ElementsAre("enter " + root, "file " + root + " | plain", "leave " + root));
    });
}

TEST(FileSystemVisitorLocale, GivesNamesInUtf8)
{
    expectInLocale("de_DE.ISO-8859-1", [] {
        const support::ScratchFolder folder;
        const std::string& root = folder.getPath();
        fs::create_directories(folder.getPath("\xe9/\xfc"));
        folder.write("\xe9/\xc3\xa9", "");
        const Lines lines = walk(root);
        EXPECT_EQ(lines, walkPlainly(root));
        EXPECT_THAT(lines, ::testing::Contains("enter " + root + "/\xc3\xa9/\xc3\xbc"));
        EXPECT_THAT(lines, ::testing::Contains("file " + root + "/\xc3\xa9 | \xc3\x83\xc2\xa9"));
    });
}

}  // namespace

}  // namespace qz
