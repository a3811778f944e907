// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <dirent.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/SystemError.h>
#include <qz/qzCancelInterface.h>

#include "FolderFixture.h"
#include "support/Files.h"

namespace qz {

namespace {

namespace fs = std::filesystem;

std::string describe(int error)
{
    return SystemError(error).toString();
}

// Cancels at one poll, or from it on.
class CancelAt : public qzCancelInterfaceReadOnly {
public:
    enum Length { Once, FromThenOn };

    CancelAt(int question, Length length) : mQuestion(question), mLength(length) {}
    bool shouldCancel() const override
    {
        ++mAsked;
        return mAsked == mQuestion || (mLength == FromThenOn && mAsked > mQuestion);
    }
    int getAsked() const { return mAsked; }

private:
    int mQuestion;
    Length mLength;
    mutable int mAsked = 0;
};

class qzDirUtilsClearFolder : public FolderFixture {
protected:
    qzDirUtilsClearFolder() { fs::create_directory(mTarget); }

    bool clear(bool removeFolder = false, const qzCancelInterfaceReadOnly* cancel = nullptr)
    {
        mError = "before";
        return qzDirUtils::ClearFolderUtf8(mTarget, removeFolder, &mError, cancel);
    }
    void write(const std::string& name) const { mFolder.write("target/" + name, name); }
    void makeFolder(const std::string& name) const { fs::create_directories(mTarget + '/' + name); }

    // Three levels, each with two files: with "." and "..", 4 or 5 entries each.
    void makeTree() const
    {
        makeFolder("b/b");
        for (const char* name : {"a", "c", "b/a", "b/c", "b/b/a", "b/b/c"})
            write(name);
    }
    static constexpr int kEntriesOfTree = 5 + 5 + 4;
    static constexpr int kFoldersOfTree = 3;

    std::string mTarget = getPath("target");
    std::string mError;
};

TEST_F(qzDirUtilsClearFolder, RemovesAllEntries)
{
    makeTree();
    EXPECT_TRUE(clear());
    EXPECT_EQ(mError, "");
    EXPECT_TRUE(fs::is_empty(mTarget));
}

TEST_F(qzDirUtilsClearFolder, RemovesTheFolderTooWhenAskedTo)
{
    makeTree();
    EXPECT_TRUE(clear(/*removeFolder=*/true));
    EXPECT_EQ(mError, "");
    EXPECT_FALSE(fs::exists(mTarget));
    EXPECT_TRUE(fs::exists(mFolder.getPath()));
}

TEST_F(qzDirUtilsClearFolder, IsDoneWithAFolderThatIsNotThere)
{
    mFolder.write("file", "");
    std::string error = "before";
    EXPECT_TRUE(qzDirUtils::ClearFolderUtf8(getPath("missing"), true, &error, nullptr));
    EXPECT_EQ(error, "");
    EXPECT_TRUE(qzDirUtils::ClearFolderUtf8(getPath("file"), true, nullptr, nullptr));
    EXPECT_TRUE(qzDirUtils::ClearFolderUtf8("", true, nullptr, nullptr));
    EXPECT_TRUE(fs::exists(getPath("file")));
}

TEST_F(qzDirUtilsClearFolder, RemovesEveryKindOfObject)
{
    ASSERT_EQ(::mkfifo((mTarget + "/pipe").c_str(), 0600), 0);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    (mTarget + "/socket").copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ::close(fd);
    fs::create_symlink("missing", mTarget + "/dangling");
    fs::create_symlink("loop", mTarget + "/loop");
    write("file");
    EXPECT_TRUE(clear()) << mError;
    EXPECT_TRUE(fs::is_empty(mTarget));
}

TEST_F(qzDirUtilsClearFolder, RemovesLinksToFilesAlone)
{
    mFolder.write("file", "content");
    fs::create_symlink(getPath("file"), mTarget + "/link");
    EXPECT_TRUE(clear());
    EXPECT_EQ(mFolder.read("file"), "content");
}

// A link to a folder is entered: its target becomes empty. Then the work ends, because the link
// can't be removed as a folder.
TEST_F(qzDirUtilsClearFolder, EntersLinksToFolders)
{
    fs::create_directories(getPath("outside/inner"));
    mFolder.write("outside/file", "");
    mFolder.write("outside/inner/file", "");
    fs::create_symlink(getPath("outside"), mTarget + "/link");
    EXPECT_FALSE(clear(/*removeFolder=*/true));
    EXPECT_EQ(mError, "rmdir error " + describe(ENOTDIR) + " for " + mTarget + "/link");
    EXPECT_EQ(errno, ENOTEMPTY) << "of the folder above, which is tried too";
    EXPECT_TRUE(fs::is_empty(getPath("outside")));
    EXPECT_TRUE(fs::is_symlink(mTarget + "/link"));
}

TEST_F(qzDirUtilsClearFolder, ClearsThroughALinkThatNamesTheFolder)
{
    makeTree();
    fs::create_symlink(mTarget, getPath("link"));
    EXPECT_TRUE(qzDirUtils::ClearFolderUtf8(getPath("link"), false, &mError, nullptr));
    EXPECT_TRUE(fs::is_empty(mTarget));
    EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(getPath("link"), true, &mError, nullptr));
    EXPECT_EQ(mError, "rmdir error " + describe(ENOTDIR) + " for " + getPath("link"));
}

// The folder is checked by the simplified path and opened by the one that was given.
TEST_F(qzDirUtilsClearFolder, OpensThePathAsItIsGiven)
{
    makeTree();
    const std::string roundabout = getPath("missing/../target");
    EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(roundabout, true, &mError, nullptr));
    EXPECT_EQ(mError, "opendir error " + describe(ENOENT) + " for ");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(fs::exists(mTarget + "/b/b/c"));
    EXPECT_TRUE(qzDirUtils::ClearFolderUtf8(getPath("target//"), true, &mError, nullptr)) << mError;
    EXPECT_FALSE(fs::exists(mTarget));
}

// Through a link, ".." leads out of the link's target for the system, and out of the link's folder
// by the text: so the entry is a file to the one and a folder by the other.
TEST_F(qzDirUtilsClearFolder, FindsEntriesBySimplifiedPaths)
{
    fs::create_directories(getPath("far/deep"));
    mFolder.write("far/entry", "");
    fs::create_symlink("../far/deep", mTarget + "/link");
    makeFolder("entry");
    makeFolder("deep");
    EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(mTarget + "/link/..", false, &mError, nullptr));
    EXPECT_EQ(mError.rfind("opendir error ", 0), 0U) << mError;
    EXPECT_TRUE(fs::exists(getPath("far/entry")));
}

TEST_F(qzDirUtilsClearFolder, RemovesFilesWithABackslashInTheirNames)
{
    write("a\\b");
    EXPECT_TRUE(clear()) << mError;
    EXPECT_TRUE(fs::is_empty(mTarget));
}

// The question goes to the simplified path, where there is a folder, and the opening to the file.
TEST_F(qzDirUtilsClearFolder, TakesABackslashForASeparatorWhenItChecksForAFolder)
{
    fs::create_directory(getPath("other"));
    write("..\\other");
    EXPECT_FALSE(clear());
    EXPECT_EQ(mError, "opendir error " + describe(ENOTDIR) + " for ");
    EXPECT_TRUE(fs::exists(mTarget + "/..\\other"));
}

TEST_F(qzDirUtilsClearFolder, LeavesErrnoOfTheFailedCall)
{
    expectAsNobody([this] {
        fs::create_directories(getPath("mine/closed"));
        mFolder.write("mine/closed/file", "");
        fs::permissions(getPath("mine/closed"), fs::perms(0500));
        EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(getPath("mine/closed"), false, &mError, nullptr));
        EXPECT_EQ(errno, EACCES);
        EXPECT_EQ(mError,
                  "unlink error " + describe(EACCES) + " for " + getPath("mine/closed/file"));
        fs::permissions(getPath("mine/closed"), fs::perms(0700));
    });
}

// The first text stays, and so do the folders above, each after an attempt.
TEST_F(qzDirUtilsClearFolder, ReportsTheFirstEntryThatCannotBeRemovedAtEachDepth)
{
    expectAsNobody([this] {
        std::string closed = getPath("mine");
        for (int depth = 0; depth < 4; ++depth) {
            fs::create_directories(closed);
            support::writeFile(closed + "/file", "");
            fs::permissions(closed, fs::perms(0500));
            for (const bool removeFolder : {false, true}) {
                EXPECT_FALSE(
                    qzDirUtils::ClearFolderUtf8(getPath("mine"), removeFolder, &mError, nullptr));
                EXPECT_EQ(errno, depth == 0 && !removeFolder ? EACCES : ENOTEMPTY) << depth;
                EXPECT_EQ(mError, "unlink error " + describe(EACCES) + " for " + closed + "/file");
                EXPECT_FALSE(
                    qzDirUtils::ClearFolderUtf8(getPath("mine"), removeFolder, nullptr, nullptr));
            }
            EXPECT_TRUE(fs::exists(closed + "/file"));
            fs::permissions(closed, fs::perms(0700));
            fs::remove(closed + "/file");
            closed += "/folder";
        }
        fs::remove_all(getPath("mine"));
    });
}

TEST_F(qzDirUtilsClearFolder, ReportsAFolderThatCannotBeOpenedWithoutAName)
{
    expectAsNobody([this] {
        fs::create_directories(getPath("mine/closed"));
        fs::permissions(getPath("mine/closed"), fs::perms(0300));
        EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(getPath("mine"), false, &mError, nullptr));
        EXPECT_EQ(mError, "opendir error " + describe(EACCES) + " for ");
        EXPECT_EQ(errno, EACCES);
        EXPECT_TRUE(fs::exists(getPath("mine/closed"))) << "no removal is tried";
        EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(getPath("mine"), false, nullptr, nullptr));
    });
}

// Without the permission to search the folder nothing in it can be checked: all are files then.
TEST_F(qzDirUtilsClearFolder, TakesAllForFilesInAFolderThatMayNotBeSearched)
{
    expectAsNobody([this] {
        fs::create_directories(getPath("mine/folder"));
        fs::permissions(getPath("mine"), fs::perms(0600));
        EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(getPath("mine"), false, &mError, nullptr));
        EXPECT_EQ(mError, "unlink error " + describe(EACCES) + " for " + getPath("mine/folder"));
        fs::permissions(getPath("mine"), fs::perms(0700));
    });
}

TEST_F(qzDirUtilsClearFolder, TriesToRemoveTheFolderEvenAfterAFailure)
{
    expectAsNobody([this] {
        fs::create_directories(getPath("mine/closed"));
        mFolder.write("mine/closed/file", "");
        fs::permissions(getPath("mine/closed"), fs::perms(0500));
        errno = 0;
        EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(getPath("mine/closed"), true, &mError, nullptr));
        EXPECT_EQ(errno, ENOTEMPTY) << "of the folder";
        EXPECT_EQ(mError,
                  "unlink error " + describe(EACCES) + " for " + getPath("mine/closed/file"));
        fs::permissions(getPath("mine/closed"), fs::perms(0700));
    });
}

TEST_F(qzDirUtilsClearFolder, ReportsAFolderThatCannotBeRemoved)
{
    const WorkingFolder here(mFolder.getPath());
    expectAsNobody([this] {
        fs::create_directories(getPath("mine/closed/folder"));
        fs::permissions(getPath("mine/closed"), fs::perms(0500));
        EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(getPath("mine"), false, &mError, nullptr));
        EXPECT_EQ(mError,
                  "rmdir error " + describe(EACCES) + " for " + getPath("mine/closed/folder"));
        fs::permissions(getPath("mine/closed"), fs::perms(0700));
    });
    EXPECT_TRUE(fs::exists(getPath("mine/closed/folder")));
}

TEST_F(qzDirUtilsClearFolder, WorksFromTheCurrentFolder)
{
    makeTree();
    const WorkingFolder folder(mTarget);
    EXPECT_TRUE(qzDirUtils::ClearFolderUtf8("./b", true, &mError, nullptr)) << mError;
    EXPECT_FALSE(fs::exists("b"));
    EXPECT_TRUE(qzDirUtils::ClearFolderUtf8(".", false, &mError, nullptr)) << mError;
    EXPECT_TRUE(fs::is_empty(mTarget));
}

TEST_F(qzDirUtilsClearFolder, EndsThePathAtAZeroByte)
{
    makeTree();
    mTarget += std::string("\0/b", 3);
    EXPECT_TRUE(clear()) << mError;
    EXPECT_TRUE(fs::is_empty(getPath("target")));
}

TEST_F(qzDirUtilsClearFolder, KeepsNoDescriptor)
{
    makeTree();
    const std::size_t openBefore = support::countOpenDescriptors();
    EXPECT_TRUE(clear());
    EXPECT_EQ(support::countOpenDescriptors(), openBefore);
}

TEST_F(qzDirUtilsClearFolder, RemovesManyLevels)
{
    std::string name = "a";
    for (int i = 0; i < 200; ++i)
        name += "/a";
    makeFolder(name);
    write(name + "/file");
    EXPECT_TRUE(clear()) << mError;
    EXPECT_TRUE(fs::is_empty(mTarget));
}

// No name may be cut off so that something else goes in its place. A folder whose path is too long
// is not found, and so taken for a file.
TEST_F(qzDirUtilsClearFolder, FailsAtAFolderWhosePathIsTooLong)
{
    {
        const WorkingFolder here(mTarget);
        for (int i = 0; i < 18; ++i) {
            const std::string name(250, 'x');
            fs::create_directory(name);
            fs::current_path(name);
        }
    }
    EXPECT_FALSE(clear());
    EXPECT_EQ(mError.rfind("unlink error " + describe(EISDIR) + " for " + mTarget, 0), 0U)
        << mError;
}

// --- Cancelling

TEST_F(qzDirUtilsClearFolder, ChecksTheCancellationBeforeEachEntryAndAfterEachFolder)
{
    makeTree();
    const CancelAt never(0, CancelAt::Once);
    EXPECT_TRUE(clear(true, &never));
    EXPECT_EQ(never.getAsked(), kEntriesOfTree + kFoldersOfTree);
}

TEST_F(qzDirUtilsClearFolder, EndsAtEachQuestion)
{
    for (int question = 1; question <= kEntriesOfTree + kFoldersOfTree; ++question) {
        makeTree();
        const CancelAt cancel(question, CancelAt::FromThenOn);
        EXPECT_FALSE(clear(true, &cancel)) << question;
        EXPECT_EQ(mError, "Canceled");
        EXPECT_TRUE(fs::exists(mTarget)) << question;
    }
    EXPECT_TRUE(fs::is_empty(mTarget)) << "the last poll comes after all entries";
}

TEST_F(qzDirUtilsClearFolder, TouchesNothingWhenItIsCancelledBefore)
{
    makeTree();
    const CancelAt cancel(1, CancelAt::FromThenOn);
    EXPECT_FALSE(clear(false, &cancel));
    EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(mTarget, true, nullptr, &cancel));
    EXPECT_EQ(std::distance(fs::recursive_directory_iterator(mTarget), {}), 8);
}

// The loop ends, but the last poll isn't cancelled any more: the folder is tried.
TEST_F(qzDirUtilsClearFolder, FollowsTheLastCheckOfTheCancellationAfterAFolder)
{
    write("a");
    const CancelAt cancel(1, CancelAt::Once);
    EXPECT_FALSE(clear(true, &cancel));
    EXPECT_EQ(mError, "rmdir error " + describe(ENOTEMPTY) + " for " + mTarget);
    EXPECT_EQ(cancel.getAsked(), 2);
    const CancelAt again(1, CancelAt::Once);
    EXPECT_TRUE(clear(false, &again)) << "without a failure, though nothing was removed";
    EXPECT_EQ(mError, "");
    EXPECT_TRUE(fs::exists(mTarget + "/a"));
}

// Asks for an end once an entry has failed: the text of that goes.
TEST_F(qzDirUtilsClearFolder, ReportsTheCancellationRatherThanAFailure)
{
    expectAsNobody([this] {
        fs::create_directories(getPath("mine"));
        mFolder.write("mine/file", "");
        fs::permissions(getPath("mine"), fs::perms(0500));
        // Each of the three entries comes with a question, unless the one before has failed, and
        // the last poll comes after the folder.
        const CancelAt never(0, CancelAt::Once);
        EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(getPath("mine"), false, &mError, &never));
        EXPECT_EQ(mError, "unlink error " + describe(EACCES) + " for " + getPath("mine/file"));
        const CancelAt cancel(never.getAsked(), CancelAt::Once);
        EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(getPath("mine"), false, &mError, &cancel));
        EXPECT_EQ(mError, "Canceled");
        fs::permissions(getPath("mine"), fs::perms(0700));
    });
}

// The entry after the failed one is read, and dropped without a poll.
TEST_F(qzDirUtilsClearFolder, ChecksNoCancellationAfterAFailedEntryButAtTheEnd)
{
    expectAsNobody([this] {
        fs::create_directories(getPath("mine"));
        mFolder.write("mine/a", "");
        mFolder.write("mine/b", "");
        int entriesUpToFile = 1;
        {
            const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(getPath("mine").c_str()),
                                                             &::closedir);
            while (::readdir(folder.get())->d_name[0] == '.')
                ++entriesUpToFile;
        }
        fs::permissions(getPath("mine"), fs::perms(0500));
        const CancelAt never(0, CancelAt::Once);
        EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(getPath("mine"), false, &mError, &never));
        EXPECT_EQ(never.getAsked(), entriesUpToFile + 1);
        fs::permissions(getPath("mine"), fs::perms(0700));
    });
}

TEST_F(qzDirUtilsClearFolder, EmptiesATreeDeeperThanTheFreeDescriptors)
{
    for (const int free : {1, 2, 3, 10}) {
        std::string folder = "a";
        for (int i = 0; i != 20; ++i, folder += "/a") {
            makeFolder(folder);
            for (const char* name : {"/x", "/y", "/z"})
                write(folder + name);
        }
        const support::DescriptorLimit limit(free);
        EXPECT_TRUE(clear()) << mError;
        EXPECT_TRUE(mError.empty()) << mError;
        EXPECT_TRUE(fs::is_empty(mTarget)) << free << " free descriptors";
    }
}

// The entries of a folder that was closed are removed by their paths.
TEST_F(qzDirUtilsClearFolder, KeepsTheFirstErrorWhenItHasFewDescriptors)
{
    expectAsNobody([this] {
        const std::string mine = getPath("mine");
        fs::create_directories(mine + "/a/b");
        for (const char* name : {"/x", "/y", "/z"})
            support::writeFile(mine + name, "");
        fs::permissions(mine, fs::perms(0500));
        fs::permissions(mine + "/a", fs::perms(0500));
        {
            const support::DescriptorLimit one(1);
            EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(mine + "/a", false, &mError, nullptr));
            EXPECT_EQ(mError, "rmdir error " + describe(EACCES) + " for " + mine + "/a/b");
            fs::permissions(mine + "/a", fs::perms(0700));
            EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(mine, false, &mError, nullptr));
            EXPECT_EQ(mError.find("for " + mine), mError.size() - mine.size() - 6) << mError;
            EXPECT_EQ(errno, EACCES);
        }
        fs::permissions(mine, fs::perms(0700));
    });
}

TEST_F(qzDirUtilsClearFolder, ReportsARootThatItHasNoDescriptorFor)
{
    makeTree();
    const support::DescriptorLimit none(0);
    EXPECT_FALSE(clear());
    EXPECT_EQ(mError, "opendir error " + describe(EMFILE) + " for ");
    EXPECT_EQ(errno, EMFILE);
}

// Counts the descriptors that are open at each poll.
class DescriptorCounter : public qzCancelInterfaceReadOnly {
public:
    bool shouldCancel() const override
    {
        mCounts.push_back(support::countOpenDescriptors());
        return false;
    }
    const std::vector<std::size_t>& getCounts() const { return mCounts; }

private:
    mutable std::vector<std::size_t> mCounts;
};

TEST_F(qzDirUtilsClearFolder, ClosesAFolderBeforeItsLastCheckOfTheCancellation)
{
    makeFolder("a");
    const std::size_t openBefore = support::countOpenDescriptors();
    const DescriptorCounter counter;
    EXPECT_TRUE(clear(true, &counter)) << mError;
    EXPECT_EQ(*std::max_element(counter.getCounts().begin(), counter.getCounts().end()),
              openBefore + 2);
    EXPECT_EQ(counter.getCounts().back(), openBefore);
}

// --- Character sets

TEST(qzDirUtilsClearFolderNames, AreTakenInTheLocalCharacterSet)
{
    const support::ScratchFolder folder;
    fs::create_directories(folder.getPath("\xE9/\xE8"));
    folder.write("\xE9/\xE8/\xE0", "");
    expectInLocale("en_US.ISO-8859-1", [&folder] {
        std::string error;
        EXPECT_TRUE(qzDirUtils::ClearFolderUtf8(folder.getPath("\u00e9"), true, &error, nullptr))
            << error;
    });
    EXPECT_TRUE(fs::is_empty(folder.getPath()));
}

TEST(qzDirUtilsClearFolderNames, AreToldInUtf8)
{
    const support::ScratchFolder folder;
    fs::permissions(folder.getPath(), fs::perms::all);
    expectInLocale("en_US.ISO-8859-1", [&folder] {
        support::becomeNobody();
        const std::string path = folder.getPath("\u00e9");
        const std::string localPath = folder.getPath("\xE9");
        fs::create_directory(localPath);
        fs::create_symlink("\xE9", folder.getPath("\xE8"));
        std::string error;
        EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(folder.getPath("\u00e8"), true, &error, nullptr));
        EXPECT_EQ(error, "rmdir error " + describe(ENOTDIR) + " for " + folder.getPath("\u00e8"));
        support::writeFile(localPath + "/\xE8", "");
        fs::permissions(localPath, fs::perms(0500));
        EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(path, true, &error, nullptr));
        EXPECT_EQ(error, "unlink error " + describe(EACCES) + " for " + path + "/\u00e8");
        fs::permissions(localPath, fs::perms(0700));
    });
}

TEST(qzDirUtilsClearFolderNames, MayBeNoTextAtAllForFiles)
{
    const support::ScratchFolder folder;
    folder.write("\xff", "");
    fs::create_symlink(".", folder.getPath("\xfe"));
    expectInLocale("C.UTF-8", [&folder] {
        std::string error;
        EXPECT_TRUE(qzDirUtils::ClearFolderUtf8(folder.getPath(), false, &error, nullptr)) << error;
    });
    EXPECT_TRUE(fs::is_empty(folder.getPath()));
}

// Such a folder isn't found, so it is removed like a file, and the message has no name for it.
TEST(qzDirUtilsClearFolderNames, MustBeTextForFolders)
{
    const support::ScratchFolder folder;
    fs::create_directory(folder.getPath("\xff"));
    expectInLocale("C.UTF-8", [&folder] {
        std::string error;
        EXPECT_FALSE(qzDirUtils::ClearFolderUtf8(folder.getPath(), false, &error, nullptr));
        EXPECT_EQ(error, "unlink error " + describe(EISDIR) + " for ");
        EXPECT_EQ(errno, EISDIR);
    });
    EXPECT_TRUE(fs::exists(folder.getPath("\xff")));
}

}  // namespace

}  // namespace qz
