// SPDX-License-Identifier: MIT
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ChildProcess.h"

namespace qz {

using support::ChildResult;
using support::runProgram;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

struct FaultRow {
    const char* step;
    const char* sanitizersName;
    const char* signal;
};

constexpr FaultRow kFaults[] = {
    {"read", "SEGV", "SIGSEGV 11"},
    {"bus", "BUS", "SIGBUS 7"},
    {"divide", "FPE", "SIGFPE 8"},
    {"illegal", "ILL", "SIGILL 4"},
};

// With the sanitizer's defaults, as users have them.
ChildResult crash(const std::string& program, const std::string& step)
{
    return runProgram({.program = program,
                       .arguments = {"full", step},
                       .environment = {{"ASAN_OPTIONS", std::nullopt}},
                       .timeoutSec = 120});
}

}  // namespace

TEST(AsanOptionsTest, LeaveFaultsToTheAddressSanitizer)
{
#ifndef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "there is a report to keep in a build with the address sanitizer only";
#endif
    for (const FaultRow& row : kFaults) {
        const ChildResult result = crash("signals_with_asan_options", row.step);
        EXPECT_EQ(result.getEnd(), "exit 1");
        EXPECT_THAT(result.err,
                    HasSubstr("ERROR: AddressSanitizer: " + std::string(row.sanitizersName)));
        EXPECT_THAT(result.out, Not(HasSubstr("Got signal")));
    }
}

TEST(AsanOptionsTest, AreNeededForIt)
{
    for (const FaultRow& row : kFaults) {
        const ChildResult result = crash("signals", row.step);
        EXPECT_EQ(result.getEnd(), "signal 6");
        EXPECT_THAT(result.out, HasSubstr("Got signal (" + std::string(row.signal)));
        EXPECT_THAT(result.err, Not(HasSubstr("AddressSanitizer")));
    }
}

TEST(AsanOptionsTest, ChangeNothingInAProgramWithoutTheSanitizer)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "this build has the sanitizer";
#endif
    for (const FaultRow& row : kFaults) {
        const ChildResult result = crash("signals_with_asan_options", row.step);
        EXPECT_EQ(result.getEnd(), "signal 6");
        EXPECT_THAT(result.out, HasSubstr("Got signal (" + std::string(row.signal)));
    }
}

}  // namespace qz
