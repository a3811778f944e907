// SPDX-License-Identifier: MIT
#include <setjmp.h>
#include <signal.h>
#include <unistd.h>

#include <cstdint>

#include <gtest/gtest.h>

#include "ext/crash/Alarm.h"
#include "ext/crash/KitSignal.h"
#include "support/ChildProcess.h"

namespace {

using qz::ext::crash::Alarm;
using qz::ext::crash::getKitSignal;

constexpr int kShortMs = 50;
constexpr int kEndlessMs = 3'600'000;

class AlarmTest : public ::testing::Test {
protected:
    void SetUp() override
    {
#ifdef __SANITIZE_THREAD__
        GTEST_SKIP() << "the sanitizer calls the handler of an alarm only in certain functions";
#endif
    }
};

sigjmp_buf gJump;

[[gnu::noinline]] void leaveAlarm()
{
    volatile char room[1024] = {};  // as the frame of a signal
    static_cast<void>(room[0]);
    const Alarm alarm(getKitSignal(), kShortMs, SIGTERM);
    ::siglongjmp(gJump, 1);
}

}  // namespace

TEST_F(AlarmTest, EndsTheProcess)
{
    const qz::support::ChildResult result = qz::support::runInChild([] {
        const Alarm alarm(getKitSignal(), kShortMs, SIGTERM);
        for (;;)
            ::pause();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "signal 15");
}

// What runs before the end of a process may begin a report, which has an alarm of its own.
TEST_F(AlarmTest, EndsTheProcessAlsoWithinALaterOne)
{
    for (const int innerSignal : {0, SIGUSR1}) {
        const qz::support::ChildResult result = qz::support::runInChild([innerSignal] {
            const Alarm outer(getKitSignal(), kShortMs, SIGTERM);
            const Alarm inner(getKitSignal(), kEndlessMs, innerSignal);
            for (;;)
                ::pause();
            return 0;
        });
        EXPECT_EQ(result.getEnd(), "signal 15");
    }
}

TEST_F(AlarmTest, HasNoEffectAfterItsEnd)
{
    const qz::support::ChildResult result = qz::support::runInChild([] {
        const Alarm outer(getKitSignal(), kEndlessMs, SIGTERM);
        {
            const Alarm inner(getKitSignal(), kShortMs, SIGTERM);
        }
        ::usleep(4 * kShortMs * 1000);
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
}

TEST_F(AlarmTest, HasNoEffectWithinALaterOneAfterItsHandlerWasLeftByAJump)
{
    const qz::support::ChildResult result = qz::support::runInChild([] {
        if (sigsetjmp(gJump, /*savemask=*/1) == 0) leaveAlarm();
        Alarm::CancelAbandoned(reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)));
        const Alarm later(getKitSignal(), kEndlessMs, SIGTERM);
        ::usleep(4 * kShortMs * 1000);
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
}
