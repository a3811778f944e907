// SPDX-License-Identifier: MIT
#include <qz/ext/SafeFiles.h>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <new>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/SystemError.h>

#include "ext/SafeFilesFixture.h"
#include "support/Allocations.h"
#include "support/CancelledThread.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "support/Limits.h"
#include "support/RefusedCalls.h"
#include "support/SmallDisk.h"

namespace qz::ext {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::StartsWith;

using AtomicFileTest = SafeFilesTest;

namespace {

// Sets the attributes that `chattr` changes.
bool setAttributes(const std::string& folder, int attributes)
{
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool isSet = ::ioctl(descriptor, FS_IOC_SETFLAGS, &attributes) == 0;
    ::close(descriptor);
    return isSet;
}

constexpr const char* kAccess = "system.posix_acl_access";
constexpr const char* kDefault = "system.posix_acl_default";

// An access control list in the form of the kernel: all rights for the owner, `user` for a user,
// `group` for the group of the file, `mask` as the most for both, and none for others.
std::string makeAccessList(std::uint16_t user, std::uint16_t group, std::uint16_t mask)
{
    struct Entry {
        std::uint16_t tag;
        std::uint16_t rights;
        std::uint32_t id = ~0U;
    };
    const Entry entries[] = {{0x01, 7}, {0x02, user, 1234}, {0x04, group}, {0x10, mask}, {0x20, 0}};
    return std::string("\2\0\0\0", 4) +
           std::string(reinterpret_cast<const char*>(entries), sizeof entries);
}

bool setAccessList(const std::string& path, const char* name, const std::string& list)
{
    return ::setxattr(path.c_str(), name, list.data(), list.size(), 0) == 0;
}

// Empty for none.
std::string getAccessList(const std::string& path)
{
    char list[1000];
    const ssize_t size = ::getxattr(path.c_str(), kAccess, list, sizeof list);
    return {list, size > 0 ? static_cast<std::size_t>(size) : 0};
}

}  // namespace

TEST_F(AtomicFileTest, ReplacesTheTargetAtCommitOnly)
{
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    file << "new content";
    EXPECT_TRUE(file.isOpen());
    EXPECT_FALSE(file.isCommitted());
    EXPECT_EQ(getTarget(), "old");
    EXPECT_TRUE(file.commit());
    EXPECT_FALSE(file.isOpen());
    EXPECT_TRUE(file.isCommitted());
    EXPECT_EQ(getTarget(), "new content");
    EXPECT_THAT(list(), ElementsAre("target"));
}

TEST_F(AtomicFileTest, LeavesTheTargetWithoutACommit)
{
    {
        AtomicFile file;
        ASSERT_TRUE(file.openUtf8(mPath));
        file << std::string(200'000, 'x');
        file.discard();
        EXPECT_FALSE(file.isOpen());
        EXPECT_THAT(list(), ElementsAre("target"));
        ASSERT_TRUE(file.openUtf8(mPath));
        ASSERT_TRUE(file.openUtf8(mFolder.getPath("other")));
        EXPECT_EQ(list().size(), 2U) << "a second open discards the first file";
    }
    EXPECT_EQ(getTarget(), "old");
    EXPECT_THAT(list(), ElementsAre("target"));
}

TEST_F(AtomicFileTest, HasNothingOfAFileThatWasDiscardedOrReplacedByAnother)
{
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    file << "discarded";
    file.discard();
    ASSERT_TRUE(file.openUtf8(mPath));
    file << "opened anew";
    ASSERT_TRUE(file.openUtf8(mPath));
    file << "new";
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(getTarget(), "new");
}

TEST_F(AtomicFileTest, CanBeUsedAgainAfterACommit)
{
    const std::size_t before = support::countOpenDescriptors();
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(support::countOpenDescriptors(), before);
    ASSERT_TRUE(file.openUtf8(mPath));
    EXPECT_FALSE(file.isCommitted());
    file << "never committed";
    file.discard();
    EXPECT_EQ(support::countOpenDescriptors(), before);
    EXPECT_FALSE(file.isCommitted());
    EXPECT_THAT(list(), ElementsAre("target"));
    EXPECT_EQ(getTarget(), "");
}

TEST_F(AtomicFileTest, WritesPiecesOfAllSizesInTheirOrder)
{
    std::string expected;
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    for (const std::size_t size : {0U, 1U, 65534U, 1U, 1U, 65535U, 65536U, 2U, 65537U, 200'000U}) {
        const std::string piece(size, static_cast<char>('a' + expected.size() % 26));
        EXPECT_EQ(file.writeBytes(piece.data(), size), size);
        expected += piece;
    }
    EXPECT_EQ(file.writeBytes(nullptr, 0), 0U);
    ASSERT_TRUE(file.commit());
    EXPECT_TRUE(getTarget() == expected);
}

TEST_F(AtomicFileTest, IsADeviceThatOnlyWrites)
{
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    char byte = 'x';
    EXPECT_EQ(file.getSupportedDataWay(), qzIoDevice::DataWayWrite);
    EXPECT_EQ(file.readBytes(&byte, 1), 0U);
    EXPECT_TRUE(file.atEnd());
    EXPECT_TRUE(file.good()) << "a read is no reason not to commit";
}

// --- Modes and owners

TEST_F(AtomicFileTest, IsForItsOwnerAloneUntilCommit)
{
    ASSERT_EQ(::chmod(mPath.c_str(), 0666), 0);
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    const std::vector<std::string> names = list();
    ASSERT_EQ(names.size(), 2U);
    EXPECT_THAT(names[0], StartsWith(".saving-"));
    EXPECT_EQ(names[0].size(), 8U + 26U);
    EXPECT_EQ(getMode(mFolder.getPath(names[0])), 0600U);
}

TEST_F(AtomicFileTest, HasANewNameEachTime)
{
    AtomicFile first;
    AtomicFile second;
    ASSERT_TRUE(first.openUtf8(mPath));
    ASSERT_TRUE(second.openUtf8(mPath));
    EXPECT_EQ(list().size(), 3U);
}

TEST_F(AtomicFileTest, KeepsTheModeOfTheTarget)
{
    for (const mode_t mode : {0600U, 0640U, 0755U, 0777U, 01666U}) {
        ASSERT_EQ(::chmod(mPath.c_str(), mode), 0);
        ASSERT_TRUE(replace(mPath, "new"));
        EXPECT_EQ(getMode(mPath), mode);
    }
}

TEST_F(AtomicFileTest, GivesANewFileTheModeOfAnyNewFile)
{
    const std::string path = mFolder.getPath("new");
    for (const mode_t mask : {027U, 0U}) {
        const support::ChildResult child = support::runInChild([&] {
            ::umask(mask);
            return replace(path, "new") ? kExpected : 1;
        });
        EXPECT_EQ(child.exitCode, kExpected);
        EXPECT_EQ(getMode(path), 0666U & ~mask);
        EXPECT_EQ(support::readFile(path), "new");
        EXPECT_THAT(list(), ElementsAre("new", "target"));
        fs::remove(path);
    }
}

TEST_F(AtomicFileTest, TakesTheModeThatTheTargetHasAtCommit)
{
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mFolder.getPath("late")));
    ASSERT_EQ(::chmod(mFolder.write("late", "another").c_str(), 0604), 0);
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(getMode(mFolder.getPath("late")), 0604U);
    EXPECT_EQ(mFolder.read("late"), "");
}

TEST_F(AtomicFileTest, KeepsTheOwnerOfTheTarget)
{
    if (::geteuid() != 0 || ::chown(mPath.c_str(), 12, 34) != 0) GTEST_SKIP() << "needs root";
    ASSERT_TRUE(replace(mPath, "new"));
    struct stat status = {};
    ASSERT_EQ(::stat(mPath.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 12U);
    EXPECT_EQ(status.st_gid, 34U);
}

TEST_F(AtomicFileTest, TakesTheOwnerThatTheTargetHasAtCommit)
{
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    if (::geteuid() != 0 || ::chown(mPath.c_str(), 12, 34) != 0) GTEST_SKIP() << "needs root";
    ASSERT_TRUE(file.commit());
    struct stat status = {};
    ASSERT_EQ(::stat(mPath.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 12U);
    EXPECT_EQ(status.st_gid, 34U);
}

// The mode alone would give the group the rights of the mask.
TEST_F(AtomicFileTest, KeepsTheAccessControlListOfTheTarget)
{
    const std::string list = makeAccessList(/*user=*/6, /*group=*/0, /*mask=*/6);
    if (!setAccessList(mPath, kAccess, list)) GTEST_SKIP() << "no such lists here";
    ASSERT_TRUE(replace(mPath, "new"));
    EXPECT_EQ(support::toHex(getAccessList(mPath)), support::toHex(list));
    EXPECT_EQ(getMode(mPath), 0760U);
    EXPECT_EQ(getTarget(), "new");
}

TEST_F(AtomicFileTest, TakesNoRightsOfItsFolderForATargetThatHasNone)
{
    ASSERT_EQ(::chmod(mPath.c_str(), 0660), 0);
    const std::string list = makeAccessList(/*user=*/6, /*group=*/6, /*mask=*/6);
    if (!setAccessList(mFolder.getPath(), kDefault, list)) GTEST_SKIP() << "no such lists here";
    ASSERT_TRUE(replace(mPath, "new"));
    EXPECT_EQ(support::toHex(getAccessList(mPath)), "");
    EXPECT_EQ(getMode(mPath), 0660U);
    ASSERT_TRUE(replace(mFolder.getPath("other"), "new"));
    EXPECT_EQ(support::toHex(getAccessList(mFolder.getPath("other"))),
              support::toHex(getAccessList(mFolder.write("plain", ""))));
}

TEST_F(AtomicFileTest, RefusesATargetWhoseAccessControlListItCantKeep)
{
    if (!setAccessList(mPath, kAccess, makeAccessList(6, 0, 6))) GTEST_SKIP() << "no such lists";
    const support::ChildResult child = support::runInChild([&] {
        support::refuseSystemCall(SYS_fsetxattr, ENOSPC);
        const std::string expected = "access control list for F/target: ";
        return !replace(mPath, "new") && getFailure() == expected + SystemError(ENOSPC).toString()
                   ? kExpected
                   : 1;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_EQ(getTarget(), "old");
    EXPECT_THAT(list(), ElementsAre("target"));
}

TEST_F(AtomicFileTest, NeedsNoAccessControlListsAndNoProc)
{
    struct Errors {
        int ofRead;  // 0 for none
        int ofRemoval;
    };
    // There is none to remove; the system has none, and so nothing is removed; no /proc.
    for (const Errors& errors : {Errors{0, EOPNOTSUPP}, Errors{0, ENODATA},
                                 Errors{EOPNOTSUPP, EPERM}, Errors{ENOENT, EPERM}}) {
        const support::ChildResult child = support::runInChild([&] {
            if (errors.ofRead != 0) support::refuseSystemCall(SYS_lgetxattr, errors.ofRead);
            support::refuseSystemCall(SYS_fremovexattr, errors.ofRemoval);
            return replace(mPath, std::to_string(errors.ofRead)) ? kExpected : 1;
        });
        EXPECT_EQ(child.exitCode, kExpected) << errors.ofRead << ' ' << errors.ofRemoval;
        EXPECT_EQ(getTarget(), std::to_string(errors.ofRead));
    }
}

// The copy has the permissions of its source.
TEST_F(AtomicFileTest, HasNoAccessControlListOfATargetThatACopyReplaces)
{
    const std::string source = mFolder.write("source", "new");
    ASSERT_EQ(::chmod(source.c_str(), 0640), 0);
    if (!setAccessList(mPath, kAccess, makeAccessList(6, 6, 6))) GTEST_SKIP() << "no such lists";
    ASSERT_TRUE(copyFileChecked(source, mPath, &mFailure)) << mFailure.toString();
    EXPECT_EQ(support::toHex(getAccessList(mPath)), "");
    EXPECT_EQ(getMode(mPath), 0640U);
}

TEST_F(AtomicFileTest, RefusesATargetWhoseOwnerItCantKeep)
{
    if (::geteuid() != 0) GTEST_SKIP() << "needs root for a file of another user";
    ASSERT_EQ(::chmod(mPath.c_str(), 0666), 0);
    ASSERT_EQ(::chmod(mFolder.getPath().c_str(), 0777), 0);
    const support::ChildResult child = support::runInChild([&] {
        support::becomeNobody();
        AtomicFile file;
        const bool isRefused = !file.openUtf8(mPath, &mFailure);  // before much is written
        return isRefused && getFailure() ==
                                "fchown to the owner of F/target: " + SystemError(EPERM).toString()
                   ? kExpected
                   : 1;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_EQ(getTarget(), "old");
    EXPECT_THAT(list(), ElementsAre("target"));
}

// --- Rights

TEST_F(AtomicFileTest, NeedsTheRightToWriteToTheTarget)
{
    ASSERT_EQ(::chmod(mPath.c_str(), 0444), 0);
    ASSERT_EQ(::chmod(mFolder.getPath().c_str(), 0777), 0);
    const support::ChildResult child = support::runInChild([&] {
        support::becomeNobody();
        return !replace(mPath, "new") &&
                       getFailure() == "write to F/target: " + SystemError(EACCES).toString()
                   ? kExpected
                   : 1;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_EQ(getTarget(), "old");
}

// As in a program of root that acts for a user.
TEST_F(AtomicFileTest, NeedsThatRightForTheEffectiveUser)
{
    constexpr uid_t kUser = 12;
    if (::geteuid() != 0 || ::chown(mPath.c_str(), kUser, kUser) != 0) GTEST_SKIP() << "needs root";
    ASSERT_EQ(::chmod(mPath.c_str(), 0444), 0);
    ASSERT_EQ(::chmod(mFolder.getPath().c_str(), 0777), 0);
    const support::ChildResult child = support::runInChild([&] {
        if (::setegid(kUser) != 0 || ::seteuid(kUser) != 0) return 2;
        return !replace(mPath, "new") &&
                       getFailure() == "write to F/target: " + SystemError(EACCES).toString()
                   ? kExpected
                   : 1;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_EQ(getTarget(), "old");
}

TEST_F(AtomicFileTest, ReportsAFolderThatIsNotWritable)
{
    ASSERT_EQ(::chmod(mPath.c_str(), 0666), 0);
    ASSERT_EQ(::chmod(mFolder.getPath().c_str(), 0555), 0);
    const support::ChildResult child = support::runInChild([&] {
        support::becomeNobody();
        const std::string expected = "create a file beside F/target: ";
        return !replace(mPath, "new") && getFailure() == expected + SystemError(EACCES).toString()
                   ? kExpected
                   : 1;
    });
    ASSERT_EQ(::chmod(mFolder.getPath().c_str(), 0755), 0);
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_EQ(getTarget(), "old");
}

// There, the new file could neither take a name nor be removed.
TEST_F(AtomicFileTest, LeavesNothingInAFolderToWhichOneCanOnlyAppend)
{
    if (!setAttributes(mFolder.getPath(), FS_APPEND_FL)) GTEST_SKIP() << "no right or no support";
    for (const char* name : {"target", "new"}) {
        EXPECT_FALSE(replace(mFolder.getPath(name), "new"));
        EXPECT_EQ(getFailure(), "replace in its folder F/" + std::string(name) + ": " +
                                    SystemError(EPERM).toString());
    }
    EXPECT_TRUE(setAttributes(mFolder.getPath(), 0));
    EXPECT_EQ(getTarget(), "old");
    EXPECT_THAT(list(), ElementsAre("target"));
}

// What an attacker could put into a folder such as /tmp.
TEST_F(AtomicFileTest, FollowsAndReplacesNothingOfAnotherUserInAFolderOfAll)
{
    if (::geteuid() != 0) GTEST_SKIP() << "needs root for files of other users";
    constexpr uid_t kAttacker = 12;
    const std::string shared = mFolder.getPath("shared");
    fs::create_directory(shared);
    ASSERT_EQ(::symlink(mPath.c_str(), (shared + "/link").c_str()), 0);
    ASSERT_EQ(::symlink("missing", (shared + "/dangling").c_str()), 0);
    support::writeFile(shared + "/file", "planted");
    for (const char* name : {"/link", "/dangling", "/file"})
        ASSERT_EQ(::lchown((shared + name).c_str(), kAttacker, kAttacker), 0);
    for (const mode_t mode : {01777U, 0777U}) {
        ASSERT_EQ(::chmod(shared.c_str(), mode), 0);
        for (const char* name : {"/link", "/dangling", "/file"}) {
            EXPECT_FALSE(replace(shared + name, "secret")) << name << mode;
            EXPECT_EQ(mFailure.error, EACCES) << name << mode;
        }
    }
    EXPECT_EQ(getTarget(), "old");
    EXPECT_THAT(list(shared), ElementsAre("dangling", "file", "link"));
    EXPECT_EQ(support::readFile(shared + "/file"), "planted");
}

TEST_F(AtomicFileTest, ReplacesAFileOfAnotherUserInAFolderOfAGroup)
{
    const std::string shared = mFolder.getPath("shared");
    fs::create_directory(shared);
    support::writeFile(shared + "/file", "old");
    if (::geteuid() != 0 || ::chown(shared.c_str(), 12, 12) != 0) GTEST_SKIP() << "needs root";
    ASSERT_EQ(::chmod(shared.c_str(), 0770), 0);
    ASSERT_EQ(::chown((shared + "/file").c_str(), 34, 34), 0);
    EXPECT_TRUE(replace(shared + "/file", "new")) << mFailure.toString();
    EXPECT_EQ(support::readFile(shared + "/file"), "new");
}

TEST_F(AtomicFileTest, ReplacesAFileOfItsOwnInAFolderOfAll)
{
    const std::string shared = mFolder.getPath("shared");
    fs::create_directory(shared);
    support::writeFile(shared + "/file", "old");
    fs::create_symlink("file", shared + "/link");
    if (::geteuid() != 0 || ::chown(shared.c_str(), 12, 12) != 0) GTEST_SKIP() << "needs root";
    ASSERT_EQ(::chmod(shared.c_str(), 01777), 0);
    EXPECT_TRUE(replace(shared + "/link", "new")) << mFailure.toString();
    EXPECT_EQ(support::readFile(shared + "/file"), "new");
}

// --- Links

TEST_F(AtomicFileTest, WritesThroughLinks)
{
    const std::string folder = mFolder.getPath("folder");
    fs::create_directory(folder);
    fs::create_symlink("folder/second", mFolder.getPath("first"));
    fs::create_symlink(mPath, folder + "/second");
    ASSERT_TRUE(replace(mFolder.getPath("first"), "new"));
    EXPECT_FALSE(fs::is_symlink(mPath));
    EXPECT_EQ(getTarget(), "new");
    EXPECT_TRUE(fs::is_symlink(mFolder.getPath("first")));
    EXPECT_TRUE(fs::is_symlink(folder + "/second"));
    EXPECT_THAT(list(), ElementsAre("first", "folder", "target"));
}

TEST_F(AtomicFileTest, MakesTheFileThatALinkToNothingNames)
{
    fs::create_symlink("missing", mFolder.getPath("link"));
    ASSERT_TRUE(replace(mFolder.getPath("link"), "new"));
    EXPECT_EQ(mFolder.read("missing"), "new");
    EXPECT_TRUE(fs::is_symlink(mFolder.getPath("link")));
}

TEST_F(AtomicFileTest, FollowsAsManyLinksAsTheSystem)
{
    constexpr int kMostLinks = 40;
    std::string before = "target";
    for (int link = 1; link <= kMostLinks + 1; ++link) {
        const std::string name = "link" + std::to_string(link);
        fs::create_symlink(before, mFolder.getPath(name));
        before = name;
    }
    EXPECT_TRUE(replace(mFolder.getPath("link40"), "new"));
    EXPECT_EQ(getTarget(), "new");
    EXPECT_EQ(mFolder.read("link40"), "new");
    EXPECT_FALSE(replace(mFolder.getPath("link41"), "newer"));
    EXPECT_EQ(getFailure(), "open F/link41: " + SystemError(ELOOP).toString());
    EXPECT_EQ(getTarget(), "new");
}

TEST_F(AtomicFileTest, RefusesALinkThatTakesThePlaceOfTheTargetBeforeCommit)
{
    const std::string other = mFolder.write("other", "foreign");
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    fs::remove(mPath);
    fs::create_symlink(other, mPath);
    EXPECT_FALSE(file.commit(&mFailure));
    EXPECT_EQ(getFailure(), "stat F/target: " + SystemError(ELOOP).toString());
    EXPECT_TRUE(fs::is_symlink(mPath));
    EXPECT_EQ(support::readFile(other), "foreign");
    EXPECT_EQ(list().size(), 2U);
}

TEST_F(AtomicFileTest, StaysInItsFolderIfThatIsRenamed)
{
    const std::string folder = mFolder.getPath("folder");
    fs::create_directory(folder);
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(folder + "/file"));
    file << "new";
    fs::rename(folder, mFolder.getPath("moved"));
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(mFolder.read("moved/file"), "new");
}

TEST_F(AtomicFileTest, StaysInItsFolderIfTheCurrentFolderChanges)
{
    const support::ChildResult child = support::runInChild([&] {
        fs::create_directory(mFolder.getPath("sub"));
        fs::current_path(mFolder.getPath());
        AtomicFile file;
        if (!file.openUtf8("target")) return 1;
        file << "new";
        fs::current_path("sub");
        return file.commit() && fs::is_empty(".") ? kExpected : 2;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_EQ(getTarget(), "new");
}

// --- Refusals

struct Refusal {
    const char* name;
    const char* path;  // from the folder, unless it is absolute
    const char* step;
    int error;
};

class AtomicFileRefusal : public SafeFilesTest, public ::testing::WithParamInterface<Refusal> {};

TEST_P(AtomicFileRefusal, HasItsReasonAndLeavesNothing)
{
    fs::create_directory(mFolder.getPath("folder"));
    ASSERT_EQ(::mkfifo(mFolder.getPath("pipe").c_str(), 0600), 0);
    fs::create_symlink("loop", mFolder.getPath("loop"));
    fs::create_symlink("/proc/self/exe", mFolder.getPath("link-of-proc"));
    const std::vector<std::string> before = list();
    const std::string path = GetParam().path;
    AtomicFile file;
    EXPECT_FALSE(file.openUtf8(path[0] == '/' ? path : mFolder.getPath(path), &mFailure));
    EXPECT_EQ(getFailure(), GetParam().step + (": " + SystemError(GetParam().error).toString()));
    EXPECT_EQ(file.getFailure().toString(), mFailure.toString());
    EXPECT_EQ(file.getDeviceErrorMsg(), mFailure.toString());
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(list(), before);
}

constexpr Refusal kRefusals[] = {
    {"Folder", "folder", "open F/folder", EISDIR},
    {"FolderWithASlash", "folder/", "open F/folder/", EISDIR},
    {"FolderItself", "folder/.", "open F/folder/.", EISDIR},
    {"FolderAbove", "folder/..", "open F/folder/..", EISDIR},
    {"Root", "/", "open /", EISDIR},
    {"Pipe", "pipe", "open F/pipe", EINVAL},
    {"Device", "/dev/null", "open /dev/null", EINVAL},
    {"LinkLoop", "loop", "open F/loop", ELOOP},
    {"LinkOfProc", "link-of-proc", "open F/link-of-proc", EACCES},
    {"MissingFolder", "none/file", "open the folder of F/none/file", ENOENT},
    {"FileAsFolder", "target/file", "open the folder of F/target/file", ENOTDIR},
};

INSTANTIATE_TEST_SUITE_P(Rows, AtomicFileRefusal, ::testing::ValuesIn(kRefusals),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(AtomicFileTest, RefusesPathsThatTheSystemCantHave)
{
    EXPECT_FALSE(replace("", "new"));
    EXPECT_EQ(mFailure.toString(), "conversion of the path '': " + SystemError(EILSEQ).toString());
    EXPECT_FALSE(replace(mPath + std::string("\0rest", 5), "new"));
    EXPECT_EQ(mFailure.error, EILSEQ);
    EXPECT_FALSE(replace(mFolder.getPath(std::string(256, 'n')), "new"));
    EXPECT_EQ(mFailure.error, ENAMETOOLONG);
    EXPECT_TRUE(replace(mFolder.getPath(std::string(255, 'n')), "new"));
}

// A similar name would be that of another file.
TEST(AtomicFileLocaleTest, RefusesANameThatTheLocalSetCantHold)
{
    const support::ScratchFolder folder;
    const support::ChildResult child = support::runInChild([&] {
        const support::EnvironmentLocale locale("C");
        const support::LibraryStart library;
        const std::string path = folder.getPath("\u00e4");
        AtomicFile file;
        if (file.openUtf8(path) || file.getFailure().error != EILSEQ) return 1;
        return removeTreeNoFollow(path).failure.error == EILSEQ ? 42 : 2;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
    EXPECT_TRUE(fs::is_empty(folder.getPath()));
}

// --- Failures

TEST_F(AtomicFileTest, KeepsTheTargetAndTheFirstFailureWhenAWriteFails)
{
    const support::FileSizeLimit limit(100'000);
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    const std::string piece(80'000, 'x');
    EXPECT_EQ(file.writeBytes(piece.data(), piece.size()), piece.size());
    EXPECT_EQ(file.writeBytes(piece.data(), piece.size()), 0U);
    const std::string expected = "write for " + mPath + ": " + SystemError(EFBIG).toString();
    EXPECT_EQ(file.getDeviceErrorMsg(), expected);
    EXPECT_THAT(list(), ElementsAre("target")) << "the file is removed at once";
    file.clearDeviceError();
    EXPECT_EQ(file.writeBytes("x", 1), 0U);
    EXPECT_FALSE(file.commit(&mFailure)) << "a part of the content is lost";
    EXPECT_EQ(mFailure.toString(), expected);
    EXPECT_EQ(getTarget(), "old");
    EXPECT_TRUE(replace(mPath, "new"));
    ASSERT_TRUE(file.openUtf8(mPath));
    EXPECT_TRUE(file.good());
    EXPECT_EQ(file.getFailure().error, 0);
    EXPECT_TRUE(file.commit()) << "the device can be used again";
}

TEST_F(AtomicFileTest, ReportsThatTheBufferCantBeWrittenAtTheWriteThatNeedsItsSpace)
{
    const support::FileSizeLimit limit(30'000);
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    const std::string piece(40'000, 'x');
    EXPECT_EQ(file.writeBytes(piece.data(), piece.size()), piece.size());
    EXPECT_EQ(file.writeBytes(piece.data(), piece.size()), 0U);
    EXPECT_EQ(file.getFailure().error, EFBIG);
    EXPECT_FALSE(file.isOpen());
}

TEST_F(AtomicFileTest, ReportsAtCommitThatTheBufferCantBeWritten)
{
    const support::FileSizeLimit limit(1000);
    EXPECT_FALSE(replace(mPath, std::string(2000, 'x')));
    EXPECT_EQ(mFailure.error, EFBIG);
    EXPECT_EQ(getTarget(), "old");
    EXPECT_THAT(list(), ElementsAre("target"));
}

TEST_F(AtomicFileTest, CommitsNothingAfterAFailureThatThereIsNoMemoryToReport)
{
    const support::FileSizeLimit limit(100'000);
    const std::string piece(80'000, 'x');
    bool isCommitted = false;
    const std::size_t failed = support::failEachAllocation([&] {
        AtomicFile file;
        try {
            file.openUtf8(mPath);
            file << piece << piece;
        } catch (const std::bad_alloc&) {
            const support::AllocationPause ownWork;
            EXPECT_EQ(file.writeBytes("x", 1), 0U);
            isCommitted = file.commit(&mFailure) || isCommitted;
            EXPECT_TRUE(mFailure);
            throw;
        }
        isCommitted = file.commit() || isCommitted;
    });
    EXPECT_GT(failed, 0U);
    EXPECT_FALSE(isCommitted);
    EXPECT_EQ(getTarget(), "old");
    EXPECT_THAT(list(), ElementsAre("target"));
}

TEST_F(AtomicFileTest, CommitsNothingAfterAnErrorThatTheProgramHasSet)
{
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    file << "half of the";
    file.setDeviceError("the rest is missing");
    EXPECT_EQ(file.writeBytes("rest", 4), 0U);
    EXPECT_FALSE(file.commit(&mFailure));
    EXPECT_EQ(mFailure.toString(),
              "commit to " + mPath + ", a device in error: " + SystemError(EIO).toString());
    EXPECT_EQ(file.getDeviceErrorMsg(), "the rest is missing");
    EXPECT_EQ(getTarget(), "old");
    EXPECT_THAT(list(), ElementsAre("target"));
}

TEST_F(AtomicFileTest, IsClosedAfterACommit)
{
    AtomicFile file;
    EXPECT_FALSE(file.commit(&mFailure));
    EXPECT_EQ(mFailure.toString(), "commit to : " + SystemError(EBADF).toString());
    ASSERT_TRUE(file.openUtf8(mPath));
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(file.writeBytes("x", 1), 0U);
    EXPECT_EQ(file.getFailure().error, EBADF);
    EXPECT_FALSE(file.commit());
    EXPECT_TRUE(file.isCommitted());
    EXPECT_EQ(getTarget(), "");
}

TEST_F(AtomicFileTest, LeavesNothingWhenDescriptorsAreShort)
{
    AtomicFile file;
    const std::string link = mFolder.getPath("link");
    fs::create_symlink(mPath, link);
    for (int more = 0; more < 2; ++more) {
        const support::DescriptorLimit limit(more);
        EXPECT_FALSE(file.openUtf8(link, &mFailure)) << more;
        EXPECT_EQ(mFailure.error, EMFILE) << more;
    }
    EXPECT_THAT(list(), ElementsAre("link", "target"));
    const support::DescriptorLimit limit(2);
    EXPECT_TRUE(file.openUtf8(link) && file.commit());
}

// --- Processes and threads

TEST_F(AtomicFileTest, StaysWithTheParentOfAFork)
{
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    file << "begun, ";
    const support::ChildResult child = support::runInChild([&] {
        const std::size_t before = list().size();
        if (file.isOpen() || file.writeBytes("x", 1) != 0 || file.commit()) return 1;
        file.discard();
        file.~AtomicFile();
        return list().size() == before ? kExpected : 2;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    file << "and ended";
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(getTarget(), "begun, and ended");
}

// Such a child runs no handlers of `fork`.
TEST_F(AtomicFileTest, StaysWithTheParentOfABareFork)
{
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    const pid_t child = ::_Fork();
    if (child == 0) {
        file.~AtomicFile();
        ::_exit(0);
    }
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    EXPECT_EQ(list().size(), 2U);
    file << "new";
    EXPECT_TRUE(file.commit(&mFailure)) << mFailure.toString();
    EXPECT_EQ(getTarget(), "new");
}

TEST_F(AtomicFileTest, IsNotPassedOnToAProgram)
{
    const std::size_t before = support::countInheritedDescriptors();
    AtomicFile file;
    ASSERT_TRUE(file.openUtf8(mPath));
    EXPECT_EQ(support::countInheritedDescriptors(), before) << "by a child of vfork";
    const support::ChildResult child = support::runProgram(
        {.program = "/bin/sh", .arguments = {"-c", "ls -l /proc/self/fd; exit 42"}});
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_EQ(child.out.find(mFolder.getPath()), std::string::npos) << child.out;
}

TEST_F(AtomicFileTest, IsNotPassedOnByAProcessWithoutStandardStreams)
{
    const support::ChildResult child = support::runInChild([&] {
        for (int stream = 0; stream < 3; ++stream)
            ::close(stream);
        const std::size_t before = support::countInheritedDescriptors();
        AtomicFile file;
        if (!file.openUtf8(mPath)) return 1;
        return support::countInheritedDescriptors() == before ? kExpected : 2;
    });
    EXPECT_EQ(child.exitCode, kExpected);
}

TEST_F(AtomicFileTest, LeavesNothingInAProcessWithoutStandardStreamsAndDescriptors)
{
    const support::ChildResult child = support::runInChild([&] {
        for (int stream = 0; stream < 3; ++stream)
            ::close(stream);
        // The folder gets the only descriptor above the streams; the new file can't be moved there.
        const support::DescriptorLimit limit(4);
        AtomicFile file;
        return !file.openUtf8(mPath) && file.getFailure().error == EMFILE ? kExpected : 1;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_THAT(list(), ElementsAre("target"));
}

TEST_F(AtomicFileTest, IsRemovedWithAThreadThatIsCancelled)
{
    const support::ChildResult child = support::runInChild([&] {
        const std::string block(100'000, 'x');
        const bool isCancelled = support::endsByCancellation([&] {
            AtomicFile file;
            file.openUtf8(mPath);
            file << block;
        });
        return isCancelled && list().size() == 1 ? kExpected : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
    EXPECT_EQ(getTarget(), "old");
}

TEST_F(AtomicFileTest, KeepsTheTargetOnAFullDisk)
{
    const support::ChildResult child = support::runInChild([&] {
        if (!support::mountSmallDisk(mFolder.getPath(), "512k")) return support::kNoSmallDisk;
        const std::string old(300'000, 'o');
        const std::string small(1000, 's');
        support::writeFile(mPath, old);
        if (replace(mPath, std::string(300'000, 'n')) || mFailure.error != ENOSPC) return 1;
        if (support::readFile(mPath) != old || list().size() != 1) return 2;
        return replace(mPath, small) && support::readFile(mPath) == small ? kExpected : 3;
    });
    if (child.exitCode == support::kNoSmallDisk) GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(child.exitCode, kExpected);
}

}  // namespace qz::ext
