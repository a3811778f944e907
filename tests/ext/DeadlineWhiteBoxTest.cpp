// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "ext/base/Deadline.h"

namespace {

using qz::ext::Deadline;

TEST(ExtDeadlineTest, NeverComesForANegativeTime)
{
    const Deadline deadline(-1);
    EXPECT_FALSE(deadline.hasPassed());
    EXPECT_EQ(deadline.getRemainingMs(), -1);
}

TEST(ExtDeadlineTest, HasPassedAtOnceForNoTime)
{
    const Deadline deadline(0);
    EXPECT_TRUE(deadline.hasPassed());
    EXPECT_EQ(deadline.getRemainingMs(), 0);
}

TEST(ExtDeadlineTest, CountsDown)
{
    const Deadline deadline(1'000'000);
    EXPECT_FALSE(deadline.hasPassed());
    EXPECT_GT(deadline.getRemainingMs(), 0);
    EXPECT_LE(deadline.getRemainingMs(), 1'000'000);
}

}  // namespace
