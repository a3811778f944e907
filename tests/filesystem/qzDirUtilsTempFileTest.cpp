// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "FolderFixture.h"
#include "support/Files.h"

namespace qz {

namespace {

namespace fs = std::filesystem;

using qzDirUtilsGetTempFile = FolderFixture;

TEST_F(qzDirUtilsGetTempFile, MakesAnEmptyFileOfItsOwn)
{
    const std::size_t openBefore = support::countOpenDescriptors();
    const std::string path = qzDirUtils::GetTempFileUtf8(mFolder.getPath(), "prefix");
    EXPECT_EQ(path.rfind(getPath("prefix"), 0), 0U) << path;
    EXPECT_EQ(path.size(), getPath("prefix").size() + 6);
    EXPECT_EQ(path.find("XXXXXX"), std::string::npos);
    EXPECT_TRUE(fs::is_regular_file(path));
    EXPECT_EQ(fs::file_size(path), 0U);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
    EXPECT_NE(qzDirUtils::GetTempFileUtf8(mFolder.getPath(), "prefix"), path);
    EXPECT_EQ(support::countOpenDescriptors(), openBefore);
}

TEST_F(qzDirUtilsGetTempFile, TakesAnEmptySuffix)
{
    const std::string path = qzDirUtils::GetTempFileUtf8(mFolder.getPath(), "prefix", "");
    EXPECT_EQ(path.rfind(getPath("prefix"), 0), 0U) << path;
    EXPECT_TRUE(fs::is_regular_file(path));
}

TEST_F(qzDirUtilsGetTempFile, TakesNoOtherSuffix)
{
    errno = 0;
    EXPECT_EQ(qzDirUtils::GetTempFileUtf8(mFolder.getPath(), "prefix", ".txt"), "");
    EXPECT_EQ(errno, EINVAL);
    EXPECT_TRUE(fs::is_empty(mFolder.getPath()));
}

TEST_F(qzDirUtilsGetTempFile, EndsTheNameAtAZeroByte)
{
    const std::string suffix("\0.txt", 5);
    const std::string path = qzDirUtils::GetTempFileUtf8(mFolder.getPath(), "prefix", suffix);
    EXPECT_EQ(path.size(), getPath("prefix").size() + 6);
    EXPECT_TRUE(fs::is_regular_file(path));
}

TEST_F(qzDirUtilsGetTempFile, GivesNothingWithoutAFolder)
{
    EXPECT_EQ(qzDirUtils::GetTempFileUtf8(getPath("missing"), "prefix"), "");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(qzDirUtils::GetTempFileUtf8(mFolder.getPath(), "\xff"), "");
    EXPECT_TRUE(fs::is_empty(mFolder.getPath()));
}

TEST(qzDirUtilsGetTempFileNames, AreMadeInTheLocalCharacterSet)
{
    const support::ScratchFolder folder;
    expectInLocale("en_US.ISO-8859-1", [&folder] {
        const std::string path = qzDirUtils::GetTempFileUtf8(folder.getPath(), "\u00e9");
        EXPECT_EQ(path.rfind(folder.getPath("\u00e9"), 0), 0U) << path;
        EXPECT_TRUE(qzDirUtils::FileExistsUtf8(path));
    });
    const fs::path made = fs::directory_iterator(folder.getPath())->path();
    EXPECT_EQ(made.filename().string()[0], '\xE9');
}

}  // namespace

}  // namespace qz
