// SPDX-License-Identifier: MIT
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

TEST(ExtLockLineTest, CutsALongNameBetweenCharacters)
{
    std::string name;
    for (int i = 0; i < 500; ++i)
        name += "\xc3\xa9";
    for (const std::string& start : {std::string(), std::string("x")}) {
        const std::string line = formatLockLine({1, start + name});
        EXPECT_GE(line.size(), kMaxLockLineBytes - 1);
        EXPECT_LE(line.size(), kMaxLockLineBytes);
        const std::string program = parseLockLine(line).program;
        EXPECT_EQ(program, (start + name).substr(0, program.size())) << "half a character was left";
    }
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
    EXPECT_EQ(parseLockLine("Lock of process 7, \xc2\x9b"
                            "2J\xc3\xa9")
                  .program,
              "?2J\xc3\xa9");
    EXPECT_EQ(parseLockLine("Lock of process 7, a\xe9").program, "a?");
}

TEST(ExtLockLineTest, KnowsALockFileByItsStart)
{
    EXPECT_TRUE(isLockText(""));
    EXPECT_TRUE(isLockText("Lock of process 7, x\n"));
    EXPECT_FALSE(isLockText("Lock from PID : 7"));
    EXPECT_FALSE(isLockText("precious"));
}

}  // namespace qz::ext
