// SPDX-License-Identifier: MIT
#include "support/OutputCapture.h"

#include <unistd.h>

#include <cstdio>
#include <iostream>

#include <gtest/gtest.h>

namespace qz::support {

TEST(OutputCaptureTest, SeesEveryRoadToTheDescriptorInOrder)
{
    const StdoutCapture capture;
    std::cout << "stream ";
    std::cout.flush();
    std::printf("stdio ");
    std::fflush(stdout);
    ASSERT_EQ(::write(1, "call", 4), 4);
    EXPECT_EQ(capture.getText(), "stream stdio call");
}

TEST(OutputCaptureTest, FlushesBeforeItLooks)
{
    const StdoutCapture capture;
    std::printf("waiting");
    EXPECT_EQ(capture.getText(), "waiting");
    std::printf(" more");
    EXPECT_EQ(capture.getText(), "waiting more");
}

TEST(OutputCaptureTest, KeepsTheStreamsApartAndNests)
{
    const StderrCapture errors;
    const StdoutCapture outer;
    {
        const StdoutCapture inner;
        std::cout << "inner";
        EXPECT_EQ(inner.getText(), "inner");
    }
    std::cout << "outer";
    std::cerr << "error";
    EXPECT_EQ(outer.getText(), "outer");
    EXPECT_EQ(errors.getText(), "error");
}

TEST(OutputCaptureTest, KeepsEveryByteOfALongOutput)
{
    const StdoutCapture capture;
    const std::string text(200'000, '\0');
    std::cout << text;
    EXPECT_EQ(capture.getText(), text);
}

TEST(MemoryFileTest, StartsAtItsFirstByte)
{
    const int fd = makeMemoryFile("content");
    char first = 0;
    EXPECT_EQ(::read(fd, &first, 1), 1);
    EXPECT_EQ(first, 'c');
    EXPECT_EQ(readWholeFile(fd), "content");
    ::close(fd);
}

}  // namespace qz::support
