// SPDX-License-Identifier: MIT
#include <cerrno>

#include <gtest/gtest.h>

#include <qz/SystemError.h>
#include <qz/ext/SystemFailure.h>

namespace {

using qz::SystemError;
using qz::ext::SystemFailure;

TEST(SystemFailureTest, HasNoTextIfNothingFailed)
{
    const SystemFailure failure;
    EXPECT_FALSE(failure);
    EXPECT_EQ(failure.toString(), "");
}

TEST(SystemFailureTest, ShowsTheStepAndTheReason)
{
    const SystemFailure failure{"chdir /none", ENOENT};
    EXPECT_TRUE(failure);
    EXPECT_EQ(failure.toString(), "chdir /none: " + SystemError(ENOENT).toString());
}

}  // namespace
