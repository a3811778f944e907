// SPDX-License-Identifier: MIT
#include "support/Waiting.h"

#include <gtest/gtest.h>

namespace qz::support {

TEST(WaitUntilTest, LooksAgainUntilTheConditionHolds)
{
    int looks = 0;
    EXPECT_TRUE(waitUntil([&looks] { return ++looks == 3; }));
    EXPECT_EQ(looks, 3);
}

TEST(WaitUntilTest, GivesUpAtTheLimit)
{
    EXPECT_FALSE(waitUntil([] { return false; }, std::chrono::seconds(0)));
}

}  // namespace qz::support
