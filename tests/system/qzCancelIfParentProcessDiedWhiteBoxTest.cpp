// SPDX-License-Identifier: MIT
#include <csignal>
#include <memory>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "concurrency/LockedElsewhere.h"
#include "concurrency/NewThreads.h"
#include "concurrency/qzThreadTestPeer.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/Waiting.h"
#include "system/qzCancelIfParentProcessDiedTestPeer.h"

namespace qz {

using ::testing::ElementsAre;
using ::testing::SizeIs;
using Peer = qzCancelIfParentProcessDiedTestPeer;

namespace {

// The fields of the thread begin in the last bytes of its base.
static_assert(sizeof(qzCancelIfParentProcessDiedImpl) == 112);
static_assert(std::is_base_of_v<qzThread, qzCancelIfParentProcessDiedImpl>);

static_assert(std::is_nothrow_destructible_v<qzCancelIfParentProcessDied>);

class qzCancelIfParentProcessDiedWhiteBox : public ::testing::Test {
protected:
    support::LibraryStart mStart = support::LibraryStart(FullInit);
};

// Never cancels, and counts how often it is read.
class CountingSource : public qzCancelInterfaceReadOnly {
public:
    bool shouldCancel() const override
    {
        ++reads;
        return false;
    }
    mutable int reads = 0;
};

}  // namespace

TEST_F(qzCancelIfParentProcessDiedWhiteBox, KeepsTheOrderOfItsFields)
{
    const qzCancelIfParentProcessDied source;
    EXPECT_THAT(Peer::getOffsets(source), ElementsAre(8, 16));
    EXPECT_THAT(Peer::getOffsets(Peer::editImpl(source)), ElementsAre(49, 56, 72, 88, 104));
}

TEST_F(qzCancelIfParentProcessDiedWhiteBox, WatchesTheParentFromTheConstruction)
{
    const qzCancelIfParentProcessDied source;
    Peer::Impl& impl = Peer::editImpl(source);
    const qzMutexLocker locker(Peer::editMutex(impl));
    EXPECT_EQ(Peer::editParentProcess(impl).getPid(), ::getppid());
}

TEST_F(qzCancelIfParentProcessDiedWhiteBox, HasAThreadThatLeavesSignalsFromOutsideToOthers)
{
    const NewThreads threads;
    const qzCancelIfParentProcessDied source;
    ASSERT_THAT(threads.get(), SizeIs(1));
    EXPECT_TRUE(isSignalBlocked(threads.get().front(), SIGTERM));
}

TEST_F(qzCancelIfParentProcessDiedWhiteBox, HasAThreadThatIsDescribedByItsType)
{
    const qzCancelIfParentProcessDied source;
    Peer::Impl& impl = Peer::editImpl(source);
    EXPECT_EQ(qzThreadTestPeer::getDescription(impl),
              "N2qz31qzCancelIfParentProcessDiedImplE " + impl.getThreadId());
}

TEST_F(qzCancelIfParentProcessDiedWhiteBox, ForgetsTheParentWhenItIsStopped)
{
    const qzCancelIfParentProcessDied source;
    Peer::Impl& impl = Peer::editImpl(source);
    Peer::requestStop(impl);
    ASSERT_TRUE(support::waitUntil([&] { return !impl.isRunning(); }));
    EXPECT_EQ(Peer::editParentProcess(impl).getState(), qzProcess::NotStarted);
    EXPECT_FALSE(source.shouldCancel());
}

TEST_F(qzCancelIfParentProcessDiedWhiteBox, ForgetsTheParentWhenItIsStoppedBeforeItsFirstPoll)
{
    const qzCancelIfParentProcessDied source;
    Peer::Impl& impl = Peer::editImpl(source);
    Peer::requestStop(impl);
    ASSERT_TRUE(support::waitUntil([&] { return !impl.isRunning(); }));
    qzProcess::GetParentProcess(Peer::editParentProcess(impl));
    impl.run();
    EXPECT_EQ(Peer::editParentProcess(impl).getState(), qzProcess::NotStarted);
}

TEST_F(qzCancelIfParentProcessDiedWhiteBox, ReadsTheOtherSourceOnlyWhileTheParentLives)
{
    const CountingSource other;
    const qzCancelIfParentProcessDied source(&other);
    EXPECT_FALSE(source.shouldCancel());
    EXPECT_EQ(other.reads, 1);
    Peer::setParentDied(Peer::editImpl(source));
    EXPECT_TRUE(source.shouldCancel());
    EXPECT_EQ(other.reads, 1);
}

TEST_F(qzCancelIfParentProcessDiedWhiteBox, CanBeDestroyedInAForkedChildWhileItsMutexIsLocked)
{
    auto source = std::make_unique<qzCancelIfParentProcessDied>();
    const LockedElsewhere locked(Peer::editMutex(Peer::editImpl(*source)));
    const support::ChildResult result = support::runInChild(
        [&] {
            source.reset();
            return 42;
        },
        {}, /*timeoutSec=*/60);
    EXPECT_EQ(result.getEnd(), "exit 42");
}

TEST(qzCancelIfParentProcessDiedThread, ForgetsTheParentWhenItEnds)
{
    int answer[2];
    ASSERT_EQ(::pipe(answer), 0);
    // The child ends once its own child watches it.
    const support::ChildResult result = support::runInChild([&] {
        int ready[2];
        if (::pipe(ready) != 0) return 1;
        if (::fork() != 0) {
            char byte;
            return ::read(ready[0], &byte, 1) == 1 ? 42 : 2;
        }
        const support::LibraryStart start(FullInit);
        const qzCancelIfParentProcessDied source;
        if (::write(ready[1], "x", 1) != 1) ::_exit(3);
        Peer::Impl& impl = Peer::editImpl(source);
        support::waitUntil([&] { return !impl.isRunning(); });
        const bool isEnded = Peer::isStopRequested(impl);
        const bool isForgotten = Peer::editParentProcess(impl).getState() == qzProcess::NotStarted;
        ::dprintf(answer[1], "%d%d%d", isEnded, isForgotten, source.shouldCancel());
        ::_exit(0);
    });
    EXPECT_EQ(result.getEnd(), "exit 42");
    ::close(answer[1]);
    char text[4] = {};
    EXPECT_EQ(::read(answer[0], text, 3), 3);
    EXPECT_STREQ(text, "111");
    ::close(answer[0]);
}

}  // namespace qz
