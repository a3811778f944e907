// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FolderFixture.h"
#include "WalkRecorder.h"

namespace qz {

namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Names = std::vector<std::string>;

class qzDirUtilsGlob : public FolderFixture {
protected:
    qzDirUtilsGlob()
    {
        fs::create_directories(getPath("a/b"));
        for (const char* name : {"x.txt", "Y.TXT", "a/z.txt", "a/b/w"})
            mFolder.write(name, "");
    }
    void glob(int flags, const Names* extensions = nullptr)
    {
        qzDirUtils::GlobFileAndFolderUtf8(mFolder.getPath(), &mFolders, &mFiles, extensions, flags);
    }

    Names mFolders = {"before"};
    Names mFiles = {"before"};
};

TEST_F(qzDirUtilsGlob, CollectsJoinedNamesOfOneFolder)
{
    glob(0);
    EXPECT_THAT(mFolders, ElementsAre(getPath("a")));
    EXPECT_THAT(mFiles, UnorderedElementsAre(getPath("x.txt"), getPath("Y.TXT")));
}

TEST_F(qzDirUtilsGlob, CollectsAllOfATreeDeeperThanTheFreeDescriptors)
{
    std::string folder = "d";
    for (int i = 0; i != 20; ++i, folder += "/d") {
        fs::create_directory(getPath(folder));
        mFolder.write(folder + "/file", "");
    }
    const support::DescriptorLimit two(2);
    glob(qzDirUtils::GlobRecursive);
    EXPECT_EQ(mFiles.size(), 4U + 20U);
    EXPECT_EQ(mFolders.size(), 2U + 20U);
}

TEST_F(qzDirUtilsGlob, CollectsInTheOrderOfTheWalk)
{
    for (int i = 0; i < 50; ++i)
        mFolder.write("file" + std::to_string(i * 7919 % 50), "");
    WalkRecorder recorder;
    EXPECT_TRUE(recorder.walk(mFolder.getPath(), /*recursive=*/false));
    glob(qzDirUtils::GlobBareNames);
    EXPECT_EQ(mFiles, recorder.getLines("file " + mFolder.getPath() + " | "));
    EXPECT_EQ(mFiles.size(), 52U);
}

TEST_F(qzDirUtilsGlob, KnowsItsFlagsByTheirValues)
{
    EXPECT_EQ(qzDirUtils::GlobAppend, 1);
    EXPECT_EQ(qzDirUtils::GlobRecursive, 2);
    EXPECT_EQ(qzDirUtils::GlobBareNames, 4);
    EXPECT_EQ(qzDirUtils::GlobIgnoreCase, 8);
}

TEST_F(qzDirUtilsGlob, AppendsWithItsFlag)
{
    glob(1);
    EXPECT_THAT(mFolders, ElementsAre("before", getPath("a")));
    EXPECT_THAT(mFiles, UnorderedElementsAre("before", getPath("x.txt"), getPath("Y.TXT")));
    EXPECT_EQ(mFiles.front(), "before");
}

TEST_F(qzDirUtilsGlob, GoesDownWithItsFlag)
{
    glob(2);
    EXPECT_THAT(mFolders, ElementsAre(getPath("a"), getPath("a/b")));
    EXPECT_THAT(mFiles, UnorderedElementsAre(getPath("x.txt"), getPath("Y.TXT"), getPath("a/z.txt"),
                                             getPath("a/b/w")));
}

TEST_F(qzDirUtilsGlob, StoresBareNamesWithItsFlag)
{
    glob(2 | 4);
    EXPECT_THAT(mFolders, ElementsAre("a", "b"));
    EXPECT_THAT(mFiles, UnorderedElementsAre("x.txt", "Y.TXT", "z.txt", "w"));
}

TEST_F(qzDirUtilsGlob, MatchesExtensionsInTheirCaseOnly)
{
    const Names extensions = {"TXT"};
    glob(2 | 4, &extensions);
    EXPECT_THAT(mFiles, ElementsAre("Y.TXT"));
    EXPECT_THAT(mFolders, ElementsAre("a", "b"));
}

TEST_F(qzDirUtilsGlob, IgnoresCaseWithItsFlag)
{
    const Names extensions = {"TXT"};
    glob(2 | 4 | 8, &extensions);
    EXPECT_THAT(mFiles, UnorderedElementsAre("x.txt", "Y.TXT", "z.txt"));
}

TEST_F(qzDirUtilsGlob, TakesEachFlagByItself)
{
    const Names extensions = {"TXT"};
    for (int flags = 0; flags != 32; ++flags) {
        const bool isBare = (flags & 4) != 0;
        const auto nameIn = [&](const std::string& folder, const std::string& name) {
            return isBare ? name : getPath(folder + name);
        };
        Names folders = {nameIn("", "a")};
        Names files = {nameIn("", "Y.TXT")};
        if ((flags & 8) != 0) files.push_back(nameIn("", "x.txt"));
        if ((flags & 2) != 0) folders.push_back(nameIn("a/", "b"));
        if ((flags & 10) == 10) files.push_back(nameIn("a/", "z.txt"));
        if ((flags & 1) != 0) {
            folders.push_back("before");
            files.push_back("before");
        }
        mFolders = {"before"};
        mFiles = {"before"};
        glob(flags, &extensions);
        EXPECT_THAT(mFolders, ::testing::UnorderedElementsAreArray(folders)) << flags;
        EXPECT_THAT(mFiles, ::testing::UnorderedElementsAreArray(files)) << flags;
    }
}

TEST_F(qzDirUtilsGlob, CollectsWhatThereIsAVectorFor)
{
    Names names = {"before"};
    qzDirUtils::GlobFileAndFolderUtf8(mFolder.getPath(), &names, nullptr, nullptr, 2 | 4);
    EXPECT_THAT(names, ElementsAre("a", "b"));
    qzDirUtils::GlobFileAndFolderUtf8(mFolder.getPath(), nullptr, &names, nullptr, 4);
    EXPECT_THAT(names, UnorderedElementsAre("x.txt", "Y.TXT"));
    for (const int flags : {0, 1, 2, 15})
        qzDirUtils::GlobFileAndFolderUtf8(mFolder.getPath(), nullptr, nullptr, nullptr, flags);
}

// They are files, but as paths they lead to folders.
TEST_F(qzDirUtilsGlob, CollectsNamesOfBackslashesAndDotsOnce)
{
    const Names names = {"\\", "..\\", ".\\.", "b\\..\\..\\a"};
    for (const std::string& name : names)
        mFolder.write("a/" + name, "");
    glob(qzDirUtils::GlobRecursive | qzDirUtils::GlobBareNames);
    EXPECT_THAT(mFolders, UnorderedElementsAre("a", "b", names[0], names[1], names[2], names[3]));
    EXPECT_THAT(mFiles, UnorderedElementsAre("x.txt", "Y.TXT", "z.txt", "w"));
}

TEST_F(qzDirUtilsGlob, EmptiesTheVectorsForAMissingFolderToo)
{
    qzDirUtils::GlobFileAndFolderUtf8(getPath("missing"), &mFolders, &mFiles, nullptr, 0);
    EXPECT_THAT(mFolders, IsEmpty());
    EXPECT_THAT(mFiles, IsEmpty());
    mFiles = {"before"};
    qzDirUtils::GlobFileAndFolderUtf8(getPath("missing"), nullptr, &mFiles, nullptr, 1);
    EXPECT_THAT(mFiles, ElementsAre("before"));
}

TEST_F(qzDirUtilsGlob, JoinsNamesToARootWithASlashAtItsEnd)
{
    qzDirUtils::GlobFileAndFolderUtf8(mFolder.getPath() + "/a/", &mFolders, &mFiles, nullptr, 2);
    EXPECT_THAT(mFolders, ElementsAre(getPath("a/b")));
    EXPECT_THAT(mFiles, UnorderedElementsAre(getPath("a/z.txt"), getPath("a/b/w")));
}

}  // namespace

}  // namespace qz
