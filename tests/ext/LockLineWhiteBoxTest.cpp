#include "ext/lock/LockLine.h"

#include <gtest/gtest.h>

namespace qz::ext {

TEST(ExtLockLineTest, ReadsWhatItWrites)
{
    const std::string line = formatLockLine({1234, "a program"});
    EXPECT_EQ(line, "Lock of process 1234, a program\n");
    EXPECT_EQ(parseLockLine(line + "rest of an older line\n").pid, 1234);
    EXPECT_EQ(parseLockLine(line + "rest of an older line\n").program, "a program");
}

TEST(ExtLockLineTest, StaysOneShortLine)
{
    EXPECT_EQ(formatLockLine({1, "a\nb\x01"}), "Lock of process 1, a?b?\n");
    EXPECT_EQ(formatLockLine({1, std::string(1000, 'x')}).size(), kMaxLockLineBytes);
}

TEST(ExtLockLineTest, ReadsNothingFromOtherTexts)
{
    for (const char* text : {"", "Lock of process ", "Lock of process x, y\n", "precious",
                             "Lock of process 99999999999999999999, y\n", "Lock of process 0, y\n",
                             "Lock of process -1, y\n"}) {
        EXPECT_EQ(parseLockLine(text).pid, 0) << text;
        EXPECT_EQ(parseLockLine(text).program, "") << text;
    }
    EXPECT_EQ(parseLockLine("Lock of process 7").pid, 7);
}

TEST(ExtLockLineTest, ReadsNoControlCharacters)
{
    EXPECT_EQ(parseLockLine("Lock of process 7, a\x1b[2J\r\x7f").program, "a?[2J??");
}

TEST(ExtLockLineTest, KnowsALockFileByItsStart)
{
    EXPECT_TRUE(isLockText(""));
    EXPECT_TRUE(isLockText("Lock of process 7, x\n"));
    EXPECT_FALSE(isLockText("Lock from PID : 7"));
    EXPECT_FALSE(isLockText("precious"));
}

}  // namespace qz::ext
