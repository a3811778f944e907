// SPDX-License-Identifier: MIT
// What the thread sanitizer does by itself, for which tests of the library are skipped under it. If
// one of these fails with another version, those tests need not be skipped any longer.

#ifdef __SANITIZE_THREAD__

#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"

namespace qz {

namespace {

volatile sig_atomic_t gCalls = 0;

void countCall(int /*signal*/)
{
    gCalls = gCalls + 1;
}

void* waitForEver(void* /*unused*/)
{
    while (true)
        ::pause();
}

// Raises a signal in a forked child. Gives how often the handler ran there, within a thousand calls
// of a function that the sanitizer replaces: in such calls it runs the handlers.
int raiseInAForkedChild()
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::raise(SIGUSR1);
        for (int i = 0; i < 1000 && gCalls == 0; ++i)
            ::usleep(1000);
        ::_exit(gCalls);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WEXITSTATUS(status);
}

}  // namespace

TEST(ThreadSanitizerTest, HoldsSignalsBackInTheForkedChildOfSeveralThreads)
{
    const support::ChildResult result = support::runInChild([] {
        ::signal(SIGUSR1, &countCall);
        if (raiseInAForkedChild() != 1) return 1;
        pthread_t thread;
        ::pthread_create(&thread, nullptr, &waitForEver, nullptr);
        return raiseInAForkedChild() == 0 ? 0 : 2;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
}

}  // namespace qz

#endif
