// SPDX-License-Identifier: MIT
// Children that are forked while other threads allocate memory.

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"

namespace qz::support {

namespace {

// Each path through the two calls is a stack trace of its own, which the sanitizer stores.
void allocateAtDepth(unsigned path, int depth)
{
    if (depth == 0) {
        std::free(std::malloc(path % 1000 + 1));
    } else if (path % 2 == 0) {
        allocateAtDepth(path / 2, depth - 1);
    } else {
        allocateAtDepth(path / 2, depth - 1);
        std::atomic_signal_fence(std::memory_order_seq_cst);  // so it is no tail call
    }
}

}  // namespace

TEST(SanitizerForkLocksTest, LetAChildAllocateThatWasForkedDuringAnAllocation)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the child waits for a lock that the sanitizer itself leaves locked, in "
                    "PersistentAllocator::refillAndAlloc, called by StackDepotPut and malloc";
#endif
    constexpr int kDepth = 20;
    std::atomic<bool> ends = false;
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 3; ++i) {
        threads.emplace_back([&ends, i] {
            for (unsigned path = i; !ends; path += 3)
                allocateAtDepth(path, kDepth);
        });
    }
    const auto body = [] {
        for (unsigned path = 1U << kDepth; path < (1U << kDepth) + 100; ++path)
            allocateAtDepth(path * 7919, kDepth + 1);
        return 42;
    };
    for (int i = 0; i < 40 && !HasFailure(); ++i)
        EXPECT_EQ(runInChild(body, "", 60).getEnd(), "exit 42");
    ends = true;
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace qz::support
