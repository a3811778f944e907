// SPDX-License-Identifier: MIT
#include "frame/base/FileDescriptor.h"

#include <cerrno>
#include <string>
#include <utility>

#include <unistd.h>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/ScratchFolder.h"

namespace qz {

namespace {

bool isOpenInTheSystem(int descriptor)
{
    return ::fcntl(descriptor, F_GETFD) != -1;
}

class FileDescriptorTest : public ::testing::Test {
protected:
    support::ScratchFolder mFolder;
    const std::string mPath = mFolder.getPath("file");
};

}  // namespace

TEST_F(FileDescriptorTest, IsCloseOnExec)
{
    const FileDescriptor file = FileDescriptor::Open(mPath.c_str(), O_WRONLY | O_CREAT);
    ASSERT_TRUE(file.isOpen());
    EXPECT_EQ(::fcntl(file.get(), F_GETFD), FD_CLOEXEC);
}

// What the application prints would go into the file.
TEST_F(FileDescriptorTest, IsNeverThatOfAStandardStream)
{
    const support::ChildResult child = support::runInChild([this] {
        ::close(STDIN_FILENO);
        ::close(STDOUT_FILENO);
        const FileDescriptor file = FileDescriptor::Open(mPath.c_str(), O_WRONLY | O_CREAT);
        const bool isAbove = file.get() > STDERR_FILENO;
        const bool isCloseOnExec = ::fcntl(file.get(), F_GETFD) == FD_CLOEXEC;
        const bool areClosed =
            !isOpenInTheSystem(STDIN_FILENO) && !isOpenInTheSystem(STDOUT_FILENO);
        return isAbove && isCloseOnExec && areClosed ? 0 : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
}

TEST_F(FileDescriptorTest, LeavesTheReasonWhenItCannotOpen)
{
    const FileDescriptor file = FileDescriptor::Open("", O_RDONLY);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(file.isOpen());
}

TEST_F(FileDescriptorTest, ClosesAtTheEndOfItsScopeAndKeepsTheError)
{
    int descriptor = -1;
    {
        const FileDescriptor file = FileDescriptor::Open(mPath.c_str(), O_WRONLY | O_CREAT);
        descriptor = file.get();
        errno = EDOM;
    }
    EXPECT_EQ(errno, EDOM);
    EXPECT_FALSE(isOpenInTheSystem(descriptor));
}

TEST_F(FileDescriptorTest, MovesItsDescriptorAndClosesTheOneThatIsReplaced)
{
    FileDescriptor first = FileDescriptor::Open(mPath.c_str(), O_WRONLY | O_CREAT);
    FileDescriptor second = FileDescriptor::Open(mPath.c_str(), O_RDONLY);
    const int closed = first.get();
    const int kept = second.get();
    first = std::move(second);
    EXPECT_EQ(first.get(), kept);
    EXPECT_FALSE(second.isOpen());  // NOLINT: what a move leaves is what is tested
    EXPECT_FALSE(isOpenInTheSystem(closed));
    EXPECT_TRUE(isOpenInTheSystem(kept));
}

TEST_F(FileDescriptorTest, WritesAllAndReadsToTheEnd)
{
    const std::string text(100000, 'x');
    EXPECT_EQ(FileDescriptor::Open(mPath.c_str(), O_WRONLY | O_CREAT).write(text), text.size());
    const FileDescriptor file = FileDescriptor::Open(mPath.c_str(), O_RDONLY);
    std::string got(text.size() + 1, '\0');
    EXPECT_EQ(file.read(got.data(), got.size()), static_cast<ssize_t>(text.size()));
    EXPECT_EQ(file.read(got.data(), got.size()), 0);
    got.resize(text.size());
    EXPECT_EQ(got, text);
}

TEST_F(FileDescriptorTest, ReportsWhatAFullDiskHasNotTaken)
{
    const FileDescriptor file = FileDescriptor::Open("/dev/full", O_WRONLY);
    EXPECT_EQ(file.write("text"), 0U);
    EXPECT_EQ(errno, ENOSPC);
}

}  // namespace qz
