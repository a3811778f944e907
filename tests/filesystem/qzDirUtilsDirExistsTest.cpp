// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <sys/stat.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "FolderFixture.h"

namespace qz {

namespace {

namespace fs = std::filesystem;

using qzDirUtilsDirExists = FolderFixture;

TEST_F(qzDirUtilsDirExists, IsTrueForFoldersAlone)
{
    EXPECT_TRUE(qzDirUtils::DirExistsUtf8(mFolder.getPath()));
    EXPECT_TRUE(qzDirUtils::DirExistsUtf8("/"));
    EXPECT_TRUE(qzDirUtils::DirExistsUtf8("."));
    EXPECT_FALSE(qzDirUtils::DirExistsUtf8(mFolder.write("file", "")));
    EXPECT_FALSE(qzDirUtils::DirExistsUtf8("/dev/null"));
    ASSERT_EQ(::mkfifo(getPath("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(qzDirUtils::DirExistsUtf8(getPath("pipe")));
    EXPECT_FALSE(qzDirUtils::DirExistsUtf8(getPath("missing")));
    EXPECT_FALSE(qzDirUtils::DirExistsUtf8(""));
}

TEST_F(qzDirUtilsDirExists, FollowsLinks)
{
    fs::create_symlink(".", getPath("folder"));
    fs::create_symlink("missing", getPath("dangling"));
    fs::create_symlink("loop", getPath("loop"));
    EXPECT_TRUE(qzDirUtils::DirExistsUtf8(getPath("folder")));
    EXPECT_FALSE(qzDirUtils::DirExistsUtf8(getPath("dangling")));
    EXPECT_FALSE(qzDirUtils::DirExistsUtf8(getPath("loop")));
}

// "b" needn't exist, and the closing slash doesn't matter.
TEST_F(qzDirUtilsDirExists, ChecksTheSimplifiedPath)
{
    fs::create_directories(getPath("a/c"));
    EXPECT_TRUE(qzDirUtils::DirExistsUtf8(getPath("a//b/../c/")));
    EXPECT_TRUE(qzDirUtils::DirExistsUtf8(getPath("a\\c")));
    fs::remove(getPath("a/c"));
    fs::create_directories(getPath("a/b"));
    fs::create_directories(getPath("c"));
    fs::create_symlink("../c", getPath("a/link"));
    EXPECT_FALSE(qzDirUtils::DirExistsUtf8(getPath("a/link/../c")));
}

TEST(qzDirUtilsDirExistsNames, AreLookedUpInTheLocalCharacterSet)
{
    const support::ScratchFolder folder;
    fs::create_directory(folder.getPath("\xE9"));
    expectInLocale("en_US.ISO-8859-1", [&folder] {
        EXPECT_TRUE(qzDirUtils::DirExistsUtf8(folder.getPath("\u00e9")));
        EXPECT_FALSE(qzDirUtils::DirExistsUtf8(folder.getPath("\xE9")));
    });
    expectInLocale("C.UTF-8",
                   [&folder] { EXPECT_FALSE(qzDirUtils::DirExistsUtf8(folder.getPath("\xE9"))); });
}

}  // namespace

}  // namespace qz
