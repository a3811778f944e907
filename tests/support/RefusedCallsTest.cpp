// SPDX-License-Identifier: MIT
#include "support/RefusedCalls.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"

namespace qz::support {

TEST(RefusedCallsTest, FailOnlyTheNamedCall)
{
    const ChildResult result = runInChild([] {
        refuseSystemCall(SYS_getppid, EMFILE);
        if (::syscall(SYS_getppid) != -1 || errno != EMFILE) return 1;
        return ::syscall(SYS_getpid) > 0 ? 0 : 2;
    });
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
}

}  // namespace qz::support
