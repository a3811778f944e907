// SPDX-License-Identifier: MIT
#include "support/Limits.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/OutputCapture.h"
#include "support/ScratchFolder.h"

namespace qz::support {

TEST(DescriptorLimitTest, LeavesRoomForJustSoMany)
{
    std::vector<int> opened;
    {
        const DescriptorLimit threeMore(3);
        int fd = -1;
        while ((fd = ::open("/dev/null", O_RDONLY)) >= 0)
            opened.push_back(fd);
        EXPECT_EQ(errno, EMFILE);
        EXPECT_EQ(opened.size(), 3U);
    }
    const int fd = ::open("/dev/null", O_RDONLY);
    EXPECT_GE(fd, 0);
    opened.push_back(fd);
    for (const int descriptor : opened)
        ::close(descriptor);
}

TEST(DescriptorLimitTest, CountsTheHolesBetweenDescriptors)
{
    const int hole = ::open("/dev/null", O_RDONLY);
    const int above = ::open("/dev/null", O_RDONLY);
    ::close(hole);
    {
        const DescriptorLimit noneLeft(0);
        EXPECT_LT(::open("/dev/null", O_RDONLY), 0);
    }
    ::close(above);
}

TEST(FileSizeLimitTest, StopsAWriteAtTheLimitWithoutASignal)
{
    const int fd = makeMemoryFile();
    {
        const FileSizeLimit fourBytes(4);
        EXPECT_EQ(::write(fd, "123456", 6), 4);
        EXPECT_EQ(::write(fd, "56", 2), -1);
        EXPECT_EQ(errno, EFBIG);
    }
    EXPECT_EQ(::write(fd, "56", 2), 2);
    EXPECT_EQ(readWholeFile(fd), "123456");
    ::close(fd);
}

TEST(BecomeNobodyTest, LetsFileModesHold)
{
    const ScratchFolder folder;
    const std::string path = folder.write("closed", "");
    ASSERT_EQ(::chmod(folder.getPath().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(path.c_str(), 0000), 0);
    const ChildResult result = runInChild([&path] {
        becomeNobody();
        return ::open(path.c_str(), O_RDONLY) < 0 ? errno : 0;
    });
    EXPECT_EQ(result.exitCode, EACCES);
}

}  // namespace qz::support
