// SPDX-License-Identifier: MIT
#include <qz/ext/FileLock.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/ScratchFolder.h"

namespace qz::ext {

class SingleInstanceTest : public ::testing::Test {
protected:
    support::LibraryStart mStart;
    support::ScratchFolder mFolder;
    support::EnvironmentVariable mRuntimeFolder{"XDG_RUNTIME_DIR", mFolder.getPath()};
    SystemFailure mFailure;
    SingleInstance mFirst;
    SingleInstance mSecond;
};

TEST_F(SingleInstanceTest, RefusesTheSecondOneOfAName)
{
    EXPECT_TRUE(mFirst.claim("orders", &mFailure)) << mFailure.toString();
    EXPECT_TRUE(mFirst.isClaimed());
    EXPECT_FALSE(mSecond.claim("orders", &mFailure));
    EXPECT_EQ(mFailure.error, EAGAIN);
    EXPECT_NE(mFailure.step.find("process " + std::to_string(::getpid())), std::string::npos);
    EXPECT_TRUE(mSecond.claim("bills", &mFailure));
    mFirst.release();
    EXPECT_FALSE(mFirst.isClaimed());
}

TEST_F(SingleInstanceTest, RefusesASecondProcess)
{
    ASSERT_TRUE(mFirst.claim("orders"));
    const support::ChildResult child = support::runInChild([&] {
        SingleInstance instance;
        return !instance.claim("orders") && !mFirst.isClaimed() ? 42 : 1;
    });
    EXPECT_EQ(child.exitCode, 42);
}

TEST_F(SingleInstanceTest, FindsTheRunningOne)
{
    EXPECT_FALSE(SingleInstance::FindRunning("orders").has_value());
    ASSERT_TRUE(mFirst.claim("orders"));
    ASSERT_TRUE(SingleInstance::FindRunning("orders").has_value());
    EXPECT_EQ(SingleInstance::FindRunning("orders")->pid, ::getpid());
    mFirst.release();
    EXPECT_FALSE(SingleInstance::FindRunning("orders").has_value());
}

TEST_F(SingleInstanceTest, NoticesThatItsFolderWasReplaced)
{
    EXPECT_FALSE(mFirst.isFileInPlace());
    ASSERT_TRUE(mFirst.claim("orders"));
    EXPECT_TRUE(mFirst.isFileInPlace());
    const std::string& folder = mFolder.getPath();
    std::filesystem::rename(folder, folder + ".old");
    ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
    EXPECT_TRUE(mFirst.isClaimed());
    EXPECT_FALSE(mFirst.isFileInPlace());
    EXPECT_TRUE(mSecond.claim("orders", &mFailure)) << mFailure.toString();
    EXPECT_TRUE(mSecond.isFileInPlace());
    EXPECT_FALSE(mFirst.isFileInPlace());
    std::filesystem::remove_all(folder + ".old");
}

TEST_F(SingleInstanceTest, IsFreeAfterAKillThoughAChildOfTheInstanceLives)
{
    int ready[2] = {};
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t instance = ::fork();
    if (instance == 0) {
        if (!mFirst.claim("orders")) ::_exit(1);
        const bool isChild = ::fork() == 0;
        const pid_t self = ::getpid();
        if (isChild && ::write(ready[1], &self, sizeof self) < 0) ::_exit(2);
        for (;;)
            ::pause();
    }
    pid_t child = 0;
    ASSERT_EQ(::read(ready[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    EXPECT_FALSE(mSecond.claim("orders"));
    ::kill(instance, SIGKILL);
    ASSERT_EQ(::waitpid(instance, nullptr, 0), instance);
    EXPECT_TRUE(mSecond.claim("orders", &mFailure)) << mFailure.toString();
    ::kill(child, SIGKILL);
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(SingleInstanceTest, RefusesNamesThatLeadElsewhere)
{
    for (const std::string& name :
         {std::string(), std::string("a/b"), std::string(".."), std::string(".hidden"),
          std::string("a\0b", 3), std::string(101, 'x')}) {
        EXPECT_FALSE(mFirst.claim(name, &mFailure)) << name;
        EXPECT_EQ(mFailure.error, EINVAL) << name;
        EXPECT_EQ(mFailure.step, "use of the name '" + name + "'");
    }
    EXPECT_TRUE(mFirst.claim(std::string(100, 'x'), &mFailure));
}

TEST_F(SingleInstanceTest, RefusesAFolderThatOthersMayEnter)
{
    for (const unsigned int mode : {0710U, 0701U, 0750U, 0777U}) {
        ASSERT_EQ(::chmod(mFolder.getPath().c_str(), mode), 0);
        EXPECT_FALSE(mFirst.claim("orders", &mFailure)) << mode;
        EXPECT_EQ(mFailure.error, EPERM) << mode;
        EXPECT_EQ(mFailure.step,
                  "use of the folder " + mFolder.getPath() + ", which others may enter");
    }
    ASSERT_EQ(::chmod(mFolder.getPath().c_str(), 0700), 0);
    EXPECT_TRUE(mFirst.claim("orders", &mFailure));
}

TEST_F(SingleInstanceTest, ReportsAMissingFolder)
{
    const std::string path = mFolder.getPath("none");
    const support::EnvironmentVariable missing("XDG_RUNTIME_DIR", path);
    EXPECT_FALSE(mFirst.claim("orders", &mFailure));
    EXPECT_EQ(mFailure.step, "lstat " + path);
    EXPECT_EQ(mFailure.error, ENOENT);
}

TEST_F(SingleInstanceTest, ReportsThatItsFolderCantBeMade)
{
    const support::EnvironmentVariable none("XDG_RUNTIME_DIR", std::nullopt);
    const support::ChildResult child = support::runInChild([&] {
        if (::chroot(mFolder.getPath().c_str()) != 0) return 77;  // where there is no /tmp
        return !mFirst.claim("orders", &mFailure) && mFailure.error == ENOENT &&
                       mFailure.step == "mkdir /tmp/orders-" + std::to_string(::geteuid())
                   ? 42
                   : 1;
    });
    if (child.exitCode == 77) GTEST_SKIP() << "no right to change the root";
    EXPECT_EQ(child.exitCode, 42);
}

TEST_F(SingleInstanceTest, RefusesANameThatTheLocalCharacterSetCantHold)
{
    EXPECT_FALSE(mFirst.claim("bro\xff", &mFailure));
    EXPECT_EQ(mFailure.step, "conversion of the name 'bro\xff'");
    EXPECT_EQ(mFailure.error, EILSEQ);
}

TEST_F(SingleInstanceTest, RefusesALinkInPlaceOfTheFolder)
{
    const std::string link = mFolder.getPath("link");
    std::filesystem::create_symlink(mFolder.getPath(), link);
    const support::EnvironmentVariable linked("XDG_RUNTIME_DIR", link);
    EXPECT_FALSE(mFirst.claim("orders", &mFailure));
    EXPECT_EQ(mFailure.error, ENOTDIR);
}

TEST_F(SingleInstanceTest, RefusesAFolderOfAnotherUser)
{
    if (::geteuid() != 0) GTEST_SKIP() << "only root has other users' folders";
    ASSERT_EQ(::chown(mFolder.getPath().c_str(), 1, 1), 0);
    EXPECT_FALSE(mFirst.claim("orders", &mFailure));
    EXPECT_EQ(mFailure.error, EPERM);
    ASSERT_EQ(::chown(mFolder.getPath().c_str(), 0, 0), 0);
}

TEST_F(SingleInstanceTest, MakesAPrivateFolderWithoutARuntimeFolder)
{
    // A path that isn't absolute counts as none.
    for (const std::optional<std::string>& variable :
         {std::optional<std::string>(), std::optional<std::string>(""),
          std::optional<std::string>(".")}) {
        const support::EnvironmentVariable none("XDG_RUNTIME_DIR", variable);
        const std::string name = "qz-single-instance-test-" + std::to_string(::getpid());
        const std::string folder = "/tmp/" + name + "-" + std::to_string(::geteuid());
        EXPECT_TRUE(mFirst.claim(name, &mFailure)) << mFailure.toString();
        struct stat status = {};
        EXPECT_EQ(::stat(folder.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0700U);
        EXPECT_FALSE(mSecond.claim(name, &mFailure));
        mFirst.release();
        std::filesystem::remove_all(folder);
    }
}

TEST_F(SingleInstanceTest, RefusesAPlantedFolder)
{
    const support::EnvironmentVariable none("XDG_RUNTIME_DIR", std::nullopt);
    const std::string name = "qz-planted-test-" + std::to_string(::getpid());
    const std::string folder = "/tmp/" + name + "-" + std::to_string(::geteuid());
    std::filesystem::create_symlink(mFolder.getPath(), folder);
    EXPECT_FALSE(mFirst.claim(name, &mFailure));
    EXPECT_EQ(mFailure.error, ENOTDIR);
    std::filesystem::remove(folder);
}

}  // namespace qz::ext
