// SPDX-License-Identifier: MIT
#include "support/Files.h"

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace qz::support {

TEST(FilesTest, CountsOpenDescriptors)
{
    const std::size_t before = countOpenDescriptors();
    const int fd = ::open("/dev/null", O_RDONLY);
    EXPECT_EQ(countOpenDescriptors(), before + 1);
    ::close(fd);
    EXPECT_EQ(countOpenDescriptors(), before);
}

TEST(FilesTest, CountsDescriptorsThatAProgramInherits)
{
    const std::size_t before = countInheritedDescriptors();
    const int own = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int inherited = ::open("/dev/null", O_RDONLY);
    EXPECT_EQ(countInheritedDescriptors(), before + 1);
    ::close(own);
    ::close(inherited);
}

TEST(FilesTest, WritesBytesAsHex)
{
    EXPECT_EQ(toHex(""), "");
    EXPECT_EQ(toHex(std::string("\x00\x0a\xff", 3)), "00 0a ff");
}

TEST(FilesTest, ThrowsWhereNothingCanBeWritten)
{
    EXPECT_THROW(writeFile("/dev/full", "text"), std::runtime_error);
    EXPECT_THROW(writeFile("/no/such/folder/file", ""), std::runtime_error);
}

}  // namespace qz::support
