// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <sys/statvfs.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "FolderFixture.h"

namespace qz {

namespace {

namespace fs = std::filesystem;

// --- GrantAllFilePermissionsUtf8

using qzDirUtilsGrantAll = FolderFixture;

TEST_F(qzDirUtilsGrantAll, AddsPermissionsAndKeepsTheOtherBits)
{
    const std::string path = mFolder.write("file", "");
    fs::permissions(path, fs::perms(0000));
    EXPECT_TRUE(qzDirUtils::GrantAllFilePermissionsUtf8(path));
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0777));
    fs::create_directory(getPath("folder"));
    fs::permissions(getPath("folder"), fs::perms(01500));
    EXPECT_TRUE(qzDirUtils::GrantAllFilePermissionsUtf8(getPath("folder")));
    EXPECT_EQ(fs::status(getPath("folder")).permissions(), fs::perms(01777));
}

TEST_F(qzDirUtilsGrantAll, FailsWhereItCannotReadOrMayNotChange)
{
    EXPECT_FALSE(qzDirUtils::GrantAllFilePermissionsUtf8(getPath("missing")));
    EXPECT_EQ(errno, ENOENT);
    expectAsNobody([] {
        EXPECT_FALSE(qzDirUtils::GrantAllFilePermissionsUtf8("/"));
        EXPECT_EQ(errno, EPERM);
    });
}

TEST(qzDirUtilsGrantAllNames, AreTakenInTheLocalCharacterSet)
{
    const support::ScratchFolder folder;
    folder.write("\xE9", "");
    expectInLocale("en_US.ISO-8859-1", [&folder] {
        EXPECT_TRUE(qzDirUtils::GrantAllFilePermissionsUtf8(folder.getPath("\u00e9")));
    });
    EXPECT_EQ(fs::status(folder.getPath("\xE9")).permissions(), fs::perms(0777));
}

// --- GetAvailableDiskSizeUtf8

using qzDirUtilsDiskSize = FolderFixture;

TEST_F(qzDirUtilsDiskSize, CountsAllFreeBlocks)
{
    struct statvfs before = {};
    struct statvfs after = {};
    unsigned long size = 0;
    std::string error;
    // Somebody else may use the disk meanwhile; a quiet moment comes soon.
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(::statvfs(mFolder.getPath().c_str(), &before), 0);
        error = "before";
        size = qzDirUtils::GetAvailableDiskSizeUtf8(mFolder.getPath(), error);
        ASSERT_EQ(::statvfs(mFolder.getPath().c_str(), &after), 0);
        if (before.f_bfree == after.f_bfree) break;
    }
    EXPECT_EQ(size, after.f_bsize * after.f_bfree);
    EXPECT_GT(size, 0U);
    EXPECT_EQ(error, "");
}

// Of the two sizes of a block and the three counts of blocks.
TEST(qzDirUtilsDiskSizeFigures, AreTheBlockSizeAndTheFreeBlocks)
{
    const support::ChildResult result = support::runProgram({.program = "disk_size"});
    EXPECT_EQ(result.out, "21474836480 0\n");
    EXPECT_EQ(result.getEnd(), "exit 0");
}

TEST_F(qzDirUtilsDiskSize, IsNothingWithoutAWordAfterAFailure)
{
    std::string error = "before";
    EXPECT_EQ(qzDirUtils::GetAvailableDiskSizeUtf8(getPath("missing"), error), 0U);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(error, "");
}

// --- GetActualPathNameUtf8

TEST(qzDirUtilsGetActualPathName, IsThePathItself)
{
    EXPECT_EQ(qzDirUtils::GetActualPathNameUtf8("/A//b\\../\xff"), "/A//b\\../\xff");
    EXPECT_EQ(qzDirUtils::GetActualPathNameUtf8(""), "");
}

}  // namespace

}  // namespace qz
