// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"

namespace qz {

/// What a step of tests/programs/platform_calls.cpp asks of the system, a line a call.
inline std::string getPlatformCalls(std::vector<std::string> step)
{
    const support::ChildResult result =
        support::runProgram({.program = "platform_calls", .arguments = std::move(step)});
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
    return result.out;
}

/// Two columns of a table: a step of that program, and what it is to print.
struct PlatformCallsRow {
    const char* name;
    std::vector<std::string> step;
    std::string calls;
};

}  // namespace qz
