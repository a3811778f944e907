// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/ScratchFolder.h"

namespace qz {

class qzDirUtilsFileExists : public ::testing::Test {
protected:
    support::LibraryStart mLibrary;
    support::ScratchFolder mFolder;
    std::string mPath = mFolder.getPath("entry");
};

TEST_F(qzDirUtilsFileExists, IsFalseWhereNothingIs)
{
    EXPECT_FALSE(qzDirUtils::FileExistsUtf8(mPath));
    EXPECT_FALSE(qzDirUtils::FileExistsUtf8(mPath + "/entry"));
    EXPECT_FALSE(qzDirUtils::FileExistsUtf8(""));
}

TEST_F(qzDirUtilsFileExists, IsTrueForEveryKindOfObject)
{
    EXPECT_TRUE(qzDirUtils::FileExistsUtf8(mFolder.write("file", "")));
    EXPECT_TRUE(qzDirUtils::FileExistsUtf8(mFolder.getPath()));
    EXPECT_TRUE(qzDirUtils::FileExistsUtf8("/"));
    EXPECT_TRUE(qzDirUtils::FileExistsUtf8("/dev/null"));
    ASSERT_EQ(::mkfifo(mPath.c_str(), 0600), 0);
    EXPECT_TRUE(qzDirUtils::FileExistsUtf8(mPath));
}

// The kernel gives an event counter, which is no object of any file system, no type.
TEST_F(qzDirUtilsFileExists, IsFalseForWhatHasNoType)
{
    const int fd = ::eventfd(0, EFD_CLOEXEC);
    ASSERT_GE(fd, 0);
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    struct stat status = {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & S_IFMT, 0U);
    EXPECT_FALSE(qzDirUtils::FileExistsUtf8(path));
    ::close(fd);
}

TEST_F(qzDirUtilsFileExists, FollowsLinks)
{
    std::filesystem::create_symlink(mFolder.getPath("target"), mPath);
    EXPECT_FALSE(qzDirUtils::FileExistsUtf8(mPath));
    mFolder.write("target", "");
    EXPECT_TRUE(qzDirUtils::FileExistsUtf8(mPath));
}

TEST_F(qzDirUtilsFileExists, IsFalseForALinkToItself)
{
    std::filesystem::create_symlink(mPath, mPath);
    EXPECT_FALSE(qzDirUtils::FileExistsUtf8(mPath));
}

TEST_F(qzDirUtilsFileExists, IsFalseForANameThatIsTooLong)
{
    EXPECT_FALSE(qzDirUtils::FileExistsUtf8(mFolder.getPath(std::string(300, 'x'))));
    EXPECT_FALSE(qzDirUtils::FileExistsUtf8(std::string(5000, '/')));
}

TEST_F(qzDirUtilsFileExists, IsFalseWhereTheFolderMayNotBeSearched)
{
    mFolder.write("entry", "");
    ::chmod(mFolder.getPath().c_str(), 0600);
    const support::ChildResult child = support::runInChild([this] {
        support::becomeNobody();
        return qzDirUtils::FileExistsUtf8(mPath) ? 1 : 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
}

TEST(qzDirUtilsFileExistsNames, AreLookedUpInTheLocalCharacterSet)
{
    const support::ScratchFolder folder;
    folder.write("\xE9", "");
    const support::ChildResult child = support::runInChild([&folder] {
        const support::EnvironmentLocale locale("en_US.ISO-8859-1");
        const support::LibraryStart library;
        EXPECT_TRUE(qzDirUtils::FileExistsUtf8(folder.getPath("\xC3\xA9")));
        EXPECT_FALSE(qzDirUtils::FileExistsUtf8(folder.getPath("\xE9")));
        return ::testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0") << child.out;
}

}  // namespace qz
