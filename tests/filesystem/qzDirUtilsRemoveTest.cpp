// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <qz/SystemError.h>

#include "FolderFixture.h"

namespace qz {

namespace {

namespace fs = std::filesystem;

std::string describe(int error)
{
    return SystemError(error).toString();
}

// --- RenameFileUtf8

using qzDirUtilsRename = FolderFixture;

TEST_F(qzDirUtilsRename, RenamesFilesAndFolders)
{
    mFolder.write("a", "content");
    EXPECT_TRUE(qzDirUtils::RenameFileUtf8(getPath("a"), getPath("b"), nullptr));
    EXPECT_FALSE(fs::exists(getPath("a")));
    EXPECT_EQ(mFolder.read("b"), "content");
    fs::create_directories(getPath("folder/inner"));
    EXPECT_TRUE(qzDirUtils::RenameFileUtf8(getPath("folder"), getPath("other"), nullptr));
    EXPECT_TRUE(fs::is_directory(getPath("other/inner")));
}

TEST_F(qzDirUtilsRename, ReplacesWhatIsThere)
{
    mFolder.write("a", "new");
    mFolder.write("b", "old");
    EXPECT_TRUE(qzDirUtils::RenameFileUtf8(getPath("a"), getPath("b"), nullptr));
    EXPECT_EQ(mFolder.read("b"), "new");
}

TEST_F(qzDirUtilsRename, KeepsTheTextOnSuccess)
{
    mFolder.write("a", "");
    std::string error = "before";
    EXPECT_TRUE(qzDirUtils::RenameFileUtf8(getPath("a"), getPath("b"), &error));
    EXPECT_EQ(error, "before");
}

TEST_F(qzDirUtilsRename, ReportsWhyItFailed)
{
    std::string error;
    EXPECT_FALSE(qzDirUtils::RenameFileUtf8(getPath("missing"), getPath("b"), &error));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(error, "rename error " + describe(ENOENT));
    mFolder.write("a", "");
    EXPECT_FALSE(qzDirUtils::RenameFileUtf8(getPath("a"), mFolder.getPath(), &error));
    EXPECT_EQ(error, "rename error " + describe(errno));
    EXPECT_FALSE(qzDirUtils::RenameFileUtf8("", "", &error));
    EXPECT_EQ(error, "rename error " + describe(ENOENT));
    EXPECT_FALSE(qzDirUtils::RenameFileUtf8(getPath("missing"), getPath("b"), nullptr));
}

TEST_F(qzDirUtilsRename, CannotLeaveTheFileSystem)
{
    if (fs::exists("/dev/shm") && !fs::equivalent("/dev/shm", mFolder.getPath())) {
        mFolder.write("a", "");
        std::string error;
        const std::string target = "/dev/shm/qzTestRename";
        const bool isMoved = qzDirUtils::RenameFileUtf8(getPath("a"), target, &error);
        fs::remove(target);
        EXPECT_EQ(error, isMoved ? "" : "rename error " + describe(EXDEV));
    }
}

// --- RemoveFileUtf8

using qzDirUtilsRemove = FolderFixture;

TEST_F(qzDirUtilsRemove, RemovesFilesLinksAndEmptyFolders)
{
    mFolder.write("file", "");
    fs::create_symlink("file", getPath("link"));
    fs::create_directory(getPath("folder"));
    std::string error = "before";
    EXPECT_TRUE(qzDirUtils::RemoveFileUtf8(getPath("link"), &error));
    EXPECT_EQ(error, "");
    EXPECT_TRUE(fs::exists(getPath("file")));
    EXPECT_TRUE(qzDirUtils::RemoveFileUtf8(getPath("file"), nullptr));
    EXPECT_TRUE(qzDirUtils::RemoveFileUtf8(getPath("folder"), nullptr));
    EXPECT_TRUE(fs::is_empty(mFolder.getPath()));
}

TEST_F(qzDirUtilsRemove, HasRemovedTheEmptyPathAlready)
{
    std::string error = "before";
    EXPECT_TRUE(qzDirUtils::RemoveFileUtf8("", &error));
    EXPECT_EQ(error, "");
    EXPECT_TRUE(qzDirUtils::RemoveFileUtf8("", nullptr));
}

TEST_F(qzDirUtilsRemove, ReportsWhyItFailed)
{
    std::string error = "before";
    const std::string path = getPath("missing");
    EXPECT_FALSE(qzDirUtils::RemoveFileUtf8(path, &error));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(error, "remove error " + describe(ENOENT) + " for '" + path + "'");
    EXPECT_FALSE(qzDirUtils::RemoveFileUtf8(path, nullptr));
    fs::create_directories(getPath("folder/inner"));
    EXPECT_FALSE(qzDirUtils::RemoveFileUtf8(getPath("folder"), &error));
    EXPECT_EQ(errno, ENOTEMPTY);
    EXPECT_EQ(error, "remove error " + describe(ENOTEMPTY) + " for '" + getPath("folder") + "'");
}

// A name that can't be converted is the empty one for the system, and not the empty path.
TEST_F(qzDirUtilsRemove, FindsNoFileByANameThatCannotBeConverted)
{
    mFolder.write("\xff", "");
    std::string error;
    EXPECT_FALSE(qzDirUtils::RemoveFileUtf8(getPath("\xff"), &error));
    EXPECT_EQ(error, "remove error " + describe(ENOENT) + " for '" + getPath("\xff") + "'");
}

TEST(qzDirUtilsRemoveNames, AreTakenInTheLocalCharacterSet)
{
    const support::ScratchFolder folder;
    folder.write("\xE9", "");
    expectInLocale("en_US.ISO-8859-1", [&folder] {
        std::string error;
        EXPECT_TRUE(
            qzDirUtils::RenameFileUtf8(folder.getPath("\u00e9"), folder.getPath("\u00e8"), &error));
        EXPECT_TRUE(fs::exists(folder.getPath("\xE8")));
        EXPECT_TRUE(qzDirUtils::RemoveFileUtf8(folder.getPath("\u00e8"), &error)) << error;
        EXPECT_FALSE(qzDirUtils::RemoveFileUtf8(folder.getPath("\u20ac"), &error));
        EXPECT_EQ(error,
                  "remove error " + describe(ENOENT) + " for '" + folder.getPath("\u20ac") + "'");
    });
    EXPECT_TRUE(fs::is_empty(folder.getPath()));
}

}  // namespace

}  // namespace qz
