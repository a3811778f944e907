// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "FolderFixture.h"

namespace qz {

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

class UmaskGuard {
public:
    explicit UmaskGuard(mode_t mask) : mBefore(::umask(mask)) {}
    ~UmaskGuard() { ::umask(mBefore); }
    UmaskGuard(const UmaskGuard&) = delete;
    UmaskGuard& operator=(const UmaskGuard&) = delete;

private:
    mode_t mBefore;
};

using qzDirUtilsMkpath = FolderFixture;

TEST_F(qzDirUtilsMkpath, MakesAllThatIsMissing)
{
    EXPECT_TRUE(qzDirUtils::MkpathUtf8(getPath("a/b/c")));
    EXPECT_TRUE(fs::is_directory(getPath("a/b/c")));
    EXPECT_TRUE(qzDirUtils::MkpathUtf8(getPath("a/b/d/e")));
    EXPECT_TRUE(fs::is_directory(getPath("a/b/d/e")));
}

TEST_F(qzDirUtilsMkpath, IsContentWithAFolderThatIsThere)
{
    EXPECT_TRUE(qzDirUtils::MkpathUtf8(mFolder.getPath()));
    EXPECT_TRUE(qzDirUtils::MkpathUtf8("/"));
    EXPECT_TRUE(qzDirUtils::MkpathUtf8("."));
    fs::create_symlink(".", getPath("link"));
    EXPECT_TRUE(qzDirUtils::MkpathUtf8(getPath("link/a")));
    EXPECT_TRUE(fs::is_directory(getPath("a")));
}

TEST_F(qzDirUtilsMkpath, PassesOverDoubledAndClosingSlashes)
{
    EXPECT_TRUE(qzDirUtils::MkpathUtf8("/" + getPath("/a///b//")));
    EXPECT_TRUE(fs::is_directory(getPath("a/b")));
}

TEST_F(qzDirUtilsMkpath, TakesThePathUnchanged)
{
    // A ".." leads back out of a folder that is made first, and a backslash is a character.
    EXPECT_TRUE(qzDirUtils::MkpathUtf8(getPath("a/../b\\c")));
    EXPECT_TRUE(fs::is_directory(getPath("a")));
    EXPECT_TRUE(fs::is_directory(getPath("b\\c")));
}

TEST_F(qzDirUtilsMkpath, WorksFromTheCurrentFolder)
{
    const WorkingFolder folder(mFolder.getPath());
    EXPECT_TRUE(qzDirUtils::MkpathUtf8("a/b"));
    EXPECT_TRUE(fs::is_directory(getPath("a/b")));
}

TEST_F(qzDirUtilsMkpath, GivesAllPermissionsThatTheUmaskLeaves)
{
    {
        const UmaskGuard umask(0);
        EXPECT_TRUE(qzDirUtils::MkpathUtf8(getPath("a/b")));
    }
    const UmaskGuard umask(027);
    EXPECT_TRUE(qzDirUtils::MkpathUtf8(getPath("c")));
    EXPECT_EQ(fs::status(getPath("a")).permissions(), fs::perms(0777));
    EXPECT_EQ(fs::status(getPath("a/b")).permissions(), fs::perms(0777));
    EXPECT_EQ(fs::status(getPath("c")).permissions(), fs::perms(0750));
}

TEST_F(qzDirUtilsMkpath, StopsAtAFileInTheWay)
{
    mFolder.write("file", "");
    fs::create_directory(getPath("a"));
    for (const char* path : {"file", "file/b", "file/b/c", "a/../file/b"}) {
        errno = 0;
        EXPECT_FALSE(qzDirUtils::MkpathUtf8(getPath(path))) << path;
        EXPECT_EQ(errno, ENOTDIR) << path;
    }
    EXPECT_FALSE(qzDirUtils::MkpathUtf8("/dev/null/a"));
    EXPECT_EQ(errno, ENOTDIR);
}

// The target of the link can't be checked, and the folder can't be made either.
TEST_F(qzDirUtilsMkpath, StopsAtALinkThatLeadsNowhere)
{
    fs::create_symlink("missing", getPath("dangling"));
    EXPECT_FALSE(qzDirUtils::MkpathUtf8(getPath("dangling/a")));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_FALSE(fs::exists(getPath("missing")));
}

TEST_F(qzDirUtilsMkpath, CannotMakeWhatHasNoName)
{
    EXPECT_FALSE(qzDirUtils::MkpathUtf8(""));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(qzDirUtils::MkpathUtf8(getPath("\xff")));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(qzDirUtilsMkpath, LeavesWhatItMadeBeforeAFailure)
{
    EXPECT_FALSE(qzDirUtils::MkpathUtf8(getPath("a/" + std::string(300, 'x') + "/b")));
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_TRUE(fs::is_empty(getPath("a")));
    expectAsNobody([this] {
        fs::create_directory(getPath("closed"));
        fs::permissions(getPath("closed"), fs::perms(0500));
        EXPECT_FALSE(qzDirUtils::MkpathUtf8(getPath("closed/a/b")));
        EXPECT_EQ(errno, EACCES);
    });
}

TEST_F(qzDirUtilsMkpath, EndsThePathAtAZeroByte)
{
    EXPECT_TRUE(qzDirUtils::MkpathUtf8(getPath("a\0b"s)));
    EXPECT_TRUE(fs::is_directory(getPath("a")));
}

// Somebody makes the same folder between the look for it and the making.
TEST_F(qzDirUtilsMkpath, FailsWhenAnotherProcessIsQuicker)
{
    const support::ChildResult result =
        support::runProgram({.program = "mkpath_race", .arguments = {getPath("a/b")}});
    EXPECT_EQ(result.out, "made: 0, EEXIST: 1\nagain: 1\n");
    EXPECT_EQ(result.getEnd(), "exit 0");
}

TEST(qzDirUtilsMkpathNames, AreMadeInTheLocalCharacterSet)
{
    const support::ScratchFolder folder;
    expectInLocale("en_US.ISO-8859-1", [&folder] {
        EXPECT_TRUE(qzDirUtils::MkpathUtf8(folder.getPath("\u00e9/\u00e8")));
    });
    EXPECT_TRUE(fs::is_directory(folder.getPath("\xE9/\xE8")));
}

}  // namespace

}  // namespace qz
